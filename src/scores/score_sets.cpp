// Published data sets of opinion scores, as they are laid out.
#include "batch/result_record.hpp"
#include "files/refusal.hpp"
#include "files/trimmed_text.hpp"
#include "scores/opinion_scores.hpp"
#include "scores/score_table.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace likeness {
namespace {

namespace fs = std::filesystem;

/// A file of the folder, in any case of letters; as it was asked for where there is none.
std::string fileIn(const std::string& folder, const std::string& name) {
    const fs::path wanted = fs::path(folder) / name;
    std::error_code error;
    if (fs::exists(wanted, error)) {
        return wanted.string();
    }
    std::vector<std::string> found;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        if (lowerCase(entry->path().filename().string()) == lowerCase(name)) {
            found.push_back(entry->path().string());
        }
    }
    std::sort(found.begin(), found.end());
    return found.empty() ? wanted.string() : found.front();
}

/// The first of several names that there is, else the first of all .csv files, by name, with the wanted columns.
std::string tableIn(const std::string& folder, const std::vector<std::string>& names,
                    const std::vector<std::string>& columns) {
    std::error_code error;
    for (const std::string& name : names) {
        std::string path = fileIn(folder, name);
        if (fs::exists(path, error)) {
            return path;
        }
    }
    std::vector<std::string> tables;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        if (lowerCase(entry->path().extension().string()) == ".csv") {
            tables.push_back(entry->path().string());
        }
    }
    std::sort(tables.begin(), tables.end());
    for (const std::string& path : tables) {
        try {
            readScoreTable(path, columns);
            return path;
        } catch (const Refusal&) {  // another table
        }
    }
    std::string header;
    for (const std::string& name : columns) {
        header += (header.empty() ? "" : ",") + name;
    }
    throw Refusal("--dataset: '" + folder + "' has no '" + names.front() + "', and no other .csv with the columns " +
                  header);
}

std::vector<std::string> linesOf(const std::string& path) {
    std::ifstream in(path);
    if (!in) {
        throw Refusal("cannot read '" + path + "': " + std::strerror(errno));
    }
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        if (line = trimmed(line); !line.empty()) {
            lines.push_back(line);
        }
    }
    return lines;
}

[[noreturn]] void refuseLine(const std::string& path, std::size_t line, const std::string& text,
                             const std::string& wanted) {
    throw Refusal(fmt::format("'{}', line {}: '{}' is not {}", path, line, text, wanted));
}

constexpr std::array tidTypes = {"additive Gaussian noise",
                                 "noise in colour components",
                                 "spatially correlated noise",
                                 "masked noise",
                                 "high frequency noise",
                                 "impulse noise",
                                 "quantization noise",
                                 "Gaussian blur",
                                 "image denoising",
                                 "JPEG compression",
                                 "JPEG2000 compression",
                                 "JPEG transmission errors",
                                 "JPEG2000 transmission errors",
                                 "non eccentricity pattern noise",
                                 "local block-wise distortions",
                                 "mean shift",
                                 "contrast change",
                                 "change of colour saturation",
                                 "multiplicative Gaussian noise",
                                 "comfort noise",
                                 "lossy compression of noisy images",
                                 "colour quantization with dither",
                                 "chromatic aberrations",
                                 "sparse sampling and reconstruction"};

constexpr std::array kadidTypes = {"Gaussian blur",
                                   "lens blur",
                                   "motion blur",
                                   "colour diffusion",
                                   "colour shift",
                                   "colour quantization",
                                   "colour saturation 1",
                                   "colour saturation 2",
                                   "JPEG2000",
                                   "JPEG",
                                   "white noise",
                                   "white noise in colour components",
                                   "impulse noise",
                                   "multiplicative noise",
                                   "denoise",
                                   "brighten",
                                   "darken",
                                   "mean shift",
                                   "jitter",
                                   "non-eccentricity patch",
                                   "pixelate",
                                   "quantization",
                                   "colour block",
                                   "high sharpen",
                                   "contrast change"};

