#include "batch/pair_list.hpp"

#include "batch/csv.hpp"
#include "batch/json_depth.hpp"
#include "batch/result_fields.hpp"
#include "batch/result_record.hpp"
#include "batch/stable_hash.hpp"
#include "files/refusal.hpp"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

namespace likeness {
namespace {

namespace fs = std::filesystem;

void pack(std::string& text, std::string_view field) {
    const auto length = static_cast<std::uint32_t>(field.size());
    std::array<char, sizeof length> bytes{};
    std::memcpy(bytes.data(), &length, sizeof length);
    text.append(bytes.data(), bytes.size());
    text += field;
}

std::string unpack(const std::string& text, std::size_t& offset) {
    std::uint32_t length = 0;
    std::memcpy(&length, text.data() + offset, sizeof length);
    offset += sizeof length;
    std::string field = text.substr(offset, length);
    offset += length;
    return field;
}

std::string defaultId(std::string_view first, std::string_view second) {
    return std::string(first) + '|' + std::string(second);
}

/// What is common to the forms of lists: the checks, and the refusals with the line's number.
class ListReader {
public:
    ListReader(std::string name, Shard shard) : name_(std::move(name)), pairs_(shard) {}

    PairList finish() {
        if (pairs_.total() == 0) {
            throw Refusal(name_ + ": there are no pairs in the list");
        }
        refuseDoubledIds();
        return std::move(pairs_);
    }

    [[noreturn]] void refuse(std::uint64_t line, const std::string& what) const {
        throw Refusal(fmt::format("{}, line {}: {}", name_, line, what));
    }

    void checkColumn(std::uint64_t line, const std::string& name) {
        checkUtf8(line, name);
        if (name.empty()) {
            refuse(line, "a column has no name");
        }
        if (isResultField(name) || name == pairsShardColumn) {
            refuse(line, "the results have a column '" + name + "' of their own");
        }
        for (const char* const mask : {firstMaskColumn, secondMaskColumn}) {
            if (name != mask && lowerCase(name) == mask) {
                refuse(line, "the column '" + name + "' is written '" + mask + "', and would not be read as masks");
            }
        }
        for (const std::string& other : pairs_.columns()) {
            if (other != name && lowerCase(other) == lowerCase(name)) {
                refuse(line, "the columns '" + other + "' and '" + name + "' differ in upper and lower case only");
            }
        }
        constexpr std::size_t most = 1000;
        if (pairs_.columns().size() > most) {
            refuse(line, "there are more than 1000 columns");
        }
    }

    void add(std::uint64_t line, const std::string& id, const std::string& first, const std::string& second,
             const std::vector<CarriedValue>& carried) {
        for (const std::string* const text : {&id, &first, &second}) {
            checkUtf8(line, *text);
        }
        for (const CarriedValue& value : carried) {
            checkUtf8(line, value.text);
        }
        if (first.empty() || second.empty()) {
            refuse(line, std::string("'") + (first.empty() ? "first" : "second") + "' is empty");
        }
        seen_.push_back({wideHash(id.empty() ? defaultId(first, second) : id), line});
        pairs_.add(id, first, second, carried);
    }

    PairList& pairs() noexcept { return pairs_; }

private:
    struct Seen {
        WideHash id;
        std::uint64_t line;

        auto operator<=>(const Seen&) const = default;
    };

    void checkUtf8(std::uint64_t line, const std::string& text) const {
        if (!isUtf8(text)) {
            refuse(line, "the text is not UTF-8");
        }
    }

    void refuseDoubledIds() {
        std::sort(seen_.begin(), seen_.end());
        const Seen* doubled = nullptr;
        const Seen* before = nullptr;
        for (std::size_t k = 1; k < seen_.size(); ++k) {
            if (seen_[k].id == seen_[k - 1].id && (doubled == nullptr || seen_[k].line < doubled->line)) {
                before = &seen_[k - 1];
                doubled = &seen_[k];
            }
        }
        if (doubled != nullptr) {
            refuse(doubled->line, fmt::format("this pair has the id of line {}", before->line));
        }
        seen_ = {};
    }

