#include "console/viewing_options.hpp"

#include <likeness/color/illuminants.hpp>
#include <likeness/comparison/perceptual_metrics.hpp>
#include "console/option_checks.hpp"
#include "files/refusal.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>

namespace likeness::darkroom {
namespace {

using nlohmann::ordered_json;

constexpr const char* viewingGroup = "Viewing conditions";
constexpr const char* drifting = "drifting";
constexpr double perfectY = 100;
/// A white whose Y is no greater is taken to be on the scale of 1.
constexpr double greatestUnitY = 2;

const std::pair<const char*, Surround> namedSurrounds[] = {
    {"average", averageSurround}, {"dim", dimSurround}, {"dark", darkSurround}};

struct GivenWhite {
    Xyz white;
    double scale = 1;
    Xyz given = white;
};

void take(const GivenWhite& given, NamedConditions& named) {
    named.conditions.white = given.white;
    named.scale = given.scale;
    named.whiteAsGiven = given.given;
}

Refusal noWhite(const std::string& where, const std::string& text) {
    return Refusal(where + ": '" + text +
                   "' is no white: one of A, D50, D55, D65, E, srgb, X,Y,Z, x,y, a temperature such as 6500K "
                   "(daylight) or planckian:3000K");
}

std::optional<double> kelvinIn(const std::string& text) {
    if (text.size() < 2 || text.back() != 'K') {
        return std::nullopt;
    }
    const double kelvin = parseNumber(text.substr(0, text.size() - 1));
    return std::isnan(kelvin) ? std::nullopt : std::optional(kelvin);
}

GivenWhite whiteOfTriple(const std::vector<double>& xyz) {
    const double scale = xyz[1] > 0 && xyz[1] <= greatestUnitY ? perfectY : 1;
    return {{scale * xyz[0], scale * xyz[1], scale * xyz[2]}, scale, {xyz[0], xyz[1], xyz[2]}};
}

GivenWhite whiteIn(const std::string& where, const std::string& text) {
    if (text == "srgb") {
        return {srgbWhite()};
    }
    for (const NamedWhite& named : standardIlluminants) {
        if (text == named.name) {
            return {named.white};
        }
    }
    if (const std::vector<double> xyz = numbersIn(text, 3); !xyz.empty()) {
        return whiteOfTriple(xyz);
    }
    if (const std::vector<double> xy = numbersIn(text, 2); !xy.empty()) {
        if (!(xy[0] > 0 && xy[1] > 0 && xy[0] + xy[1] <= 1)) {
            throw Refusal(where + ": '" + text + "' is not a chromaticity x,y, both above 0, with a sum up to 1");
        }
        return {xyzOfChromaticity({xy[0], xy[1]})};
    }
    const std::string planckian = "planckian:";
    try {
        if (text.rfind(planckian, 0) == 0) {
            if (const auto kelvin = kelvinIn(text.substr(planckian.size()))) {
                return {xyzOfChromaticity(planckianChromaticity(*kelvin))};
            }
        } else if (const auto kelvin = kelvinIn(text)) {
            return {xyzOfChromaticity(daylightChromaticity(*kelvin))};
        }
    } catch (const std::invalid_argument& problem) {
        throw Refusal(where + ": '" + text + "': " + problem.what());
    }
    throw noWhite(where, text);
}

Surround surroundIn(const std::string& where, const std::string& text) {
    for (const auto& [name, surround] : namedSurrounds) {
        if (text == name) {
            return surround;
        }
    }
    const std::vector<double> numbers = numbersIn(text, 3);
    if (numbers.empty()) {
        throw Refusal(where + ": '" + text + "' is none of average, dim, dark, nor three numbers F,c,Nc");
    }
    return {numbers[0], numbers[1], numbers[2]};
}

double luminanceIn(const std::string& where, const std::string& text) {
    const double value = parseNumber(text);
    if (!(value >= 0)) {
        throw Refusal(where + ": '" + text + "' is not a luminance in cd/m2, 0 or more");
    }
    return value;
}

std::optional<double> backgroundIn(const std::string& where, const std::string& text) {
    if (text == drifting) {
        return std::nullopt;
    }
    const double value = parseNumber(text);
    if (std::isnan(value)) {
        throw Refusal(where + ": '" + text + "' is neither a number nor " + drifting);
    }
    return value;
}

/// @throws Refusal  that names where the conditions come from
void check(const std::string& where, const ViewingConditions& conditions) {
    try {
        checkViewingConditions(conditions);
    } catch (const std::invalid_argument& problem) {
        throw Refusal(where + ": " + problem.what());
    }
}

/// L_A of a white of so many cd/m2.
double adaptingUnder(const std::string& where, double luminanceOfWhite, const ViewingConditions& conditions) {
    if (!conditions.background) {
        throw Refusal(where +
                      ": a background that drifts gives no adapting luminance; give the background as a number");
    }
    if (*conditions.background == 0) {
        throw Refusal(where +
                      ": a background of 0 gives an adapting luminance of 0 whatever the white's luminance is; "
                      "give the adapting luminance itself, or a background above 0");
    }
    return adaptingLuminanceUnder(luminanceOfWhite, *conditions.background, conditions.white.y);
}

/// Preset conditions are those of a white of so many cd/m2, but for a background that drifts.
std::optional<double> whiteLuminanceOf(const ViewingConditions& preset) {
    return preset.background ? std::optional(preset.adaptingLuminance * preset.white.y / *preset.background)
                             : std::nullopt;
}

/// The white keeps its luminance beside another background. Where that drifts or is 0, no adapting luminance follows:
/// it stays as it was.
void followWhite(NamedConditions& named, const ViewingConditions& before) {
    ViewingConditions& conditions = named.conditions;
    const bool changed = conditions.background != before.background || conditions.white.y != before.white.y;
    if (named.whiteLuminance && changed && conditions.background.value_or(0) > 0) {
        conditions.adaptingLuminance =
            adaptingLuminanceUnder(*named.whiteLuminance, *conditions.background, conditions.white.y);
    }
}

// Files ---------------------------------------------------------------------------------------------------------------

/// One value of a file, with what a refusal calls it.
struct Member {
    std::string where;
    const ordered_json& value;