/// The parts of "I01_02_3.bmp", between which "_" stands, without the extension.
std::vector<std::string> namePartsOf(const std::string& file) {
    std::vector<std::string> parts;
    std::istringstream in(fs::path(file).stem().string());
    for (std::string part; std::getline(in, part, '_');) {
        parts.push_back(part);
    }
    return parts;
}

/// The name of type `number`, from 1.
template <std::size_t count>
std::string typeName(const std::array<const char*, count>& names, const std::string& number) {
    const std::optional<double> value = numberIn(number);
    if (!value || *value != std::floor(*value) || *value < 1 || *value > static_cast<double>(count)) {
        return "";
    }
    return fmt::format("{:02} {}", static_cast<int>(*value), names[static_cast<std::size_t>(*value) - 1]);
}

OpinionScores tid2013(const std::string& folder) {
    OpinionScores set;
    set.direction = ScoreDirection::higherBetter;
    set.scoreColumn = "mos";
    set.deviationColumn = "mos_std";
    const std::string path = fileIn(folder, "mos_with_names.txt");
    const std::vector<std::string> lines = linesOf(path);
    const std::string deviations = fileIn(folder, "mos_std.txt");
    std::error_code error;
    std::vector<std::string> deviationLines;
    if (fs::exists(deviations, error)) {
        deviationLines = linesOf(deviations);
        if (deviationLines.size() != lines.size()) {
            throw Refusal(fmt::format("'{}' has {} deviations, and '{}' {} scores: they must be as many", deviations,
                                      deviationLines.size(), path, lines.size()));
        }
    } else {
        set.deviationColumn.clear();
        set.remarks.push_back("'" + deviations + "' is missing: the scores are without deviations");
    }
    for (std::size_t k = 0; k < lines.size(); ++k) {
        std::istringstream in(lines[k]);
        std::string number;
        std::string file;
        std::string more;
        in >> number >> file >> more;
        const std::vector<std::string> parts = namePartsOf(file);
        const std::string type = parts.size() == 3 ? typeName(tidTypes, parts[1]) : "";
        const std::optional<double> score = numberIn(number);
        if (!score || type.empty() || !more.empty() || parts[0].size() < 2 ||
            (parts[0][0] != 'I' && parts[0][0] != 'i')) {
            refuseLine(path, k + 1, lines[k], "a score and a name such as '5.51429 I01_01_1.bmp'");
        }
        OpinionScore opinion;
        opinion.id = file;
        opinion.score = *score;
        opinion.content = "I" + parts[0].substr(1);
        opinion.type = type;
        opinion.first = "reference_images/" + opinion.content + ".BMP";
        opinion.second = "distorted_images/" + file;
        if (!deviationLines.empty()) {
            const std::optional<double> deviation = numberIn(deviationLines[k]);
            if (!deviation || *deviation < 0) {
                refuseLine(deviations, k + 1, deviationLines[k], "a standard deviation");
            }
            opinion.deviation = *deviation;
        }
        set.scores.push_back(std::move(opinion));
    }
    return set;
}

OpinionScores kadid10k(const std::string& folder) {
    OpinionScores set;
    set.direction = ScoreDirection::higherBetter;
    set.scoreColumn = "dmos";
    set.deviationColumn = "var";
    const std::vector<std::string> wanted = {"dist_img", "ref_img", "dmos", "var"};
    const ScoreTable table = readScoreTable(tableIn(folder, {"dmos.csv"}, wanted), wanted);
    const std::size_t distorted = table.column("--dataset", "dist_img");
    const std::size_t reference = table.column("--dataset", "ref_img");
    for (const ScoreTable::Row& row : table.rows) {
        OpinionScore opinion;
        opinion.id = trimmed(row.fields[distorted]);
        const std::vector<std::string> parts = namePartsOf(opinion.id);
        opinion.type = parts.size() == 3 ? typeName(kadidTypes, parts[1]) : "";
        if (opinion.type.empty()) {
            table.refuse(row.line, "'" + opinion.id + "' is no name such as I01_01_01.png");
        }
        opinion.content = fs::path(trimmed(row.fields[reference])).stem().string();
        opinion.score = table.number(row, table.column("--dataset", "dmos"));
        opinion.deviation = table.number(row, table.column("--dataset", "var"));
        opinion.first = "images/" + trimmed(row.fields[reference]);
        opinion.second = "images/" + opinion.id;
        set.scores.push_back(std::move(opinion));
    }
    return set;
}

