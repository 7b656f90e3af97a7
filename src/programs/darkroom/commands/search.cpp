// darkroom search: the photographs of an archive that look most like one.
#include <likeness/threads.hpp>
#include "archive/approximate_index.hpp"
#include "archive/archive_query.hpp"
#include "archive/archive_search.hpp"
#include "batch/correlates.hpp"
#include "batch/distance_columns.hpp"
#include "commands/subcommands.hpp"
#include "console/coefficient_limits.hpp"
#include "console/comparison_result.hpp"
#include "console/json_output.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/part_options.hpp"
#include "console/progress.hpp"
#include "console/text_output.hpp"
#include "diagnostics/number_text.hpp"
#include "diagnostics/shown_text.hpp"
#include "files/csv_text.hpp"
#include "files/markup_text.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "files/replaced_file.hpp"
#include "pages/html_page.hpp"
#include "pages/search_report.hpp"
#include "photofile/counted_part.hpp"
#include "photofile/image_input.hpp"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <fnmatch.h>
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <sstream>

namespace likeness::darkroom {
namespace {

constexpr int jsonVersion = 1;

struct SearchArguments {
    std::string archive;
    std::vector<std::string> queries;
    std::vector<std::string> lists;
    std::int64_t top = 10;
    std::string by = "mean";
    std::string weights;
    std::vector<std::string> limits;
    std::vector<std::string> filters;
    bool others = false;
    bool distances = false;
    bool approximate = false;
    bool json = false;
    bool csv = false;
    std::string output;
    std::string report;
    PartOptions part;
};

const std::vector<std::string> rankings = {"mean",   "least",        "brightness", "lightness",
                                           "chroma", "colorfulness", "saturation", "hue"};

/// Place of a coefficient among the five and the hue's.
std::size_t numberOfCoefficient(const std::string& name) {
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        if (name == correlateNames[k].name) {
            return k;
        }
    }
    return archive::hueNumber;
}

/// Weights from "brightness=2,chroma=1"; those that are not named are 0.
std::array<double, 6> weightsIn(const std::string& text) {
    std::array<double, 6> weights{};
    std::set<std::string> named;
    for (const std::string& part : partsOf(text)) {
        const std::size_t sign = part.find('=');
        std::string name = part.substr(0, sign);
        name = name == "colourfulness" ? "colorfulness" : name;
        if (sign == std::string::npos || !(isCorrelateName(name) || name == hueName.name)) {
            throw Refusal("--weights: '" + part +
                          "' is not NAME=WEIGHT with brightness, lightness, chroma, colorfulness, saturation or hue");
        }
        const double weight = parseNumber(part.substr(sign + 1));
        if (!(weight >= 0 && weight <= 1e6)) {
            throw Refusal("--weights: '" + part + "': a weight from 0 to 1000000 is expected");
        }
        if (!named.insert(name).second) {
            throw Refusal("--weights: '" + name + "' is given twice");
        }
        weights[numberOfCoefficient(name)] = weight;
    }
    if (std::all_of(weights.begin(), weights.end(), [](double weight) { return weight == 0; })) {
        throw Refusal("--weights: one of them must be above 0");
    }
    return weights;
}

RankingScore scoreAsked(const SearchArguments& options) {
    RankingScore score;
    if (options.by == "least") {
        score.kind = RankingScore::Kind::least;
    } else if (options.by != "mean") {
        score.weights = {};
        score.weights[numberOfCoefficient(options.by)] = 1;
    }
    if (!options.weights.empty()) {
        if (options.by != "mean" && options.by != "least") {
            throw Refusal("--weights: --by " + options.by + " ranks by one coefficient alone");
        }
        score.weights = weightsIn(options.weights);
    }
    return score;
}

/// A condition on a column: "width>=1000", "path=holiday/*".
class Filter {
public:
    explicit Filter(const std::string& text) {
        const std::size_t sign = text.find_first_of("<>=");
        if (sign != std::string::npos) {
            column_ = text.substr(0, sign);
            const std::size_t length = text.compare(sign, 2, "<=") == 0 || text.compare(sign, 2, ">=") == 0 ? 2 : 1;
            comparison_ = text.substr(sign, length);
            value_ = text.substr(sign + length);
        }
        number_ = parseNumber(value_);
        const bool ofNumbers = column_ == "width" || column_ == "height" || column_ == "pixels" || column_ == "bytes";
        if (!(ofNumbers && !std::isnan(number_)) && !(column_ == "path" && comparison_ == "=")) {
            throw Refusal("--where: '" + text +
                          "' is not COLUMN<=NUMBER, >= or = with width, height, pixels or bytes, or path=PATTERN");
        }
    }