    std::string text() const {
        if (!value.is_string()) {
            throw Refusal(where + " must be a string");
        }
        return value.get<std::string>();
    }
    double number() const {
        if (!value.is_number()) {
            throw Refusal(where + " must be a number");
        }
        return value.get<double>();
    }
    bool flag() const {
        if (!value.is_boolean()) {
            throw Refusal(where + " must be true or false");
        }
        return value.get<bool>();
    }
    Member at(const char* key) const {
        if (!value.contains(key)) {
            throw Refusal(where + " lacks \"" + key + '"');
        }
        return {where + ", \"" + key + '"', value.at(key)};
    }
};

GivenWhite whiteOf(const Member& member) {
    if (member.value.is_string()) {
        return whiteIn(member.where, member.text());
    }
    if (member.value.is_object()) {
        const double x = member.at("x").number();
        const double y = member.at("y").number();
        return whiteIn(member.where, shortest(x) + ',' + shortest(y));
    }
    if (!member.value.is_array() || member.value.size() != 3) {
        throw Refusal(member.where + " must be a name, three numbers X, Y, Z or an object of x and y");
    }
    std::vector<double> xyz;
    for (const ordered_json& component : member.value) {
        xyz.push_back(Member{member.where, component}.number());
    }
    return whiteOfTriple(xyz);
}

Surround surroundOf(const Member& member) {
    return member.value.is_object()
               ? Surround{member.at("F").number(), member.at("c").number(), member.at("Nc").number()}
               : surroundIn(member.where, member.text());
}

constexpr const char* fileKeys[] = {
    "schema", "schema_version", "program_version",    "derived",         "name",     "text",        "base",
    "white",  "background",     "adapting_luminance", "white_luminance", "surround", "discounting", "picture_white"};

void checkKeys(const std::string& where, const ordered_json& json) {
    for (const auto& item : json.items()) {
        bool known = false;
        for (const char* const key : fileKeys) {
            known = known || item.key() == key;
        }
        if (!known) {
            throw Refusal(where + " has a member \"" + item.key() + "\", which conditions do not have");
        }
    }
}

/// Refuses objects with two members of one name, of which a parser keeps one.
struct DuplicateCheck {
    std::string where;
    std::vector<std::set<std::string>> names{};  ///< of the objects that are open