/// Folder and word in file names of a type, as the table names it.
struct CsiqType {
    const char* named;
    const char* folder;
    const char* word;
};

constexpr CsiqType csiqTypes[] = {{"noise", "awgn", "AWGN"},
                                  {"awgn", "awgn", "AWGN"},
                                  {"jpeg", "jpeg", "JPEG"},
                                  {"jpeg 2000", "jpeg2000", "jpeg2000"},
                                  {"jpeg2000", "jpeg2000", "jpeg2000"},
                                  {"fnoise", "fnoise", "fnoise"},
                                  {"blur", "blur", "BLUR"},
                                  {"contrast", "contrast", "contrast"}};

OpinionScores csiq(const std::string& folder) {
    OpinionScores set;
    set.direction = ScoreDirection::lowerBetter;
    set.scoreColumn = "dmos";
    set.deviationColumn = "dmos_std";
    const std::vector<std::string> wanted = {"image", "dst_type", "dst_lev", "dmos_std", "dmos"};
    const ScoreTable table =
        readScoreTable(tableIn(folder, {"csiq.DMOS.csv", "all_by_image.csv", "csiq.csv"}, wanted), wanted);
    for (const ScoreTable::Row& row : table.rows) {
        const auto field = [&](const char* name) { return trimmed(row.fields[table.column("--dataset", name)]); };
        const std::string type = lowerCase(field("dst_type"));
        const auto* const known = std::find_if(std::begin(csiqTypes), std::end(csiqTypes),
                                               [&](const CsiqType& its) { return type == its.named; });
        if (known == std::end(csiqTypes)) {
            table.refuse(row.line, "'" + type +
                                       "' in the column 'dst_type' is none of noise, jpeg, jpeg 2000, fnoise, "
                                       "blur, contrast");
        }
        OpinionScore opinion;
        opinion.content = field("image");
        opinion.type = type;
        opinion.id = opinion.content + "." + known->word + "." + field("dst_lev") + ".png";
        opinion.first = "src_imgs/" + opinion.content + ".png";
        opinion.second = std::string("dst_imgs/") + known->folder + "/" + opinion.id;
        opinion.score = table.number(row, table.column("--dataset", "dmos"));
        opinion.deviation = table.number(row, table.column("--dataset", "dmos_std"));
        set.scores.push_back(std::move(opinion));
    }
    return set;
}

/// Release 2 has its numbers in arrays, one after the other: how many are of which type.
constexpr std::pair<const char*, std::size_t> liveTypes[] = {
    {"jp2k", 227}, {"jpeg", 233}, {"wn", 174}, {"gblur", 174}, {"fastfading", 174}};

OpinionScores live(const std::string& folder) {
    OpinionScores set;
    set.direction = ScoreDirection::lowerBetter;
    set.scoreColumn = "dmos_new";
    set.deviationColumn = "dmos_std";
    const std::vector<std::string> wanted = {"dmos_new", "dmos_std", "orgs"};
    const ScoreTable table = readScoreTable(tableIn(folder, {"dmos_realigned.csv", "live.csv"}, wanted), wanted);
    std::vector<std::string> references;
    auto place = table.find("refnames_all");
    place = place ? place : table.find("refnames");
    if (place) {
        for (const ScoreTable::Row& row : table.rows) {
            references.push_back(trimmed(row.fields[*place]));
        }
    } else {
        const std::string path = fileIn(folder, "refnames_all.csv");
        references = linesOf(path);
        for (std::string& line : references) {
            line.erase(std::remove(line.begin(), line.end(), '"'), line.end());
        }
        if (!references.empty() && lowerCase(references.front()).find(".bmp") == std::string::npos) {
            references.erase(references.begin());
        }
        if (references.size() != table.rows.size()) {
            throw Refusal(fmt::format("'{}' has {} names, and '{}' {} scores: they must be as many", path,
                                      references.size(), table.path, table.rows.size()));
        }
    }
    std::size_t all = 0;
    for (const auto& [type, count] : liveTypes) {
        all += count;
    }
    if (table.rows.size() > all) {
        throw Refusal(fmt::format("'{}' has {} rows, and the set has {}", table.path, table.rows.size(), all));
    }
    if (table.rows.size() < all) {
        set.remarks.push_back(fmt::format("'{}' has {} rows, and the set has {}: they are taken for its first ones",
                                          table.path, table.rows.size(), all));
    }
    std::size_t type = 0;
    std::size_t number = 0;
    for (std::size_t k = 0; k < table.rows.size(); ++k) {
        if (number == liveTypes[type].second) {
            ++type;
            number = 0;
        }
        ++number;
        const ScoreTable::Row& row = table.rows[k];
        if (table.number(row, table.column("--dataset", "orgs")) != 0) {
            continue;  // the photograph itself
        }
        OpinionScore opinion;
        opinion.type = liveTypes[type].first;
        opinion.id = fmt::format("{}/img{}.bmp", opinion.type, number);
        opinion.content = fs::path(references[k]).stem().string();
        opinion.first = "refimgs/" + references[k];
        opinion.second = opinion.id;
        opinion.score = table.number(row, table.column("--dataset", "dmos_new"));
        opinion.deviation = table.number(row, table.column("--dataset", "dmos_std"));
        set.scores.push_back(std::move(opinion));
    }
    return set;
}