    bool holds(const ArchivedPhotograph& photograph) const {
        if (column_ == "path") {
            return ::fnmatch(value_.c_str(), photograph.path.c_str(), 0) == 0;
        }
        const double value = column_ == "width"    ? photograph.width
                             : column_ == "height" ? photograph.height
                             : column_ == "pixels" ? static_cast<double>(photograph.width) * photograph.height
                                                   : static_cast<double>(photograph.bytes);
        return (comparison_.size() == 2 || comparison_ == "=" || value != number_) &&
               (comparison_[0] == '<'   ? value <= number_
                : comparison_[0] == '>' ? value >= number_
                                        : value == number_);
    }

private:
    std::string column_;
    std::string comparison_;
    std::string value_;
    double number_ = 0;
};

std::string lineOfCoefficients(const PairCoefficients& coefficients) {
    std::string line;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        line += (k == 0 ? "" : ",") + numberText(coefficients.five[k]);
    }
    return coefficients.hue ? line + ',' + numberText(*coefficients.hue) : line;
}

std::string textOf(const std::vector<SearchedPhotograph>& searched) {
    std::string text;
    for (const SearchedPhotograph& photograph : searched) {
        text += shownText(photograph.path) + '\n';
        for (const FoundPhotograph& found : photograph.found) {
            text += fmt::format("{:>6} {:.6f} {} {}\n", found.rank, found.score, lineOfCoefficients(found.coefficients),
                                shownText(found.path));
            if (found.distances) {
                std::istringstream lines(distanceLines(*found.distances));
                for (std::string line; std::getline(lines, line);) {
                    text += "       " + line + '\n';
                }
            }
        }
    }
    return text;
}

std::string jsonText(const ArchiveFile& archive, const SearchArguments& options, const std::string& ranking,
                     const std::vector<SearchedPhotograph>& searched) {
    nlohmann::ordered_json json = jsonOfSchema("search", jsonVersion);
    json["archive"] = validUtf8(options.archive);
    json["photographs"] = archive.size();
    json["parameters"] = archive.origin().fingerprint;
    json["ranking"] = ranking;
    json["results"] = nlohmann::ordered_json::array();
    for (const SearchedPhotograph& photograph : searched) {
        for (const FoundPhotograph& found : photograph.found) {
            nlohmann::ordered_json result = {
                {"query", validUtf8(photograph.path)}, {"rank", found.rank}, {"path", validUtf8(found.path)}};
            for (std::size_t k = 0; k < correlateNames.size(); ++k) {
                result[correlateNames[k].name] = roundedToNineDigits(static_cast<double>(found.coefficients.five[k]));
            }
            if (found.coefficients.hue) {
                result[hueName.name] = roundedToNineDigits(static_cast<double>(*found.coefficients.hue));
            }
            result["score"] = found.score;
            if (found.distances) {
                result["distances"] = distancesJson(*found.distances);
            }
            json["results"].push_back(std::move(result));
        }
    }
    return indentedJson(json);
}

std::string csvText(bool hue, bool distances, const std::vector<SearchedPhotograph>& searched) {
    std::vector<std::string> names = {"query", "rank", "path"};
    for (const CorrelateName& correlate : correlateNames) {
        names.emplace_back(correlate.name);
    }
    if (hue) {
        names.emplace_back(hueName.name);
    }
    names.emplace_back("score");
    if (distances) {
        names.insert(names.end(), distanceColumns().begin(), distanceColumns().end());
    }
    std::string text = csvLine(names);
    for (const SearchedPhotograph& photograph : searched) {
        for (const FoundPhotograph& found : photograph.found) {
            std::vector<std::string> values = {photograph.path, std::to_string(found.rank), found.path};
            for (std::size_t k = 0; k < correlateNames.size(); ++k) {
                values.push_back(nineDigits(static_cast<double>(found.coefficients.five[k])));
            }
            if (hue) {
                values.push_back(found.coefficients.hue ? nineDigits(static_cast<double>(*found.coefficients.hue))
                                                        : "");
            }
            values.push_back(fmt::format("{}", found.score));
            if (found.distances) {
                for (const double value : distanceValues(*found.distances)) {
                    values.push_back(distanceText(value));
                }
            }
            text += csvLine(values);
        }
    }
    return text;
}

/// A small picture of a file, or none where it cannot be read.
std::string thumbnail(const Console& console, const std::string& path) {
    constexpr int side = 240;
    ManagedColors colors(console.profiles());
    const PhotographRead read = readPhotographAmongOthers(path, PhotographValues::bytes, console.mostPixels(), &colors);
    return read.problem.empty() ? jpegUri(pictureOf(read.bgr), side) : "";
}