    bool operator()(int /*depth*/, ordered_json::parse_event_t event, ordered_json& parsed) {
        if (event == ordered_json::parse_event_t::object_start) {
            names.emplace_back();
        } else if (event == ordered_json::parse_event_t::object_end) {
            names.pop_back();
        } else if (event == ordered_json::parse_event_t::key) {
            const auto name = parsed.get<std::string>();
            if (!names.back().insert(name).second) {
                throw Refusal(where + " has the member \"" + name + "\" twice");
            }
        }
        return true;
    }
};

/// "syntax error in line 2, column 5"
std::string placeOf(const ordered_json::parse_error& problem) {
    // The parser has the place in its text alone: "... parse error at line 2, column 5: ...".
    const std::string text = problem.what();
    const std::size_t begin = text.find("line ");
    const std::size_t end = text.find(':', begin);
    return begin == std::string::npos || end == std::string::npos
               ? "syntax error"
               : "syntax error in " + text.substr(begin, end - begin);
}

ordered_json readJson(const std::string& path, const std::string& option) {
    std::ifstream stream(path);
    std::error_code none;
    if (!stream.is_open() || std::filesystem::is_directory(path, none)) {
        throw Refusal(option + ": cannot read '" + path + "'");
    }
    const std::string where = option + ": '" + path + "'";
    ordered_json json;
    try {
        json = ordered_json::parse(stream, DuplicateCheck{where});
    } catch (const ordered_json::parse_error& problem) {
        throw Refusal(where + " is not JSON: " + placeOf(problem));
    } catch (const ordered_json::exception&) {
        throw Refusal(where + " has a number that is too large");
    }
    if (!json.is_object()) {
        throw Refusal(where + " is not a JSON object");
    }
    return json;
}

NamedConditions conditionsInFile(const std::string& path, const std::string& option) {
    const ordered_json json = readJson(path, option);
    const Member file = {option + ": '" + path + "'", json};
    checkKeys(file.where, json);
    const auto has = [&json](const char* key) { return json.contains(key); };
    NamedConditions named;
    named.name = has("name") ? file.at("name").text() : path;
    named.text = has("text") ? file.at("text").text() : "";
    ViewingConditions& conditions = named.conditions;
    const bool based = has("base");
    if (based) {
        try {
            conditions = conditionPreset(file.at("base").text()).conditions;
        } catch (const std::invalid_argument& problem) {
            throw Refusal(file.where + ", \"base\": " + problem.what());
        }
        named.whiteLuminance = whiteLuminanceOf(conditions);
    }
    const ViewingConditions base = conditions;
    named.whiteAsGiven = conditions.white;
    if (!based || has("white")) {
        take(whiteOf(file.at("white")), named);
    }
    if (!based || has("background")) {
        const Member background = file.at("background");
        conditions.background =
            background.value.is_string() ? backgroundIn(background.where, background.text()) : background.number();
    }
    if (!based || has("surround")) {
        conditions.surround = surroundOf(file.at("surround"));
    }
    if (has("discounting")) {
        conditions.discounting = file.at("discounting").flag();
    }
    if (has("picture_white")) {
        const Member white = file.at("picture_white");
        named.pictureWhite = white.text();
        if (std::count(std::begin(pictureWhiteNames), std::end(pictureWhiteNames), named.pictureWhite) == 0) {
            throw Refusal(fmt::format("{}: '{}' is none of {}", white.where, named.pictureWhite,
                                      fmt::join(pictureWhiteNames, ", ")));
        }
    }
    if (has("adapting_luminance") && has("white_luminance")) {
        throw Refusal(file.where + " has both \"adapting_luminance\" and \"white_luminance\"");
    }
    if (has("white_luminance")) {
        const Member luminance = file.at("white_luminance");
        named.whiteLuminance = luminance.number();
        conditions.adaptingLuminance = adaptingUnder(luminance.where, *named.whiteLuminance, conditions);
    } else if (!based || has("adapting_luminance")) {
        named.whiteLuminance.reset();
        conditions.adaptingLuminance = file.at("adapting_luminance").number();
    } else {
        followWhite(named, base);
    }
    check(file.where, conditions);
    return named;
}

}  // namespace

std::vector<double> numbersIn(const std::string& text, std::size_t count) {
    std::vector<double> numbers;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        numbers.push_back(parseNumber(text.substr(begin, end - begin)));
        begin = end + 1;
        if (std::isnan(numbers.back())) {
            return {};
        }
    }
    return numbers.size() == count ? numbers : std::vector<double>();
}

