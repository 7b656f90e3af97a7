#include "console/color_input.hpp"

#include "batch/csv.hpp"
#include "console/option_checks.hpp"
#include "console/viewing_options.hpp"
#include "files/refusal.hpp"
#include "files/trimmed_text.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>

namespace likeness::darkroom {
namespace {

enum class Part { level, chroma, hue };

struct InputCorrelate {
    const char* letter;
    const char* word;
    Part part;
    int kind;
};

constexpr InputCorrelate inputCorrelates[] = {
    {"J", "lightness", Part::level, static_cast<int>(LevelCorrelate::lightness)},
    {"Q", "brightness", Part::level, static_cast<int>(LevelCorrelate::brightness)},
    {"C", "chroma", Part::chroma, static_cast<int>(ChromaCorrelate::chroma)},
    {"M", "colorfulness", Part::chroma, static_cast<int>(ChromaCorrelate::colorfulness)},
    {"s", "saturation", Part::chroma, static_cast<int>(ChromaCorrelate::saturation)},
    {"h", "hue_degrees", Part::hue, static_cast<int>(HueCorrelate::degrees)},
    {"H", "hue_quadrature", Part::hue, static_cast<int>(HueCorrelate::quadrature)},
};

const InputCorrelate* inputCorrelateNamed(const std::string& name) {
    const auto* const found =
        std::find_if(std::begin(inputCorrelates), std::end(inputCorrelates),
                     [&](const auto& known) { return name == known.letter || name == known.word; });
    return found == std::end(inputCorrelates) ? nullptr : found;
}

/// Three correlates of a list of names; none where it is not three that determine a colour.
std::optional<CorrelateOrder> orderOf(const std::vector<std::string>& names) {
    CorrelateOrder order;
    bool seen[3] = {};
    for (std::size_t i = 0; i < names.size(); ++i) {
        const InputCorrelate* const name = inputCorrelateNamed(names[i]);
        if (name == nullptr || seen[static_cast<int>(name->part)]) {
            return std::nullopt;
        }
        seen[static_cast<int>(name->part)] = true;
        switch (name->part) {
            case Part::level:
                order.level = i;
                order.kinds.level = static_cast<LevelCorrelate>(name->kind);
                break;
            case Part::chroma:
                order.chroma = i;
                order.kinds.chroma = static_cast<ChromaCorrelate>(name->kind);
                break;
            case Part::hue:
                order.hue = i;
                order.kinds.hue = static_cast<HueCorrelate>(name->kind);
                break;
        }
    }
    return seen[0] && seen[1] && seen[2] ? std::optional(order) : std::nullopt;
}

Refusal noSrgb(const std::string& where, const std::string& text) {
    return Refusal(where + ": '" + text + "' is none of #rrggbb, R,G,B from 0 to 255, R%,G%,B% from 0 to 100");
}

std::optional<int> hexDigitsIn(const std::string& text) {
    if (text.empty() || text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        return std::nullopt;
    }
    return std::stoi(text, nullptr, 16);
}

/// The header of a table: where the values of a colour stand.
struct Columns {
    enum class Space { xyz, rgb, srgb, lab, correlates };
    Space space = Space::xyz;
    std::vector<std::size_t> places;
    std::optional<std::size_t> id;
    CorrelateOrder order;
};

std::optional<std::vector<std::size_t>> placesOf(const std::vector<std::string>& header,
                                                 const std::vector<std::string>& names) {
    std::vector<std::size_t> places;
    for (const std::string& name : names) {
        const auto found = std::find(header.begin(), header.end(), name);
        if (found == header.end()) {
            return std::nullopt;
        }
        places.push_back(static_cast<std::size_t>(found - header.begin()));
    }
    return places;
}

/// Names alone: no number, no "#aabbcc" and no percentage.
bool isHeader(const std::vector<std::string>& fields) {
    return std::all_of(fields.begin(), fields.end(), [](const std::string& field) {
        return field.empty() || (field.front() != '#' && field.back() != '%' && std::isnan(parseNumber(field)));
    });
}

/// A column that stands twice would leave open which of the two is meant.
void checkOnce(const std::vector<std::string>& header) {
    for (auto column = header.begin(); column != header.end(); ++column) {
        if (!column->empty() && std::find(std::next(column), header.end(), *column) != header.end()) {
            throw Refusal("standard input: the header has the column '" + *column + "' twice");
        }
    }
}

const std::pair<Columns::Space, std::vector<std::string>> knownSpaces[] = {{Columns::Space::xyz, {"X", "Y", "Z"}},
                                                                           {Columns::Space::rgb, {"R", "G", "B"}},
                                                                           {Columns::Space::srgb, {"srgb"}},
                                                                           {Columns::Space::lab, {"L", "a", "b"}}};

/// The correlates among the columns.
std::vector<std::string> correlatesIn(const std::vector<std::string>& header) {
    std::vector<std::string> correlates;
    for (const std::string& name : header) {
        if (inputCorrelateNamed(name) != nullptr) {
            correlates.push_back(name);
        }
    }
    return correlates;
}

/// What a header has beside the columns that are taken: "srgb", "J,C,h".
std::vector<std::string> otherDescriptions(const std::vector<std::string>& header, const std::string& taken) {
    std::vector<std::string> others;
    const auto add = [&](const std::vector<std::string>& names) {
        if (const std::string list = fmt::format("{}", fmt::join(names, ",")); list != taken) {
            others.push_back(list);
        }
    };
    for (const auto& [space, names] : knownSpaces) {
        if (placesOf(header, names)) {
            add(names);
        }
    }
    if (const std::vector<std::string> correlates = correlatesIn(header); correlates.size() >= 3) {
        add(correlates);
    }
    return others;
}

/// Tells which of several descriptions of a colour is taken.
void tellTaken(const std::vector<std::string>& header, const std::string& taken, std::vector<std::string>& remarks) {
    const std::vector<std::string> others = otherDescriptions(header, taken);
    if (!others.empty()) {
        remarks.push_back(fmt::format("standard input: the colours are taken from the columns {}; {} {} not looked at",
                                      taken, fmt::join(others, " and "), others.size() == 1 ? "is" : "are"));
    }
}

Columns columnsOf(const std::vector<std::string>& header, const std::string& from, std::vector<std::string>& remarks) {
    using Space = Columns::Space;
    checkOnce(header);
    Columns columns;
    if (const auto id = placesOf(header, {"id"})) {
        columns.id = id->front();
    }
    if (!from.empty()) {
        columns.space = Space::correlates;
        columns.order = correlateOrderIn(from);
        const auto places = placesOf(header, partsOf(from));
        if (!places) {
            throw Refusal("standard input: the header has not all columns of --from " + from);
        }
        columns.places = *places;
        tellTaken(header, from, remarks);
        return columns;
    }
    for (const auto& [space, names] : knownSpaces) {
        if (const auto places = placesOf(header, names)) {
            columns.space = space;
            columns.places = *places;
            tellTaken(header, fmt::format("{}", fmt::join(names, ",")), remarks);
            return columns;
        }
    }
    const std::vector<std::string> correlates = correlatesIn(header);
    const auto order = orderOf(correlates);
    if (!order) {
        throw Refusal(
            "standard input: the header has neither X, Y, Z nor R, G, B nor srgb nor L, a, b nor three correlates such "
            "as J, C, h that determine a colour");
    }
    columns.space = Space::correlates;
    columns.order = *order;
    columns.places = *placesOf(header, correlates);
    return columns;
}

/// The columns of a table without a header.
Columns plainColumns(const std::vector<std::string>& firstRow, const std::string& from) {
    Columns columns;
    if (firstRow.size() == 1) {
        columns.space = Columns::Space::srgb;
        columns.places = {0};
    } else {
        columns.places = {0, 1, 2};
        if (!from.empty()) {
            columns.space = Columns::Space::correlates;
            columns.order = correlateOrderIn(from);
        }
    }
    return columns;
}

GivenColor colorOf(const Columns& columns, const std::vector<std::string>& fields, const std::string& where) {
    std::string text;
    for (const std::size_t place : columns.places) {
        if (place >= fields.size()) {
            throw Refusal(where + ": the row ends too early");
        }
        text += (text.empty() ? "" : ",") + fields[place];
    }
    GivenColor color;
    color.label = columns.id && *columns.id < fields.size() ? fields[*columns.id] : text;
    switch (columns.space) {
        case Columns::Space::rgb:
        case Columns::Space::srgb:
            color.value = srgbIn(where, text);
            break;
        case Columns::Space::correlates:
            color.value = tripleOf(columns.order, where, text);
            break;
        case Columns::Space::xyz: {
            const cv::Vec3d xyz = numbersOf(where, text);
            color.value = Xyz{xyz[0], xyz[1], xyz[2]};
            break;
        }
        case Columns::Space::lab: {
            const cv::Vec3d lab = numbersOf(where, text);
            color.value = CieLab{lab[0], lab[1], lab[2]};
            break;
        }
    }
    return color;
}

}  // namespace

CorrelateOrder correlateOrderIn(const std::string& list) {
    const auto order = orderOf(partsOf(list));
    if (!order) {
        throw Refusal("--from: '" + list + "' is not one of J, Q, one of C, M, s and one of h, H, as in J,C,h");
    }
    return *order;
}

SrgbColor srgbIn(const std::string& where, const std::string& text) {
    SrgbColor color;
    if (!text.empty() && text.front() == '#') {
        const std::size_t digits = (text.size() - 1) / 3;
        if (text.size() != 1 + 3 * digits || (digits != 1 && digits != 2)) {
            throw noSrgb(where, text);
        }
        for (int c = 0; c < 3; ++c) {
            const auto value = hexDigitsIn(text.substr(1 + digits * static_cast<std::size_t>(c), digits));
            if (!value) {
                throw noSrgb(where, text);
            }
            color.rgb[c] = *value / (digits == 1 ? 15.0 : 255.0);
        }
        return color;
    }
    const std::vector<std::string> parts = partsOf(text);
    if (parts.size() != 3) {
        throw noSrgb(where, text);
    }
    bool unitFractions = true;
    bool whole = true;
    for (int c = 0; c < 3; ++c) {
        std::string part = parts[static_cast<std::size_t>(c)];
        const bool percent = !part.empty() && part.back() == '%';
        if (percent) {
            part.pop_back();
        }
        const double value = parseNumber(part);
        const double greatest = percent ? 100 : 255;
        if (!(value >= 0 && value <= greatest)) {
            throw noSrgb(where, text);
        }
        unitFractions = unitFractions && !percent && value <= 1;
        whole = whole && value == std::floor(value);
        color.rgb[c] = value / greatest;
    }
    if (unitFractions && !whole) {
        throw Refusal(
            where + ": '" + text +
            "' looks like values from 0 to 1, but R,G,B are from 0 to 255; write 50%,50%,50% for 0.5,0.5,0.5");
    }
    return color;
}

cv::Vec3d numbersOf(const std::string& where, const std::string& text) {
    const std::vector<double> numbers = numbersIn(text, 3);
    if (numbers.empty()) {
        throw Refusal(where + ": '" + text + "' is not three numbers with commas between them");
    }
    return {numbers[0], numbers[1], numbers[2]};
}

CorrelateTriple tripleOf(const CorrelateOrder& order, const std::string& where, const std::string& text) {
    const cv::Vec3d values = numbersOf(where, text);
    const auto at = [&values](std::size_t place) { return values[static_cast<int>(place)]; };
    return {order.kinds, at(order.level), at(order.chroma), at(order.hue)};
}

std::vector<GivenColor> colorsIn(std::istream& table, const std::string& from, std::vector<std::string>& remarks) {
    std::vector<GivenColor> colors;
    CsvReader reader(table, ',');
    std::optional<Columns> columns;
    std::vector<std::string> fields;
    try {
        while (reader.next(fields)) {
            for (std::string& field : fields) {
                field = trimmed(field);
            }
            constexpr const char* byteOrderMark = "\xEF\xBB\xBF";
            if (!columns && fields.front().rfind(byteOrderMark, 0) == 0) {
                fields.front().erase(0, 3);
            }
            const bool header = !columns && isHeader(fields);
            if (!columns) {
                columns = header ? columnsOf(fields, from, remarks) : plainColumns(fields, from);
            }
            if (!header) {
                colors.push_back(colorOf(*columns, fields, fmt::format("standard input, line {}", reader.line())));
            }
        }
    } catch (const CsvProblem& problem) {
        throw Refusal(fmt::format("standard input, line {}: {}", problem.line(), problem.what()));
    }
    return colors;
}

}  // namespace likeness::darkroom
