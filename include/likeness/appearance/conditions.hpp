/// @file
/// Viewing conditions of the published appearance models as a value, and presets of them by name.
///
/// Luminances are in cd/m2; tristimulus values and the background are on the scale Y = 100 of a perfect diffuser.
#pragma once

#include <likeness/color/tristimulus.hpp>
#include <likeness/export.hpp>

#include <optional>
#include <string_view>
#include <vector>

namespace likeness {

/// What lies around the field of view.
struct Surround {
    double adaptation = 1;  ///< F, the greatest degree of adaptation
    double impact = 0.69;   ///< c, of the surround on lightness and brightness
    double induction = 1;   ///< N_c, chromatic
};

/// Whether all three are equal.
LIKENESS_API bool operator==(const Surround& first, const Surround& second);

/// The three surrounds of CIE 159:2004 and CIE 248:2022. N_c of the dim one is 0.9 for both models; the first print of
/// CIECAM02 had 0.95, which some programs keep.
inline constexpr Surround averageSurround = {1.0, 0.69, 1.0};
inline constexpr Surround dimSurround = {0.9, 0.59, 0.9};    ///< see `averageSurround`
inline constexpr Surround darkSurround = {0.8, 0.525, 0.8};  ///< see `averageSurround`

/// The conditions that colours are seen under.
struct ViewingConditions {
    /// The adopted white; Y = 100 unless it is less than a perfect diffuser, such as paper.
    Xyz white = {95.047, 100, 108.883};
    /// L_A in cd/m2: of the adapting field, usually a fifth of the white's luminance.
    double adaptingLuminance = 16;
    /// Y_b on the scale of the white. Without a value it is the one that drifts with the size of a photograph
    /// (`backgroundLuminanceOf`), which only the comparison's own model has.
    std::optional<double> background = 20;
    Surround surround = dimSurround;  ///< dim unless said
    /// Whether the observer discounts the illuminant: the degree of adaptation D is then 1.
    bool discounting = false;
};

/// Whether all of them are equal.
LIKENESS_API bool operator==(const ViewingConditions& first, const ViewingConditions& second);

/// Y_b / Y_w is taken to be at least this: before an ideally black background the models' brightness and chroma have no
/// finite limit. A background as black as 0.01 % of the white is darker than any room or screen.
inline constexpr double leastBackgroundRatio = 1e-4;

/// Adapting luminance L_A = L_W Y_b / Y_w of a white of so many cd/m2, the gray-world assumption.
LIKENESS_API double adaptingLuminanceUnder(double luminanceOfWhite, double background, double whiteY = 100);

/// Checks ranges: the white's X and Z from 0 and Y above 0, up to 1000; L_A from 0 to 1e6; Y_b from 0 to the white's Y;
/// F from 0 to 1, c from 0.1 to 1, N_c from 0.1 to 2.
/// @throws std::invalid_argument  a sentence on the first value that is outside or no number
LIKENESS_API void checkViewingConditions(const ViewingConditions& conditions);

/// Conditions by name.
struct ConditionPreset {
    std::string_view name;         ///< such as "srgb-display"
    std::string_view text;         ///< what they stand for, and where the numbers come from
    ViewingConditions conditions;  ///< the conditions
};

/// All of them. "likeness-default" is first: what the comparison's own model assumes, with a background that drifts.
LIKENESS_API const std::vector<ConditionPreset>& conditionPresets();

/// The one of a name.
/// @throws std::invalid_argument  naming the presets there are
LIKENESS_API const ConditionPreset& conditionPreset(std::string_view name);

}  // namespace likeness