std::string shortest(double value) {
    return std::isnan(value) ? "none" : fmt::format("{}", value == 0 ? 0.0 : value);
}

std::string surroundText(const Surround& surround) {
    for (const auto& [name, candidate] : namedSurrounds) {
        if (candidate == surround) {
            return name;
        }
    }
    return fmt::format("{},{},{}", surround.adaptation, surround.impact, surround.induction);
}

namespace {

std::string lineBeside(const Xyz& white, const ViewingConditions& conditions) {
    return fmt::format("white {:.7g},{:.7g},{:.7g}; adapting luminance {:.6g} cd/m2; background {}; surround {}{}",
                       white.x, white.y, white.z, conditions.adaptingLuminance,
                       conditions.background ? shortest(*conditions.background) : drifting,
                       surroundText(conditions.surround), conditions.discounting ? "; illuminant discounted" : "");
}

}  // namespace

std::string lineOf(const ViewingConditions& conditions) {
    return lineBeside(conditions.white, conditions);
}

std::string lineOf(const NamedConditions& named) {
    return lineBeside(named.whiteAsGiven, named.conditions);
}

ordered_json jsonOf(const NamedConditions& named) {
    const ViewingConditions& conditions = named.conditions;
    ordered_json json;
    json["name"] = named.name;
    if (!named.text.empty()) {
        json["text"] = named.text;
    }
    json["white"] = {named.whiteAsGiven.x, named.whiteAsGiven.y, named.whiteAsGiven.z};
    json["adapting_luminance"] = conditions.adaptingLuminance;
    json["background"] = conditions.background ? ordered_json(*conditions.background) : ordered_json(drifting);
    const std::string surround = surroundText(conditions.surround);
    if (surround.find(',') == std::string::npos) {
        json["surround"] = surround;
    } else {
        json["surround"] = {{"F", conditions.surround.adaptation},
                            {"c", conditions.surround.impact},
                            {"Nc", conditions.surround.induction}};
    }
    json["discounting"] = conditions.discounting;
    if (!named.pictureWhite.empty()) {
        json["picture_white"] = named.pictureWhite;
    }
    return json;
}

NamedConditions conditionsFrom(const std::string& nameOrFile, const std::string& where) {
    const bool file = nameOrFile.find('/') != std::string::npos ||
                      (nameOrFile.size() > 5 && nameOrFile.compare(nameOrFile.size() - 5, 5, ".json") == 0);
    if (file) {
        return conditionsInFile(nameOrFile, where);
    }
    try {
        const ConditionPreset& preset = conditionPreset(nameOrFile);
        NamedConditions named = {std::string(preset.name), std::string(preset.text), preset.conditions};
        named.whiteLuminance = whiteLuminanceOf(preset.conditions);
        return named;
    } catch (const std::invalid_argument& problem) {
        throw Refusal(where + ": " + problem.what() + "; a file ends in .json");
    }
}

NamedConditions chosenConditions(const ViewingOptions& options, const char* preset) {
    NamedConditions named = conditionsFrom(options.conditions.empty() ? preset : options.conditions, options.namedBy);
    ViewingConditions& conditions = named.conditions;
    const ViewingConditions before = conditions;
    ViewingOptions overrides = options;
    overrides.conditions.clear();
    if (!overrides.given()) {
        return named;
    }
    named.name += ", changed";
    named.text.clear();
    if (!options.white.empty()) {
        take(whiteIn("--white", options.white), named);
    }
    if (!options.background.empty()) {
        conditions.background = backgroundIn("--background", options.background);
    }
    if (!options.surround.empty()) {
        conditions.surround = surroundIn("--surround", options.surround);
    }
    if (!options.adaptingLuminance.empty()) {
        named.whiteLuminance.reset();
        conditions.adaptingLuminance = luminanceIn("--adapting-luminance", options.adaptingLuminance);
    }
    if (!options.whiteLuminance.empty()) {
        named.whiteLuminance = luminanceIn("--white-luminance", options.whiteLuminance);
        conditions.adaptingLuminance = adaptingUnder("--white-luminance", *named.whiteLuminance, conditions);
    } else {
        followWhite(named, before);
    }
    conditions.discounting = conditions.discounting || options.discount;
    check("viewing conditions", conditions);
    return named;
}

