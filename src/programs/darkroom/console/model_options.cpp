#include "console/model_options.hpp"

#include "batch/parameters.hpp"
#include "console/option_checks.hpp"
#include "files/refusal.hpp"

#include <cmath>

namespace likeness::darkroom {
namespace {

constexpr const char* group = "Appearance model";
constexpr const char* ownConditions = "likeness-default";
constexpr const char* drifting = "drifting";

std::string named(const char* option, const std::string& text) {
    return std::string(option) + ": '" + text + '\'';
}

/// @throws Refusal  if an option is given that the model does not have
void refuseGiven(const ModelOptions& options, std::initializer_list<std::pair<const char*, bool>> given,
                 const char* why) {
    for (const auto& [option, isGiven] : given) {
        if (isGiven) {
            throw Refusal(std::string(option) + ": the model " + options.model + ' ' + why);
        }
    }
}

ComparisonModel ownModel(const ModelOptions& options) {
    const ViewingOptions& viewing = options.viewing;
    refuseGiven(options,
                {{"--conditions", !viewing.conditions.empty() && viewing.conditions != ownConditions},
                 {"--adapting-luminance", !viewing.adaptingLuminance.empty()},
                 {"--white-luminance", !viewing.whiteLuminance.empty()},
                 {"--surround", !viewing.surround.empty()},
                 {"--discount", viewing.discount},
                 {"--picture-white", !options.pictureWhite.empty()}},
                "has conditions of its own, likeness-default; --model ciecam02 or ciecam16 takes others");
    ComparisonModel model;
    if (viewing.white == "fixed") {
        model.white = WhiteResponse::fixed;
    } else if (!viewing.white.empty() && viewing.white != "brightest") {
        throw Refusal(named("--white", viewing.white) +
                      " is neither brightest nor fixed, which the model likeness knows; --model ciecam02 or ciecam16 "
                      "takes other whites");
    }
    if (options.black == "continuous") {
        model.black = BlackAdaptation::continuous;
    }
    if (!viewing.background.empty() && viewing.background != drifting) {
        const double background = parseNumber(viewing.background);
        if (!(background > 0 && background <= 100)) {
            throw Refusal(named("--background", viewing.background) +
                          " is neither drifting nor a number above 0 and up to 100");
        }
        model.background = background;
    }
    return model;
}

}  // namespace

void addModelOptions(OptionParser& app, ModelOptions& options) {
    addModelOption(app, options.model);
    app.option("--model")->showDefault();
    addViewingOptions(app, options.viewing);
    Option* const white = app.option("--white");
    white->description(
        "Of the model likeness: brightest, the photograph's own brightest pixel, or fixed, that of the "
        "encoding. Of the others: " +
        white->description());
    app.addOption("--picture-white", options.pictureWhite,
                  optionText("Colour of the picture that falls on the white of the conditions: encoding (that of "
                             "sRGB), gray-world (the mean's chromaticity) or brightest (the brightest pixel); of "
                             "ciecam02 and ciecam16",
                             "--picture-white gray-world"))
        ->typeName("")
        ->check(oneOf({"encoding", "gray-world", "brightest"}))
        ->group(group);
    app.addOption("--black", options.black,
                  optionText("Of the model likeness: defined, which leaves pure black out of the adaptation, or "
                             "continuous, which adapts it as other colours",
                             "--black continuous"))
        ->typeName("")
        ->check(oneOf({"defined", "continuous"}))
        ->group(group);
}

void addHueOptions(OptionParser& app, ModelOptions& options) {
    auto* const hue =
        app.addFlag("--hue", options.hue, optionText("A sixth coefficient, of the hue, in bins of 1 degree", "--hue"))
            ->group(group);
    app.addOption("--hue-weights", options.hueWeights,
                  optionText("What a pixel counts in the distribution of the hue: pixels, each the same, or chroma, "
                             "as much as it is coloured",
                             "--hue-weights chroma"))
        ->typeName("")
        ->check(oneOf({"pixels", "chroma"}))
        ->needs(hue)
        ->group(group);
}

ChosenModel chosenModel(const ModelOptions& options) {
    ChosenModel chosen;
    if (options.hue) {
        chosen.hue = options.hueWeights == "chroma" ? HueWeights::chroma : HueWeights::pixels;
    }
    const AppearanceModelKind kind = modelNamed(options.model);
    if (kind == AppearanceModelKind::likeness) {
        chosen.model = ownModel(options);
        return chosen;
    }
    refuseGiven(options, {{"--black", !options.black.empty()}}, "has no such choice; it is one of the model likeness");
    if (options.viewing.white == "fixed" || options.viewing.white == "brightest") {
        throw Refusal(named("--white", options.viewing.white) + " is a choice of the model likeness; " + options.model +
                      " takes a white such as D65 or X,Y,Z" +
                      (options.viewing.white == "brightest" ? ", and --picture-white brightest" : ""));
    }
    chosen.model.kind = kind;
    chosen.conditions = publishedConditions(options.viewing, kind, chosen.remarks);
    chosen.model.conditions = chosen.conditions.conditions;
    if (!options.viewing.whiteLuminance.empty()) {
        chosen.whiteLuminance = chosen.conditions.whiteLuminance.value_or(0);
    }
    const std::string& pictureWhite =
        options.pictureWhite.empty() ? chosen.conditions.pictureWhite : options.pictureWhite;
    chosen.model.pictureWhite = pictureWhite == "gray-world"  ? PictureWhite::grayWorld
                                : pictureWhite == "brightest" ? PictureWhite::brightestPixel
                                                              : PictureWhite::encoding;
    chosen.conditions.pictureWhite.clear();                               // it is told beside the conditions
    chosen.conditions.whiteAsGiven = chosen.conditions.conditions.white;  // a picture has no other scale
    try {
        checkComparisonModel(chosen.model);
    } catch (const std::invalid_argument& problem) {
        throw Refusal(std::string("viewing conditions: ") + problem.what());
    }
    return chosen;
}

std::string lineOf(const ChosenModel& chosen) {
    if (!chosen.isPublished()) {
        return modelParameters(chosen.model, chosen.hue);
    }
    std::string text = std::string(nameOf(chosen.model.kind)) + " under " + chosen.conditions.name + " (" +
                       lineOf(chosen.conditions.conditions) + ')';
    if (chosen.model.pictureWhite != PictureWhite::encoding) {
        text += std::string(", white of the picture ") + nameOf(chosen.model.pictureWhite);
    }
    return text;
}

nlohmann::ordered_json jsonOf(const ChosenModel& chosen) {
    nlohmann::ordered_json json = {{"name", nameOf(chosen.model.kind)}};
    if (chosen.isPublished()) {
        json["conditions"] = jsonOf(chosen.conditions);
        json["picture_white"] = nameOf(chosen.model.pictureWhite);
    } else {
        json["white"] = chosen.model.white == WhiteResponse::fixed ? "fixed" : "brightest";
        json["black"] = chosen.model.black == BlackAdaptation::continuous ? "continuous" : "defined";
        json["background"] = chosen.model.background ? nlohmann::ordered_json(*chosen.model.background)
                                                     : nlohmann::ordered_json(drifting);
    }
    if (chosen.hue) {
        json["hue_weights"] = *chosen.hue == HueWeights::chroma ? "chroma" : "pixels";
    }
    return json;
}

}  // namespace likeness::darkroom
