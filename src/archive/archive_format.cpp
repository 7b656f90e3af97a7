#include "archive/archive_format.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

namespace likeness::archive {
namespace {

using Json = nlohmann::ordered_json;

Json modelJson(const ComparisonModel& model) {
    const ViewingConditions& conditions = model.conditions;
    return {{"kind", static_cast<int>(model.kind)},
            {"white", {conditions.white.x, conditions.white.y, conditions.white.z}},
            {"adapting_luminance", conditions.adaptingLuminance},
            {"conditions_background", conditions.background ? Json(*conditions.background) : Json()},
            {"surround", {conditions.surround.adaptation, conditions.surround.impact, conditions.surround.induction}},
            {"discounting", conditions.discounting},
            {"picture_white", static_cast<int>(model.pictureWhite)},
            {"white_response", static_cast<int>(model.white)},
            {"black", static_cast<int>(model.black)},
            {"background", model.background ? Json(*model.background) : Json()}};
}

std::optional<double> numberOrNothing(const Json& json) {
    return json.is_null() ? std::nullopt : std::optional(json.get<double>());
}

/// The library casts a number of another kind or range to an int without a word.
int integerOf(const Json& json, int least, int greatest) {
    constexpr auto signedGreatest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (!json.is_number_integer() || (json.is_number_unsigned() && json.get<std::uint64_t>() > signedGreatest)) {
        throw std::out_of_range("no integer");
    }
    const auto number = json.get<std::int64_t>();
    if (number < least || number > greatest) {
        throw std::out_of_range("an integer out of its range");
    }
    return static_cast<int>(number);
}

template <typename Word>
Word wordOf(const Json& json, Word greatest) {
    return static_cast<Word>(integerOf(json, 0, static_cast<int>(greatest)));
}

void readEdges(const Json& json, std::array<int, sketchGroups - 1>& edges) {
    for (std::size_t i = 0; i < edges.size(); ++i) {
        edges[i] = integerOf(json.at(i), std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
    }
}

ComparisonModel modelOf(const Json& json) {
    ComparisonModel model;
    model.kind = wordOf(json.at("kind"), AppearanceModelKind::ciecam16);
    ViewingConditions& conditions = model.conditions;
    const auto& white = json.at("white");
    conditions.white = {white.at(0).get<double>(), white.at(1).get<double>(), white.at(2).get<double>()};
    conditions.adaptingLuminance = json.at("adapting_luminance").get<double>();
    conditions.background = numberOrNothing(json.at("conditions_background"));
    const auto& surround = json.at("surround");
    conditions.surround.adaptation = surround.at(0).get<double>();
    conditions.surround.impact = surround.at(1).get<double>();
    conditions.surround.induction = surround.at(2).get<double>();
    conditions.discounting = json.at("discounting").get<bool>();
    model.pictureWhite = wordOf(json.at("picture_white"), PictureWhite::brightestPixel);
    model.white = wordOf(json.at("white_response"), WhiteResponse::fixed);
    model.black = wordOf(json.at("black"), BlackAdaptation::continuous);
    model.background = numberOrNothing(json.at("background"));
    return model;
}

void pad(std::string& bytes) {
    bytes.resize(aligned(bytes.size()), '\0');
}

std::uint32_t endOf(const std::string& column) {
    if (column.size() > std::numeric_limits<std::uint32_t>::max()) {
        throw std::length_error("archive: a block holds at most 4 GiB");
    }
    return static_cast<std::uint32_t>(column.size());
}

}  // namespace

std::string headText(const ArchiveHead& head) {
    Json json = {{"schema", "likeness.archive"},
                 {"version", head.origin.version},
                 {"fingerprint", head.origin.fingerprint},
                 {"parameters", head.origin.parameters},
                 {"model", modelJson(head.origin.options.model)},
                 {"hue", head.origin.options.hue ? Json(static_cast<int>(*head.origin.options.hue)) : Json()}};
    if (head.edges) {
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            json["edges"].push_back((*head.edges)[k]);
        }
    }
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::optional<ArchiveHead> headOf(std::string_view text) {
    try {
        const Json json = Json::parse(text);
        ArchiveHead head;
        head.origin.version = json.at("version").get<std::string>();
        head.origin.fingerprint = json.at("fingerprint").get<std::string>();
        head.origin.parameters = json.at("parameters").get<std::string>();
        head.origin.options.model = modelOf(json.at("model"));
        if (!json.at("hue").is_null()) {
            head.origin.options.hue = wordOf(json.at("hue"), HueWeights::chroma);
        }
        if (json.contains("edges")) {
            GroupEdges edges;
            for (std::size_t k = 0; k < correlateNames.size(); ++k) {
                readEdges(json.at("edges").at(k), edges[k]);
                if (!std::is_sorted(edges[k].begin(), edges[k].end())) {
                    return std::nullopt;
                }
            }
            head.edges = edges;
        }
        return head;
    } catch (const std::exception&) {  // the library's own and those above
        return std::nullopt;
    }
}

std::string fileHead(const ArchiveHead& head) {
    const std::string text = headText(head);
    std::string bytes(fileMagic);
    put(bytes, endianMark);
    put(bytes, formatVersion);
    put(bytes, static_cast<std::uint64_t>(text.size()));
    put(bytes, checksum(text));
    put(bytes, checksum(bytes));
    bytes += text;
    pad(bytes);
    return bytes;
}

StoredEntry stored(const ArchivedPhotograph& photograph) {
    StoredEntry entry;
    entry.path = photograph.path;
    entry.bytes = photograph.bytes;
    entry.modified = photograph.modified;
    entry.sha256 = photograph.sha256;
    entry.width = static_cast<std::uint32_t>(photograph.width);
    entry.height = static_cast<std::uint32_t>(photograph.height);
    if (!(photograph.problem + photograph.profile).empty() || !photograph.remarks.empty()) {
        for (const std::string* text : {&photograph.problem, &photograph.profile}) {
            entry.texts += *text + '\0';
        }
        for (const std::string& remark : photograph.remarks) {
            entry.texts += remark + '\0';
        }
    }
    if (photograph.analysed()) {
        entry.histograms = encodedHistograms(photograph.distributions, entry.pixels());
    }
    return entry;
}

void BlockBuilder::add(StoredEntry entry) {
    paths_ += entry.path;
    put(pathEnds_, endOf(paths_));
    put(fileBytes_, entry.bytes);
    put(modified_, entry.modified);
    sha256_.append(reinterpret_cast<const char*>(entry.sha256.data()), entry.sha256.size());
    put(sizes_, entry.width);
    put(sizes_, entry.height);
    texts_ += entry.texts;
    put(textEnds_, endOf(texts_));
    put(histogramSums_, checksum(entry.histograms));
    histograms_ += entry.histograms;
    put(histogramEnds_, endOf(histograms_));
    coded_.emplace_back(entry.histograms.size(), entry.pixels());
}

std::string BlockBuilder::take(std::uint32_t number, const std::optional<GroupEdges>& edges) {
    const auto entries = static_cast<std::uint32_t>(size());
    std::string sketches;
    if (edges) {
        sketches.resize(sketchColumnBytes(entries), '\0');
        std::size_t at = 0;
        for (std::size_t i = 0; i < entries; ++i) {
            const auto [length, pixels] = coded_[i];
            if (length > 0) {
                const Sketch sketch = sketchOf(std::string_view(histograms_).substr(at, length), pixels, *edges);
                for (std::size_t b = 0; b < sketch.size(); ++b) {
                    sketches[sketchPlace(i, b / sketchGroups, b % sketchGroups)] = static_cast<char>(sketch[b]);
                }
            }
            at += length;
        }
    }
    const std::array<const std::string*, columns> parts = {&pathEnds_,      &paths_,         &fileBytes_,  &modified_,
                                                           &sha256_,        &sizes_,         &textEnds_,   &texts_,
                                                           &histogramEnds_, &histogramSums_, &histograms_, &sketches};
    std::string directory;
    std::uint64_t at = aligned(blockHeadBytes + columns * columnPlaceBytes);
    for (std::size_t c = 0; c < columns; ++c) {
        put(directory, static_cast<std::uint32_t>(c));
        put(directory, c == static_cast<std::size_t>(Column::histograms) ? 0U : checksum(*parts[c]));
        put(directory, at);
        put(directory, static_cast<std::uint64_t>(parts[c]->size()));
        at = aligned(at + parts[c]->size());
    }
    std::string block(blockMagic);
    put(block, number);
    put(block, entries);
    put(block, at);  // bytes of the whole block
    put(block, static_cast<std::uint32_t>(columns));
    put(block, checksum(directory));
    block.resize(blockHeadBytes - sizeof(std::uint32_t), '\0');
    put(block, checksum(block));
    block += directory;
    pad(block);
    for (const std::string* part : parts) {
        block += *part;
        pad(block);
    }
    *this = {};
    return block;
}

std::string fileFoot(const std::vector<BlockPlace>& blocks, const ArchiveHead& head, std::uint64_t begin) {
    const std::string text = headText(head);
    std::string foot(footMagic);
    put(foot, static_cast<std::uint64_t>(blocks.size()));
    put(foot, static_cast<std::uint64_t>(text.size()));
    for (const BlockPlace& block : blocks) {
        put(foot, block.begin);
        put(foot, block.bytes);
        put(foot, block.firstEntry);
        put(foot, static_cast<std::uint64_t>(block.entries));
    }
    foot += text;
    pad(foot);
    const std::uint32_t sum = checksum(foot);
    const std::uint64_t bytes = foot.size();
    std::string tail(tailMagic);
    put(tail, begin);
    put(tail, begin + bytes + tailBytes);
    put(tail, sum);
    put(tail, checksum(tail));
    return foot + tail;
}

}  // namespace likeness::archive