NamedConditions publishedConditions(const ViewingOptions& options, AppearanceModelKind kind,
                                    std::vector<std::string>& remarks) {
    const std::string model(nameOf(kind));
    if (options.background == drifting) {
        throw Refusal("--background: the model " + model +
                      " has no background that drifts; give a number, from 0 to the Y of the white");
    }
    NamedConditions named = chosenConditions(options, "srgb-display");
    ViewingConditions& conditions = named.conditions;
    if (!conditions.background) {
        conditions.background = backgroundLuminanceOf(1);  // where the drift begins
        remarks.push_back("the background of " + named.name + " drifts with the size of photographs, which " + model +
                          " does not know: it is taken to be " + shortest(*conditions.background));
    }
    if (*conditions.background < leastBackgroundRatio * conditions.white.y) {
        remarks.push_back(fmt::format("the background counts as {:g} of the white, the least that the models are given",
                                      leastBackgroundRatio));
    }
    if (conditions.adaptingLuminance == 0) {
        remarks.push_back(
            "an adapting luminance of 0 leaves colours their lightness and hue alone: brightness, chroma, "
            "colourfulness and saturation are 0");
    }
    return named;
}

void addViewingOptions(OptionParser& app, ViewingOptions& options) {
    const auto add = [&app](const char* name, std::string& value, const char* type, const char* text,
                            const char* example) {
        return app.addOption(name, value, optionText(text, example))->typeName(type)->group(viewingGroup);
    };
    add("--conditions", options.conditions, "NAME|FILE.json",
        "Conditions by name (darkroom conditions lists them), or a JSON file of them. The options below change single "
        "ones",
        "--conditions office.json");
    add("--white", options.white, "WHITE",
        "Adopted white: X,Y,Z (Y = 100 for a perfect diffuser; with a Y up to 2, all X, Y, Z are on the scale of 1), "
        "A, D50, D55, D65, E, srgb, a chromaticity x,y, or a temperature, 6500K on the daylight locus (4000 to 25000), "
        "planckian:3000K of a black body (1000 to 15000)",
        "--white D50");
    auto* const adapting = add("--adapting-luminance", options.adaptingLuminance, "L",
                               "Luminance of the adapting field L_A in cd/m2, 0 to 1000000", "--adapting-luminance 64");
    add("--white-luminance", options.whiteLuminance, "L",
        "Luminance of the white in cd/m2, from which the adapting luminance follows: L_A = L Y_b / Y_w",
        "--white-luminance 250")
        ->excludes(adapting);
    add("--background", options.background, "Y",
        "Y of the background, from 0 to that of the white, where a perfect diffuser has 100; or drifting, of the "
        "likeness model alone. The white of named conditions keeps its luminance",
        "--background 20");
    add("--surround", options.surround, "SURROUND", "average, dim, dark, or the numbers F,c,Nc", "--surround dim");
    app.addFlag("--discount", options.discount,
                optionText("The observer discounts the illuminant: complete adaptation, D = 1", "--discount"))
        ->group(viewingGroup);
}

void addModelOption(OptionParser& app, std::string& model) {
    app.addOption("--model", model,
                  optionText("Appearance model: ciecam02 (CIE 159:2004), ciecam16 (CIE 248:2022) as published, or "
                             "likeness, the comparison's own",
                             "--model ciecam02"))
        ->typeName("")
        ->check(oneOf({"likeness", "ciecam02", "ciecam16"}))
        ->group(viewingGroup);
}

AppearanceModelKind modelNamed(const std::string& name) {
    for (const AppearanceModelKind kind :
         {AppearanceModelKind::likeness, AppearanceModelKind::ciecam02, AppearanceModelKind::ciecam16}) {
        if (name == nameOf(kind)) {
            return kind;
        }
    }
    throw Refusal("--model: there is no model '" + name + "'");
}

}  // namespace likeness::darkroom