/// What ranks, in words.
std::string rankingText(const SearchArguments& options) {
    return options.by + (options.weights.empty() ? "" : ", weights " + options.weights);
}

/// Those that are named, then those of the lists.
std::vector<std::string> queriesAsked(const SearchArguments& options) {
    std::vector<std::string> queries = options.queries;
    for (const std::string& list : options.lists) {
        std::error_code error;
        std::ifstream file(list, std::ios::binary);
        if (!file || std::filesystem::is_directory(list, error)) {
            throw Refusal("--list: cannot read '" + list + "'");
        }
        for (std::string line; std::getline(file, line);) {
            if (!line.empty() && line.back() == '\r') {
                line.pop_back();
            }
            if (!line.empty()) {
                queries.push_back(line);
            }
        }
        if (file.bad()) {
            throw Refusal("--list: cannot read '" + list + "'");
        }
    }
    if (queries.empty()) {
        throw Refusal("QUERY or --list is required");
    }
    return queries;
}

ExitStatus search(const Console& console, const SearchArguments& options) {
    const std::vector<std::string> queries = queriesAsked(options);
    if (options.approximate && (options.by != "mean" || !options.weights.empty())) {
        throw Refusal("--approximate: the index leads to what is near by the mean; leave out --by and --weights");
    }
    ArchiveSearch asked;
    asked.top = static_cast<std::size_t>(options.top);
    asked.score = scoreAsked(options);
    asked.threads = static_cast<unsigned>(threads());
    CoefficientLimits limits;
    for (const std::string& text : options.limits) {
        addCoefficientLimits(limits, text);
    }
    for (const auto& [name, least] : limits) {
        asked.least[numberOfCoefficient(name)] = static_cast<float>(least);
    }
    std::vector<Filter> filters;
    for (const std::string& text : options.filters) {
        filters.emplace_back(text);
    }
    std::vector<std::string> inputs = queries;
    inputs.push_back(options.archive);
    inputs.insert(inputs.end(), options.lists.begin(), options.lists.end());
    const ResultText format = resultTextFor(options.output, options.json  ? ResultText::json
                                                            : options.csv ? ResultText::csv
                                                                          : ResultText::any);
    OutputPlan plan(console, inputs);
    plan.mayRead(options.part.mask);
    if (!options.output.empty()) {
        plan.data("--output", options.output);
    }
    if (!options.report.empty()) {
        plan.page("--report", options.report);
    }
    const ArchiveFile archive(options.archive);
    for (const std::string& damage : archive.damage()) {
        console.warn("'" + options.archive + "': " + damage + "; darkroom repair keeps what can be read");
    }
    const bool hue = archive.origin().options.hue.has_value();
    if (!hue && (asked.score.weights[archive::hueNumber] > 0 || asked.least[archive::hueNumber] > 0)) {
        throw Refusal("--by, --weights, --min: the archive has no hue; darkroom index --hue makes one that has");
    }
    if (hue && options.by == "least" && options.weights.empty()) {
        asked.score.weights[archive::hueNumber] = 1;
    }
    std::optional<ApproximateIndex> index;
    if (options.approximate) {
        index.emplace(archive);
        console.tell(fmt::format("approximate: recall at 10 {:.3f}, measured on {} when the index was made",
                                 index->recall(), numberOf(index->sample(), "photograph")));
    }
    const ProfileChoice profiles = profilesWith(chosenPart(options.part), console.profiles());
    std::vector<SearchedPhotograph> searched;
    bool sound = archive.damage().empty();
    {
        Progress progress(console, "searching", static_cast<int>(queries.size()));
        std::set<std::string> told;
        for (const std::string& path : queries) {
            const ArchiveQuery query =
                archiveQuery(archive, path, console.mostPixels(), profiles, [&](const std::string& line) {
                    if (told.insert(line).second) {
                        console.warn(line);
                    }
                });
            asked.among = {};
            if (!filters.empty() || (options.others && query.entry)) {
                asked.among = [&](std::size_t entry) {
                    return !(options.others && query.entry == entry) &&
                           (filters.empty() || std::all_of(filters.begin(), filters.end(),
                                                           [its = archive.photograph(entry)](const Filter& filter) {
                                                               return filter.holds(its);
                                                           }));
                };
            }
            std::vector<std::string> damage;
            const std::vector<ArchiveHit> hits = index ? index->nearest(query.distributions, asked)
                                                       : nearestEntries(archive, query.distributions, asked, &damage);
            sound = sound && damage.empty();
            for (const std::string& line : damage) {
                if (told.insert(line).second) {
                    console.warn(line + "; what stands there is not found");
                }
            }
            SearchedPhotograph photograph{path, {}, {}};
            for (const ArchiveHit& hit : hits) {
                photograph.found.push_back({photograph.found.size() + 1,
                                            std::string(archive.pathOf(hit.entry)),
                                            hit.coefficients,
                                            hit.score,
                                            {},
                                            {}});
                if (options.distances) {
                    photograph.found.back().distances =
                        distancesOf(query.distributions, archive.distributions(hit.entry));
                }
            }
            searched.push_back(std::move(photograph));
            progress.step();
        }
    }
    const std::string ranking = rankingText(options);
    const std::string text = format == ResultText::json  ? jsonText(archive, options, ranking, searched)
                             : format == ResultText::csv ? csvText(hue, options.distances, searched)
                                                         : textOf(searched);
    if (!options.report.empty()) {
        for (SearchedPhotograph& photograph : searched) {
            photograph.pictureUri = thumbnail(console, photograph.path);
            for (FoundPhotograph& found : photograph.found) {
                found.pictureUri = thumbnail(console, found.path);
            }
        }
        replaceFile(options.report, searchPage(options.archive, ranking, searched));
        console.tell("wrote '" + options.report + "': report");
    }
    if (options.output.empty()) {
        std::cout << text << std::flush;
    } else {
        replaceFile(options.output, text);
        console.tell("wrote '" + options.output + "': result");
    }
    return sound ? ExitStatus::done : ExitStatus::outsideLimits;
}

}  // namespace

