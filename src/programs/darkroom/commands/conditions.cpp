// darkroom conditions: the viewing conditions there are by name, and what follows from some.
#include <likeness/color/correlated_color_temperature.hpp>
#include <likeness/comparison/perceptual_metrics.hpp>
#include "commands/subcommands.hpp"
#include "console/json_output.hpp"
#include "console/option_checks.hpp"
#include "console/viewing_options.hpp"
#include "files/refusal.hpp"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <iostream>
#include <memory>

namespace likeness::darkroom {
namespace {

using nlohmann::ordered_json;

struct ConditionsArguments {
    std::string name;
    ViewingOptions viewing;
    bool json = false;
};

constexpr AppearanceModelKind publishedModels[] = {AppearanceModelKind::ciecam02, AppearanceModelKind::ciecam16};

/// What both published models derive; the likeness model has numbers of its own (docs/model.md).
struct Derived {
    Chromaticity xy;
    PlanckianNeighbor nearest;
    double whiteLuminance;
    bool drifts;
    ConditionFactors factors[2];
};

Derived derivedFrom(ViewingConditions conditions) {
    Derived derived;
    derived.xy = chromaticityOf(conditions.white);
    derived.nearest = correlatedColorTemperature({derived.xy.x, derived.xy.y});
    derived.drifts = !conditions.background;
    if (derived.drifts) {
        conditions.background = backgroundLuminanceOf(1);
    }
    derived.whiteLuminance = conditions.adaptingLuminance * conditions.white.y / *conditions.background;
    for (std::size_t i = 0; i < std::size(publishedModels); ++i) {
        try {
            derived.factors[i] = PublishedModel(publishedModels[i], conditions).factors();
        } catch (const std::invalid_argument& problem) {
            throw Refusal(std::string("viewing conditions: ") + problem.what());
        }
    }
    return derived;
}

ordered_json describedJson(const NamedConditions& named) {
    ordered_json json = jsonOf(named);
    const Derived derived = derivedFrom(named.conditions);
    const ConditionFactors& factors = derived.factors[0];
    ordered_json& more = json["derived"];
    more["chromaticity_xy"] = {numberOrNull(derived.xy.x), numberOrNull(derived.xy.y)};
    more["correlated_color_temperature_kelvin"] = numberOrNull(derived.nearest.kelvin);
    more["white_luminance"] = numberOrNull(derived.whiteLuminance);
    more["degree_of_adaptation"] = factors.degreeOfAdaptation;
    more["luminance_level_factor"] = factors.luminanceLevel;
    more["background_induction"] = factors.backgroundInduction;
    more["brightness_induction"] = factors.brightnessInduction;
    more["base_exponent"] = factors.baseExponent;
    for (std::size_t i = 0; i < std::size(publishedModels); ++i) {
        more["white_response"][std::string(nameOf(publishedModels[i]))] = derived.factors[i].whiteResponse;
    }
    return json;
}

std::string explanation(const NamedConditions& named) {
    const Derived derived = derivedFrom(named.conditions);
    const ViewingConditions& conditions = named.conditions;
    const ConditionFactors& factors = derived.factors[0];
    const auto orNone = [](double value, const char* format, const char* unit) {
        return std::isfinite(value) ? fmt::format(fmt::runtime(format), value) + unit : std::string("none");
    };
    std::string text = named.name + (named.text.empty() ? "" : ": " + named.text) + '\n';
    const auto line = [&text](const char* what, const std::string& value) {
        text += fmt::format("  {:<38}{}\n", what, value);
    };
    line("white X,Y,Z",
         fmt::format("{:.7g},{:.7g},{:.7g}", conditions.white.x, conditions.white.y, conditions.white.z));
    line("chromaticity x,y", fmt::format("{:.4f},{:.4f}", derived.xy.x, derived.xy.y));
    line("correlated colour temperature", orNone(derived.nearest.kelvin, "{:.0f}", " K"));
    line("adapting luminance L_A", fmt::format("{:.6g} cd/m2", conditions.adaptingLuminance));
    line("luminance of the white that gives it", orNone(derived.whiteLuminance, "{:.6g}", " cd/m2"));
    line("background Y_b", derived.drifts ? std::string("drifting with the size of a photograph, 20 for a small one")
                                          : fmt::format("{:.6g}", *conditions.background));
    const Surround& surround = conditions.surround;
    line("surround", fmt::format("{} (F {:g}, c {:g}, Nc {:g})", surroundText(surround), surround.adaptation,
                                 surround.impact, surround.induction));
    line("illuminant discounted", conditions.discounting ? "yes" : "no");
    if (!named.pictureWhite.empty()) {
        line("white of a picture", named.pictureWhite);
    }
    text += "under ciecam02 and ciecam16\n";
    line("degree of adaptation D", fmt::format("{:.4f}", factors.degreeOfAdaptation));
    line("luminance-level factor F_L", fmt::format("{:.4f}", factors.luminanceLevel));
    line("background induction n", fmt::format("{:.4f}", factors.backgroundInduction));
    line("brightness induction N_bb = N_cb", fmt::format("{:.4f}", factors.brightnessInduction));
    line("base exponent z", fmt::format("{:.4f}", factors.baseExponent));
    line("response of the white A_w",
         fmt::format("{:.4f}, {:.4f}", derived.factors[0].whiteResponse, derived.factors[1].whiteResponse));
    return text;
}

ExitStatus listPresets(const ConditionsArguments& options) {
    if (options.json) {
        ordered_json json = jsonOfSchema("conditions_list", 1);
        for (const ConditionPreset& preset : conditionPresets()) {
            json["conditions"].push_back(describedJson(conditionsFrom(std::string(preset.name))));
        }
        std::cout << indentedJson(json);
        return ExitStatus::done;
    }
    for (const ConditionPreset& preset : conditionPresets()) {
        std::cout << preset.name << "\n  " << preset.text << "\n  " << lineOf(preset.conditions) << '\n';
    }
    return ExitStatus::done;
}

ExitStatus explain(const ConditionsArguments& options) {
    if (!options.name.empty() && !options.viewing.conditions.empty()) {
        throw Refusal("conditions are named twice: '" + options.name + "' and --conditions");
    }
    if (options.name.empty() && !options.viewing.given()) {
        return listPresets(options);
    }
    ViewingOptions viewing = options.viewing;
    viewing.conditions += options.name;
    if (!options.name.empty()) {
        viewing.namedBy = "NAME";
    }
    const NamedConditions named = chosenConditions(viewing, "srgb-display");
    if (!options.json) {
        std::cout << explanation(named);
        return ExitStatus::done;
    }
    ordered_json json = jsonOfSchema("conditions", 1);
    json.update(describedJson(named));
    std::cout << indentedJson(json);
    return ExitStatus::done;
}

}  // namespace

Action declareConditions(OptionParser& app) {
    auto options = std::make_shared<ConditionsArguments>();
    app.addOption("NAME", options->name,
                  "Conditions to explain, by name, or a JSON file of them; without, all that have a name are listed")
        ->typeName("FILE");
    app.addFlag("--json", options->json,
                optionText("Print JSON; that of single conditions is a file for --conditions", "--json"));
    addViewingOptions(app, options->viewing);
    return [options](const Console&) { return explain(*options); };
}

}  // namespace likeness::darkroom
