// Viewing conditions on the command line and in files, and their texts.
#pragma once

#include "console/option_parser.hpp"

#include <likeness/appearance/conditions.hpp>
#include <likeness/appearance/published_model.hpp>

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <vector>

namespace likeness::darkroom {

/// What the options say, as it was typed; empty where nothing was.
struct ViewingOptions {
    std::string conditions;
    std::string white;
    std::string adaptingLuminance;
    std::string whiteLuminance;
    std::string background;
    std::string surround;
    bool discount = false;
    const char* namedBy = "--conditions";  ///< what refusals call where the conditions' name comes from

    bool given() const {
        return discount || !(conditions + white + adaptingLuminance + whiteLuminance + background + surround).empty();
    }
};

/// Adds --conditions and the overrides of single conditions, under a heading of their own.
void addViewingOptions(OptionParser& app, ViewingOptions& options);

/// Adds --model.
void addModelOption(OptionParser& app, std::string& model);

/// The model of a name that --model accepts.
AppearanceModelKind modelNamed(const std::string& name);

/// Conditions and how they are called.
struct NamedConditions {
    std::string name;  ///< of the preset or the file, with "changed" behind it where options override some
    std::string text;
    ViewingConditions conditions;
    /// What 1 of the user's X, Y, Z is on the scale of `Xyz`: 100 where the white was given with a Y up to 2, else 1.
    double scale = 1;
    Xyz whiteAsGiven = conditions.white;  ///< the white on the user's scale
    std::string pictureWhite{};           ///< of a file, as --picture-white has it; empty where it says nothing
    /// In cd/m2, where the conditions are given by it: the adapting luminance follows from it, and from another
    /// background or white another one. None where the adapting luminance itself was given.
    std::optional<double> whiteLuminance{};
};

/// Conditions of a preset's name or of a JSON file, for what ends in ".json" or holds a slash.
/// @param where  what refusals call the name
/// @throws Refusal
NamedConditions conditionsFrom(const std::string& nameOrFile, const std::string& where = "--conditions");

/// The conditions that the options ask for; `preset` where they name none.
/// @throws Refusal
NamedConditions chosenConditions(const ViewingOptions& options, const char* preset);

/// The conditions that a published model is used under; without a preset's name those of `srgb-display`.
/// @param remarks  receives what is to be warned of: a background that does not drift after all, limits
/// @throws Refusal  as `chosenConditions`; if the background is asked to drift
NamedConditions publishedConditions(const ViewingOptions& options, AppearanceModelKind kind,
                                    std::vector<std::string>& remarks);

/// Conditions as files have them. Numbers read back exactly.
nlohmann::ordered_json jsonOf(const NamedConditions& named);

/// "average", "dim", "dark" or "F,c,Nc".
std::string surroundText(const Surround& surround);

/// The names of `PictureWhite`, as --picture-white and files have them.
inline constexpr const char* pictureWhiteNames[] = {"encoding", "gray-world", "brightest"};

/// "white 95.047,100,108.883; adapting luminance 16 cd/m2; background 20; surround dim"
std::string lineOf(const ViewingConditions& conditions);

/// The same with the white on the user's scale.
std::string lineOf(const NamedConditions& named);

/// The shortest text that reads back as the number; "none" for NaN.
std::string shortest(double value);

/// Numbers between commas, `count` of them.
/// @return  empty if it is something else
std::vector<double> numbersIn(const std::string& text, std::size_t count);

}  // namespace likeness::darkroom