    std::string name_;
    PairList pairs_;
    std::vector<Seen> seen_;
};

void readTable(std::istream& in, char separator, ListReader& reader) {
    CsvReader csv(in, separator);
    std::vector<std::string> row;
    const auto next = [&] {
        try {
            const bool more = csv.next(row);
            if (csv.quoteOpen()) {
                reader.refuse(csv.line(), "a quote is opened and not closed");
            }
            return more;
        } catch (const CsvProblem& problem) {
            reader.refuse(problem.line(), problem.what());
        }
    };
    if (!next()) {
        return;
    }
    const std::vector<std::string> header = row;
    constexpr std::size_t none = static_cast<std::size_t>(-1);
    std::size_t first = none;
    std::size_t second = none;
    std::size_t id = none;
    std::vector<std::size_t> carriedFields;
    std::vector<CarriedValue> carried;
    for (std::size_t k = 0; k < header.size(); ++k) {
        const std::string& name = header[k];
        if (std::count(header.begin(), header.end(), name) > 1 && !name.empty()) {
            reader.refuse(csv.line(), "the column '" + name + "' occurs twice");
        }
        if (name == "first") {
            first = k;
        } else if (name == "second") {
            second = k;
        } else if (name == "id") {
            id = k;
        } else {
            reader.checkColumn(csv.line(), name);
            reader.pairs().column(name);
            carriedFields.push_back(k);
            carried.push_back({name, CarriedValue::Kind::text, {}});
        }
    }
    if (first == none || second == none) {
        reader.refuse(csv.line(), std::string("there is no column '") + (first == none ? "first" : "second") + "'");
    }
    while (next()) {
        if (row.size() != header.size()) {
            reader.refuse(csv.line(),
                          fmt::format("fields: {}, expected {} as in the header", row.size(), header.size()));
        }
        for (std::size_t k = 0; k < carried.size(); ++k) {
            carried[k].text = row[carriedFields[k]];
        }
        reader.add(csv.line(), id == none ? "" : row[id], row[first], row[second], carried);
    }
}

void readJsonLines(std::istream& in, ListReader& reader) {
    using Json = nlohmann::ordered_json;
    std::string line;
    for (std::uint64_t number = 1; std::getline(in, line); ++number) {
        if (line.find_first_not_of(" \t\r") == std::string::npos) {
            continue;
        }
        if (nestsTooDeep(line)) {
            reader.refuse(number, tooDeepMessage());
        }
        const Json json = Json::parse(line, nullptr, false);
        if (!json.is_object()) {
            reader.refuse(number, "this is not a JSON object");
        }
        const auto path = [&](const char* name) {
            const auto found = json.find(name);
            if (found == json.end() || !found->is_string()) {
                reader.refuse(number, std::string("there is no member '") + name + "' with a string");
            }
            return found->get<std::string>();
        };
        const std::string first = path("first");
        const std::string second = path("second");
        std::string id;
        std::vector<CarriedValue> carried;
        for (const auto& [name, value] : json.items()) {
            if (name == "id") {
                if (!value.is_string() && !value.is_number_integer()) {
                    reader.refuse(number, "'id' is neither a string nor an integer");
                }
                id = value.is_string() ? value.get<std::string>() : value.dump();
            } else if (name != "first" && name != "second") {
                const std::size_t before = reader.pairs().columns().size();
                const std::size_t column = reader.pairs().column(name);
                if (column == before) {
                    reader.checkColumn(number, name);
                }
                carried.resize(std::max(carried.size(), column + 1));
                carried[column] = value.is_string()
                                      ? CarriedValue{name, CarriedValue::Kind::text, value.get<std::string>()}
                                      : CarriedValue{name, CarriedValue::Kind::json, value.dump()};
            }
        }
        reader.add(number, id, first, second, carried);
    }
}

/// What the list's first line is.
ListFormat formatOf(std::istream& in) {
    std::string line;
    const auto begin = in.tellg();
    while (std::getline(in, line) && line.find_first_not_of(" \t\r") == std::string::npos) {
    }
    in.clear();
    in.seekg(begin);
    if (line.find_first_not_of(" \t") != std::string::npos && line[line.find_first_not_of(" \t")] == '{') {
        return ListFormat::jsonLines;
    }
    const bool tabs = line.find('\t') != std::string::npos && line.find(',') == std::string::npos;
    return tabs ? ListFormat::tsv : ListFormat::csv;
}

void skipByteOrderMark(std::istream& in) {
    constexpr std::string_view mark = "\xef\xbb\xbf";
    std::string begin(mark.size(), '\0');
    in.read(begin.data(), static_cast<std::streamsize>(begin.size()));
    if (in.gcount() != static_cast<std::streamsize>(mark.size()) || begin != mark) {
        in.clear();
        in.seekg(0);
    }
}

std::optional<ListFormat> formatOfExtension(const std::string& path) {
    const std::string extension = lowerCase(fs::path(path).extension().string());
    if (extension == ".csv") {
        return ListFormat::csv;
    }
    if (extension == ".tsv") {
        return ListFormat::tsv;
    }
    if (extension == ".jsonl" || extension == ".ndjson") {
        return ListFormat::jsonLines;
    }
    return std::nullopt;
}

/// Paths of the image files of a folder by relative path without extension.
/// @param leftOut  gets the others, but for folders
std::map<std::string, std::string> imagesIn(const std::string& folder, std::vector<FolderPairs::LeftOut>& leftOut) {
    std::map<std::string, std::string> images;
    for (const ImageFile& file : imageFilesIn("--folders", folder, leftOut)) {
        const auto [place, isNew] = images.emplace(fs::path(file.relative).replace_extension().string(), file.path);
        if (!isNew) {
            throw Refusal("--folders: '" + std::min(place->second, file.path) + "' and '" +
                          std::max(place->second, file.path) + "' differ in the extension only");
        }
    }
    return images;
}

}  // namespace

void PairList::add(std::string_view id, std::string_view first, std::string_view second,
                   const std::vector<CarriedValue>& carried) {
    ++total_;
    const std::string byDefault = defaultId(first, second);
    if (!shard_.holds(id.empty() ? byDefault : id)) {
        return;
    }
    places_.push_back({text_.size(), total_});
    pack(text_, id == byDefault ? std::string_view() : id);
    pack(text_, first);
    pack(text_, second);
    pack(text_, std::string_view(std::to_string(carried.size())));
    for (const CarriedValue& value : carried) {
        text_ += static_cast<char>(value.kind);
        pack(text_, value.text);
    }
}

Pair PairList::at(std::size_t k) const {
    std::size_t offset = places_[k].offset;
    Pair pair;
    pair.position = places_[k].position;
    pair.id = unpack(text_, offset);
    pair.first = unpack(text_, offset);
    pair.second = unpack(text_, offset);
    if (pair.id.empty()) {
        pair.id = defaultId(pair.first, pair.second);
    }
    const std::size_t values = std::stoul(unpack(text_, offset));
    for (std::size_t column = 0; column < columns_.size(); ++column) {
        CarriedValue value{columns_[column], CarriedValue::Kind::absent, {}};
        if (column < values) {
            value.kind = static_cast<CarriedValue::Kind>(text_[offset++]);
            value.text = unpack(text_, offset);
        }
        pair.carried.push_back(std::move(value));
    }
    return pair;
}

std::size_t PairList::column(const std::string& name) {
    const auto found = std::find(columns_.begin(), columns_.end(), name);
    if (found == columns_.end()) {
        columns_.push_back(name);
        return columns_.size() - 1;
    }
    return static_cast<std::size_t>(found - columns_.begin());
}

PairList readPairs(std::istream& in, const std::string& name, std::optional<ListFormat> format, Shard shard) {
    skipByteOrderMark(in);
    ListReader reader(name, shard);
    const ListFormat known = format ? *format : formatOf(in);
    if (known == ListFormat::jsonLines) {
        readJsonLines(in, reader);
    } else {
        readTable(in, known == ListFormat::tsv ? '\t' : ',', reader);
    }
    if (in.bad()) {
        throw Refusal("cannot read " + name);
    }
    return reader.finish();
}

PairList readPairs(const std::string& path, std::optional<ListFormat> format, Shard shard) {
    if (path == "-") {
        std::stringstream text;
        text << std::cin.rdbuf();
        return readPairs(text, "standard input", format, shard);
    }
    const std::string name = "'" + path + "'";
    std::error_code error;
    if (fs::is_directory(path, error)) {
        throw Refusal("cannot read " + name + ": Is a directory");
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw Refusal("cannot read " + name + ": " + std::strerror(errno));
    }
    const std::optional<ListFormat> known = format ? format : formatOfExtension(path);
    if (!fs::is_regular_file(path, error)) {  // a pipe: it cannot be read twice
        std::stringstream text;
        text << in.rdbuf();
        return readPairs(text, name, known, shard);
    }
    return readPairs(in, name, known, shard);
}

FolderPairs pairFolders(const std::string& first, const std::string& second, Shard shard) {
    FolderPairs folders{PairList(shard), {}, {}};
    const auto firstImages = imagesIn(first, folders.leftOut);
    const auto secondImages = imagesIn(second, folders.leftOut);
    for (const auto& [id, path] : firstImages) {
        const auto partner = secondImages.find(id);
        if (partner == secondImages.end()) {
            folders.unpaired.push_back(path);
        } else if (!isUtf8(id) || !isUtf8(path) || !isUtf8(partner->second)) {
            folders.leftOut.push_back({path, "has a name that is not UTF-8, or its partner has"});
        } else {
            folders.pairs.add(id, path, partner->second, {});
        }
    }
    for (const auto& [id, path] : secondImages) {
        if (firstImages.count(id) == 0) {
            folders.unpaired.push_back(path);
        }
    }
    if (folders.pairs.total() == 0) {
        throw Refusal("--folders: no image file of '" + first + "' has a partner in '" + second + "'");
    }
    return folders;
}

std::string csvList(const PairList& pairs) {
    std::string list = "id,first,second";
    for (const std::string& column : pairs.columns()) {
        list += ',' + csvField(column);
    }
    list += '\n';
    for (std::size_t k = 0; k < pairs.size(); ++k) {
        const Pair pair = pairs.at(k);
        list += csvField(pair.id) + ',' + csvField(pair.first) + ',' + csvField(pair.second);
        for (const CarriedValue& value : pair.carried) {
            list += ',' + csvField(value.text);
        }
        list += '\n';
    }
    return list;
}

}  // namespace likeness
