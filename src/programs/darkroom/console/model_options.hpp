// The model that photographs are compared by, on the command line and in results.
#pragma once

#include "console/option_parser.hpp"

#include <likeness/comparison/analysis.hpp>
#include "console/viewing_options.hpp"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <vector>

namespace likeness::darkroom {

/// What the options say, as it was typed; empty where nothing was.
struct ModelOptions {
    std::string model = "likeness";
    ViewingOptions viewing;
    std::string pictureWhite;
    std::string black;
    bool hue = false;
    std::string hueWeights;
};

/// Adds --model, the viewing conditions, --picture-white and --black.
void addModelOptions(OptionParser& app, ModelOptions& options);

/// Adds --hue and --hue-weights.
void addHueOptions(OptionParser& app, ModelOptions& options);

/// The model that the options ask for.
struct ChosenModel {
    ComparisonModel model;
    std::optional<HueWeights> hue;
    NamedConditions conditions;          ///< of a published model
    std::vector<std::string> remarks{};  ///< what is to be warned of
    double whiteLuminance = 0;  ///< in cd/m2, that files of absolute luminance are taken under; 0 if not asked for

    /// Whether it is what stands where no option is given.
    bool isDefault() const { return !hue && model == ComparisonModel(); }
    /// Whether it is one of the published ones.
    bool isPublished() const { return model.kind != AppearanceModelKind::likeness; }

    AnalysisOptions analysis(bool maps) const { return {maps, model, hue}; }
};

/// @throws Refusal  options that contradict each other or the model, values out of range
ChosenModel chosenModel(const ModelOptions& options);

/// "ciecam16 under srgb-display (white 95.0467,99.99996,108.8969; adapting luminance 16 cd/m2; ...)"
std::string lineOf(const ChosenModel& chosen);

/// What results say of a model that is not the default: name, conditions, what counts for the hue.
nlohmann::ordered_json jsonOf(const ChosenModel& chosen);

}  // namespace likeness::darkroom