OpinionScores spcd(const std::string& folder) {
    OpinionScores set;
    set.direction = ScoreDirection::lowerBetter;
    set.scoreColumn = "score";
    const std::vector<std::string> wanted = {"image1", "image2", "score"};
    const ScoreTable table = readScoreTable(tableIn(folder, {"spcd.csv", "SPCD.csv", "scores.csv"}, wanted), wanted);
    for (const ScoreTable::Row& row : table.rows) {
        OpinionScore opinion;
        opinion.first = trimmed(row.fields[table.column("--dataset", "image1")]);
        opinion.second = trimmed(row.fields[table.column("--dataset", "image2")]);
        opinion.id = opinion.first + "|" + opinion.second;
        const std::string name = fs::path(opinion.first).stem().string();
        opinion.content = name.substr(0, name.find_first_of("_-"));
        opinion.score = table.number(row, table.column("--dataset", "score"));
        set.scores.push_back(std::move(opinion));
    }
    return set;
}

struct ScoreSet {
    const char* name;
    OpinionScores (*read)(const std::string& folder);
};

constexpr ScoreSet sets[] = {
    {"tid2013", tid2013}, {"kadid10k", kadid10k}, {"csiq", csiq}, {"live", live}, {"spcd", spcd}};

}  // namespace

const std::vector<std::string>& scoreSetNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const ScoreSet& set : sets) {
            all.emplace_back(set.name);
        }
        return all;
    }();
    return names;
}

OpinionScores readScoreSet(const std::string& name, const std::string& folder) {
    std::string plain = lowerCase(name);
    plain.erase(std::remove_if(plain.begin(), plain.end(), [](char c) { return c == '-' || c == '_'; }), plain.end());
    std::string names;
    for (const ScoreSet& set : sets) {
        names += (names.empty() ? "" : ", ") + std::string(set.name);
        if (plain != set.name) {
            continue;
        }
        std::error_code error;
        if (!fs::is_directory(folder, error)) {
            throw Refusal("--dataset: '" + folder + "' is not a folder");
        }
        OpinionScores scores = set.read(folder);
        scores.source = std::string(set.name) + " in " + folder;
        scores.isDataSet = true;
        scores.contentColumn = "content";
        scores.typeColumn = std::any_of(scores.scores.begin(), scores.scores.end(),
                                        [](const OpinionScore& score) { return !score.type.empty(); })
                                ? "type"
                                : "";
        std::set<std::string> ids;
        for (const OpinionScore& score : scores.scores) {
            if (!ids.insert(score.id).second) {
                throw Refusal("--dataset: '" + folder + "' has a score of '" + score.id + "' twice");
            }
        }
        if (scores.scores.empty()) {
            throw Refusal("--dataset: '" + folder + "' has no scores");
        }
        return scores;
    }
    throw Refusal("--dataset: '" + name + "' is none of " + names);
}

}  // namespace likeness