Action declareSearch(OptionParser& app) {
    auto options = std::make_shared<SearchArguments>();
    app.addOption("ARCHIVE", options->archive, "Archive that darkroom index made")->required();
    app.addOption("QUERY", options->queries,
                  "Photographs to search for: files, or entries of the archive by name, which need not exist any more");
    app.addOption("--list", options->lists, optionText("File with further queries, one a line", "--list queries.txt"))
        ->typeName("FILE")
        ->expected(1)
        ->allowExtraArguments(false)
        ->takeAll();
    app.addOption("--top", options->top, optionText("How many of each, 1 to 1000000", "--top 20"))
        ->typeName("K")
        ->check(integerBetween(1, 1000000))
        ->showDefault();
    app.addOption("--by", options->by,
                  optionText("What ranks: the mean or the least of the coefficients, or one of them", "--by chroma"))
        ->typeName("WHAT")
        ->check(oneOf(rankings))
        ->showDefault();
    app.addOption("--weights", options->weights,
                  optionText("Weights of the coefficients in the mean; the least is that of those named. Others have "
                             "none",
                             "--weights brightness=2,chroma=1"))
        ->typeName("NAME=WEIGHT,...");
    app.addOption("--min", options->limits,
                  optionText("Least values, 0 to 1, of coefficients; what is below is not found. Given again, it adds "
                             "limits",
                             "--min brightness=0.9,chroma=0.8"))
        ->typeName("NAME=VALUE,...")
        ->expected(1)
        ->allowExtraArguments(false)
        ->takeAll();
    app.addOption(
           "--where", options->filters,
           optionText("Only entries whose width, height, pixels or bytes are so, or whose path matches a pattern "
                      "of * and ?. Given again, all must hold",
                      "--where 'width>=1000'"))
        ->typeName("COLUMN>=VALUE")
        ->expected(1)
        ->allowExtraArguments(false)
        ->takeAll();
    app.addFlag("--others", options->others, optionText("Leave out the entry that is searched for itself", "--others"));
    app.addFlag(
        "--approximate", options->approximate,
        optionText("Search by the index that darkroom index --approximate made: much faster among very many, and "
                   "something near may be missed; numbers stay exact",
                   "--approximate"));
    app.addFlag("--distances", options->distances,
                optionText("Give distances of the distributions too, by correlate", "--distances"));
    auto* const json = app.addFlag("--json", options->json, optionText("Give the result as JSON", "--json"));
    app.addFlag("--csv", options->csv, optionText("Give the result as CSV", "--csv"))->excludes(json);
    app.addOption("-o,--output", options->output,
                  optionText("File for the result instead of standard output", "--output nearest.json"))
        ->typeName("FILE");
    app.addOption("--report", options->report,
                  optionText("Page with small pictures of the photographs, in one file", "--report nearest.html"))
        ->typeName("FILE.html");
    addPartOptions(app, options->part);
    return [options](const Console& console) { return search(console, *options); };
}

}  // namespace likeness::darkroom
