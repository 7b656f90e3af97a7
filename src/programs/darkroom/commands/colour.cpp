// darkroom colour: how single colours look under given conditions, and colours that look as told.
#include <likeness/appearance/uniform_space.hpp>
#include <likeness/color/illuminants.hpp>
#include <likeness/comparison/perceptual_metrics.hpp>
#include "commands/subcommands.hpp"
#include "console/color_input.hpp"
#include "console/json_output.hpp"
#include "console/option_checks.hpp"
#include "console/viewing_options.hpp"
#include "files/csv_text.hpp"
#include "files/refusal.hpp"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <unistd.h>
#include <array>
#include <cmath>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>

namespace likeness::darkroom {
namespace {

constexpr double none = std::numeric_limits<double>::quiet_NaN();
constexpr const char* ownConditions = "likeness-default";

struct ColourArguments {
    std::vector<std::string> xyz;
    std::vector<std::string> srgb;
    std::vector<std::string> lab;
    std::vector<std::string> correlates;
    std::string from;
    std::string table;
    std::string model = "ciecam16";
    ViewingOptions viewing;
    bool difference = false;
    bool json = false;
    bool csv = false;
};

struct NamedNumber {
    const char* name;
    const char* letter;
    double Correlates::*value;
};

constexpr std::array<NamedNumber, 7> correlateColumns = {{{"lightness", "J", &Correlates::lightness},
                                                          {"brightness", "Q", &Correlates::brightness},
                                                          {"chroma", "C", &Correlates::chroma},
                                                          {"colorfulness", "M", &Correlates::colorfulness},
                                                          {"saturation", "s", &Correlates::saturation},
                                                          {"hue_degrees", "h", &Correlates::hueDegrees},
                                                          {"hue_quadrature", "H", &Correlates::hueQuadrature}}};

struct NamedVariant {
    const char* name;
    UniformVariant variant;
};

constexpr std::array<NamedVariant, 3> variants = {
    {{"ucs", UniformVariant::ucs}, {"lcd", UniformVariant::lcd}, {"scd", UniformVariant::scd}}};

/// A colour, what it looks like, and where it lies in the spaces of differences.
struct SeenColor {
    std::string label;
    Xyz xyz;
    Correlates correlates;
    bool countsAsBlack = false;  ///< although it is not: the model does not describe it
    std::array<UniformColor, variants.size()> uniform;
    CieLab lab;
    cv::Vec3d srgb;
};

struct Difference {
    std::size_t first;
    std::size_t second;
    std::array<double, variants.size()> uniform;
    double ciede2000;
};

struct Result {
    AppearanceModelKind model;
    NamedConditions conditions;
    std::optional<ConditionFactors> factors;  ///< of a published model
    std::vector<SeenColor> colors;
    std::vector<Difference> differences;
    std::vector<std::string> remarks;  ///< on the table and the conditions
};

/// The colours of the command line, in its order.
std::vector<GivenColor> typedColors(const OptionParser& app, const ColourArguments& options) {
    std::vector<GivenColor> colors;
    std::size_t places[4] = {};
    for (const Option* const option : app.givenOptions()) {
        const std::string name = option->name();
        const auto next = [&places](std::size_t list, const std::vector<std::string>& texts) -> const std::string& {
            return texts.at(places[list]++);
        };
        if (name == "--xyz") {
            const std::string& text = next(0, options.xyz);
            const cv::Vec3d xyz = numbersOf(name, text);
            colors.push_back({text, Xyz{xyz[0], xyz[1], xyz[2]}});
        } else if (name == "--srgb") {
            const std::string& text = next(1, options.srgb);
            colors.push_back({text, srgbIn(name, text)});
        } else if (name == "--lab") {
            const std::string& text = next(2, options.lab);
            const cv::Vec3d lab = numbersOf(name, text);
            colors.push_back({text, CieLab{lab[0], lab[1], lab[2]}});
        } else if (name == "--correlates") {
            const std::string& text = next(3, options.correlates);
            colors.push_back({text, tripleOf(correlateOrderIn(options.from), name, text)});
        }
    }
    return colors;
}

/// @param remarks  receives what is to be warned of
std::vector<GivenColor> givenColors(const OptionParser& app, const ColourArguments& options,
                                    std::vector<std::string>& remarks) {
    std::vector<GivenColor> colors = typedColors(app, options);
    const bool reads = options.table == "-" || (colors.empty() && ::isatty(STDIN_FILENO) == 0);
    if (!options.from.empty() && options.correlates.empty() && !reads) {
        throw Refusal("--from: no colour is given by its correlates; give it --correlates, or - for a table of them");
    }
    if (reads) {
        std::vector<GivenColor> read = colorsIn(std::cin, options.from, remarks);
        colors.insert(colors.end(), read.begin(), read.end());
    }
    if (colors.empty()) {
        throw Refusal(
            "no colour is given: --xyz, --srgb, --lab, --from with --correlates, or a table on standard input");
    }
    return colors;
}

/// Every colour as X, Y, Z; those that are not given as correlates need no model.
Xyz xyzOf(const GivenColor& color, const NamedConditions& conditions, const PublishedModel* model) {
    if (const auto* const xyz = std::get_if<Xyz>(&color.value)) {
        return {conditions.scale * xyz->x, conditions.scale * xyz->y, conditions.scale * xyz->z};
    }
    if (const auto* const srgb = std::get_if<SrgbColor>(&color.value)) {
        return xyzFromSrgb(srgb->rgb);
    }
    if (const auto* const lab = std::get_if<CieLab>(&color.value)) {
        return xyzFromLab(*lab, conditions.conditions.white);
    }
    try {
        return model->colorOf(std::get<CorrelateTriple>(color.value));
    } catch (const std::invalid_argument& problem) {
        throw Refusal("'" + color.label + "': " + problem.what());
    }
}

/// Black has no hue, whatever the angle that stands for it.
std::string compositionOf(const Correlates& correlates) {
    return correlates.chroma == 0 ? "none" : hueComposition(correlates.hueQuadrature);
}

/// As the comparison sees it, beside the white of sRGB.
Correlates ownCorrelates(const SrgbColor& color) {
    return appearanceOf(
        {static_cast<float>(color.rgb[2]), static_cast<float>(color.rgb[1]), static_cast<float>(color.rgb[0])});
}

SeenColor seen(const GivenColor& color, const NamedConditions& conditions, const PublishedModel* model) {
    SeenColor result;
    result.label = color.label;
    result.xyz = xyzOf(color, conditions, model);
    if (model != nullptr) {
        result.correlates = model->correlatesOf(result.xyz);
        result.countsAsBlack = countsAsBlack(result.xyz, result.correlates);
    } else {
        result.correlates = ownCorrelates(std::get<SrgbColor>(color.value));
    }
    for (std::size_t k = 0; k < variants.size(); ++k) {
        // The uniform spaces are fitted to the published models.
        result.uniform[k] =
            model != nullptr ? uniformColorOf(result.correlates, variants[k].variant) : UniformColor{none, none, none};
    }
    result.lab = labFromXyz(result.xyz, conditions.conditions.white);
    result.srgb = srgbFromXyz(result.xyz);
    return result;
}

/// The first colour against each of the others.
std::vector<Difference> differencesOf(const std::vector<SeenColor>& colors) {
    std::vector<Difference> differences;
    for (std::size_t i = 1; i < colors.size(); ++i) {
        Difference difference = {0, i, {}, ciede2000(colors[0].lab, colors[i].lab)};
        for (std::size_t k = 0; k < variants.size(); ++k) {
            // That of black, which the model takes such colours for, would say nothing of them.
            difference.uniform[k] =
                colors[0].countsAsBlack || colors[i].countsAsBlack
                    ? none
                    : uniformDifference(colors[0].uniform[k], colors[i].uniform[k], variants[k].variant);
        }
        differences.push_back(difference);
    }
    return differences;
}

/// "#aabbcc", or none where sRGB does not have the colour.
std::string hexOf(const cv::Vec3d& srgb) {
    std::string text = "#";
    for (int c = 0; c < 3; ++c) {
        const double value = srgb[c] * 255;
        if (!(value >= -0.5 && value < 255.5)) {
            return "none";
        }
        text += fmt::format("{:02x}", std::max(0L, std::lround(value)));
    }
    return text;
}

nlohmann::ordered_json jsonOfColor(const SeenColor& color, double scale) {
    nlohmann::ordered_json json;
    json["input"] = color.label;
    json["xyz"] = {numberOrNull(color.xyz.x / scale), numberOrNull(color.xyz.y / scale),
                   numberOrNull(color.xyz.z / scale)};
    for (const NamedNumber& column : correlateColumns) {
        json[column.name] = numberOrNull(color.correlates.*column.value);
    }
    json["hue_composition"] = compositionOf(color.correlates);
    for (std::size_t k = 0; k < variants.size(); ++k) {
        const UniformColor& uniform = color.uniform[k];
        json["uniform"][variants[k].name] = {numberOrNull(uniform.lightness), numberOrNull(uniform.a),
                                             numberOrNull(uniform.b)};
    }
    json["lab"] = {numberOrNull(color.lab.lightness), numberOrNull(color.lab.a), numberOrNull(color.lab.b)};
    json["srgb"] = {numberOrNull(color.srgb[0]), numberOrNull(color.srgb[1]), numberOrNull(color.srgb[2])};
    return json;
}

std::string jsonText(const Result& result) {
    nlohmann::ordered_json json = jsonOfSchema("colour", 1);
    json["model"] = nameOf(result.model);
    json["conditions"] = jsonOf(result.conditions);
    if (result.factors) {
        json["degree_of_adaptation"] = result.factors->degreeOfAdaptation;
        json["luminance_level_factor"] = result.factors->luminanceLevel;
    }
    json["colours"] = nlohmann::ordered_json::array();
    for (const SeenColor& color : result.colors) {
        json["colours"].push_back(jsonOfColor(color, result.conditions.scale));
    }
    for (const Difference& difference : result.differences) {
        nlohmann::ordered_json pair;
        pair["first"] = difference.first;
        pair["second"] = difference.second;
        for (std::size_t k = 0; k < variants.size(); ++k) {
            pair[std::string("delta_e_") + variants[k].name] = numberOrNull(difference.uniform[k]);
        }
        pair["ciede2000"] = numberOrNull(difference.ciede2000);
        json["differences"].push_back(pair);
    }
    return indentedJson(json);
}

std::string numberOrEmpty(double value) {
    return std::isfinite(value) ? shortest(value) : "";
}

std::string csvText(const Result& result) {
    std::vector<std::string> header = {"id", "X", "Y", "Z"};
    for (const NamedNumber& column : correlateColumns) {
        header.emplace_back(column.name);
    }
    header.insert(header.end(), {"hue_composition", "ucs_lightness", "ucs_a", "ucs_b", "lab_lightness", "lab_a",
                                 "lab_b", "srgb_red", "srgb_green", "srgb_blue"});
    if (!result.differences.empty()) {
        for (const NamedVariant& variant : variants) {
            header.push_back(std::string("delta_e_") + variant.name);
        }
        header.emplace_back("ciede2000");
    }
    std::string text = csvLine(header);
    const double scale = result.conditions.scale;
    for (std::size_t i = 0; i < result.colors.size(); ++i) {
        const SeenColor& color = result.colors[i];
        std::vector<std::string> fields = {color.label};
        const auto add = [&fields](std::initializer_list<double> values) {
            for (const double value : values) {
                fields.push_back(numberOrEmpty(value));
            }
        };
        add({color.xyz.x / scale, color.xyz.y / scale, color.xyz.z / scale});
        for (const NamedNumber& column : correlateColumns) {
            add({color.correlates.*column.value});
        }
        fields.push_back(compositionOf(color.correlates));
        add({color.uniform[0].lightness, color.uniform[0].a, color.uniform[0].b, color.lab.lightness, color.lab.a,
             color.lab.b, color.srgb[0], color.srgb[1], color.srgb[2]});
        if (!result.differences.empty()) {
            // The first has none from itself.
            if (i == 0) {
                fields.resize(header.size());
            } else {
                const Difference& difference = result.differences[i - 1];
                add({difference.uniform[0], difference.uniform[1], difference.uniform[2], difference.ciede2000});
            }
        }
        text += csvLine(fields);
    }
    return text;
}

std::string fourDecimals(double value) {
    return std::isfinite(value) ? fmt::format("{:.4f}", value) : "none";
}

/// A table whose columns are as wide as what they hold; the first is aligned at its left.
std::string alignedTable(const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths(rows.front().size(), 0);
    for (const std::vector<std::string>& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string text;
    for (const std::vector<std::string>& row : rows) {
        text += fmt::format("{:<{}}", row.front(), widths.front());
        for (std::size_t i = 1; i < row.size(); ++i) {
            text += fmt::format("  {:>{}}", row[i], widths[i]);
        }
        text += '\n';
    }
    return text;
}

std::string plainText(const Result& result) {
    std::string text = fmt::format("{}; {}", nameOf(result.model), lineOf(result.conditions));
    if (result.factors) {
        text +=
            fmt::format("; D {:.4f}; F_L {:.4f}", result.factors->degreeOfAdaptation, result.factors->luminanceLevel);
    }
    std::vector<std::vector<std::string>> rows = {{"colour", "X", "Y", "Z"}};
    for (const NamedNumber& column : correlateColumns) {
        rows.front().emplace_back(column.letter);
    }
    rows.front().insert(rows.front().end(), {"hue", "sRGB"});
    const double scale = result.conditions.scale;
    for (const SeenColor& color : result.colors) {
        std::vector<std::string> row = {color.label, fourDecimals(color.xyz.x / scale),
                                        fourDecimals(color.xyz.y / scale), fourDecimals(color.xyz.z / scale)};
        for (const NamedNumber& column : correlateColumns) {
            row.push_back(fourDecimals(color.correlates.*column.value));
        }
        row.push_back(compositionOf(color.correlates));
        row.push_back(hexOf(color.srgb));
        rows.push_back(row);
    }
    text += '\n' + alignedTable(rows);
    if (!result.differences.empty()) {
        rows = {{"difference from " + result.colors.front().label, "UCS", "LCD", "SCD", "CIEDE2000"}};
        for (const Difference& difference : result.differences) {
            rows.push_back({result.colors[difference.second].label, fourDecimals(difference.uniform[0]),
                            fourDecimals(difference.uniform[1]), fourDecimals(difference.uniform[2]),
                            fourDecimals(difference.ciede2000)});
        }
        text += alignedTable(rows);
    }
    return text;
}

void checkForOwnModel(const ColourArguments& options, const std::vector<GivenColor>& colors) {
    ViewingOptions overrides = options.viewing;
    overrides.conditions.clear();
    if (overrides.given() || (!options.viewing.conditions.empty() && options.viewing.conditions != ownConditions)) {
        throw Refusal(
            "--model likeness has conditions of its own, likeness-default; give them to ciecam02 or ciecam16");
    }
    for (const GivenColor& color : colors) {
        if (!std::holds_alternative<SrgbColor>(color.value)) {
            throw Refusal("--model likeness takes sRGB colours only, not '" + color.label + "'");
        }
    }
}

void warnOf(const Console& console, const std::vector<GivenColor>& given, const Result& result) {
    const NamedConditions& conditions = result.conditions;
    const bool srgb = std::any_of(given.begin(), given.end(), [](const GivenColor& color) {
        return std::holds_alternative<SrgbColor>(color.value);
    });
    const Chromaticity white = chromaticityOf(conditions.conditions.white);
    const Chromaticity display = chromaticityOf(srgbWhite());
    constexpr double noticeable = 0.002;
    if (srgb && std::hypot(white.x - display.x, white.y - display.y) > noticeable) {
        console.warn(
            "sRGB colours are taken as the light of a display whose white is D65; the white of the conditions is "
            "another, and they are not adapted to it");
    }
    for (const std::string& remark : result.remarks) {
        console.warn(remark);
    }
    // On the scale of 1 a Y of 20 is 20 times the white: more likely the colour is on the scale of 100.
    constexpr double farAboveWhite = 5;
    if (conditions.scale != 1) {
        for (const GivenColor& color : given) {
            const auto* const xyz = std::get_if<Xyz>(&color.value);
            if (xyz != nullptr && xyz->y > farAboveWhite) {
                console.warn(
                    "'" + color.label +
                    "' is far brighter than the white, which is on the scale of 1: all X, Y, Z are taken to be "
                    "on it; give the white with Y = 100 for colours on the scale of 100");
                break;
            }
        }
    }
    constexpr std::size_t mostNamed = 5;  // of a table, which may have any number
    std::size_t outside = 0;
    for (const SeenColor& color : result.colors) {
        const bool hasNone = !std::isfinite(color.correlates.chroma) || !std::isfinite(color.correlates.lightness);
        if ((hasNone || color.countsAsBlack) && ++outside <= mostNamed) {
            console.warn("'" + color.label + "' lies outside what the model describes: " +
                         (hasNone ? "it has no chroma there" : "it counts as black"));
        }
    }
    if (outside > mostNamed) {
        console.warn(fmt::format("{} more colours lie outside what the model describes", outside - mostNamed));
    }
}

ExitStatus seeColors(const Console& console, const OptionParser& app, const ColourArguments& options) {
    Result result;
    result.model = modelNamed(options.model);
    const bool own = result.model == AppearanceModelKind::likeness;
    const std::vector<GivenColor> given = givenColors(app, options, result.remarks);
    if (own) {
        checkForOwnModel(options, given);
    }
    result.conditions = own ? chosenConditions(options.viewing, ownConditions)
                            : publishedConditions(options.viewing, result.model, result.remarks);
    std::optional<PublishedModel> model;
    if (!own) {
        try {
            model.emplace(result.model, result.conditions.conditions);
        } catch (const std::invalid_argument& problem) {
            throw Refusal(std::string("viewing conditions: ") + problem.what());
        }
        result.factors = model->factors();
    }
    for (const GivenColor& color : given) {
        result.colors.push_back(seen(color, result.conditions, model ? &*model : nullptr));
    }
    if (options.difference) {
        if (result.colors.size() < 2) {
            throw Refusal("--difference needs two colours or more");
        }
        result.differences = differencesOf(result.colors);
    }
    warnOf(console, given, result);
    std::cout << (options.json ? jsonText(result) : options.csv ? csvText(result) : plainText(result));
    return ExitStatus::done;
}

}  // namespace

Action declareColour(OptionParser& app) {
    auto options = std::make_shared<ColourArguments>();
    const auto addColors = [&app](const char* name, std::vector<std::string>& colors, const char* type,
                                  const char* text, const char* example) {
        return app.addOption(name, colors, optionText(text, example))->typeName(type)->allowExtraArguments(false);
    };
    app.addOption("TABLE", options->table,
                  "- reads colours as CSV from standard input, as without any colour: the header names X, Y, Z, or "
                  "R, G, B, or srgb, or L, a, b, or three correlates, and may have an id")
        ->typeName("")
        ->check(oneOf({"-"}));
    addColors("--xyz", options->xyz, "X,Y,Z", "A colour by its X, Y, Z on the scale of the white. May be repeated",
              "--xyz 19.01,20,21.78");
    addColors("--srgb", options->srgb, "COLOUR",
              "An sRGB colour, as the light of a display whose white is D65: #rrggbb, R,G,B from 0 to 255, or "
              "R%,G%,B%. May be repeated",
              "--srgb '#aabbcc'");
    addColors("--lab", options->lab, "L,a,b", "A colour by its CIE L*, a*, b* under the white. May be repeated",
              "--lab 50,20,-30");
    auto* const from =
        app.addOption("--from", options->from,
                      optionText("Correlates that --correlates, or a table without a header, gives: one of J, Q, one "
                                 "of C, M, s, one of h, H. The colour that looks so is found by the inverse model",
                                 "--from Q,M,H"))
            ->typeName("J,C,h");
    addColors("--correlates", options->correlates, "N,N,N",
              "A colour by its correlates, in the order of --from. May be repeated", "--correlates 41.73,0.1,219")
        ->needs(from);
    addModelOption(app, options->model);
    app.option("--model")->defaultText(options->model);
    app.addFlag("--difference", options->difference,
                optionText("Also tell how far each colour is from the first: Delta E' in the uniform space of the "
                           "model (UCS, LCD for large, SCD for small differences) and CIEDE2000",
                           "--difference"));
    auto* const json = app.addFlag("--json", options->json, optionText("Print JSON", "--json"));
    app.addFlag("--csv", options->csv, optionText("Print CSV, a header and a line for each colour", "--csv"))
        ->excludes(json);
    addViewingOptions(app, options->viewing);
    return [options, &app](const Console& console) { return seeColors(console, app, *options); };
}

}  // namespace likeness::darkroom
