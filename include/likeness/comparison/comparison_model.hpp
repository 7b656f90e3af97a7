/// @file
/// The models that photographs can be compared by: the comparison's own, with variants of three of its steps, and the
/// published ones under any conditions.
#pragma once

#include <likeness/appearance/conditions.hpp>
#include <likeness/appearance/published_model.hpp>
#include <likeness/color/tristimulus.hpp>
#include <likeness/export.hpp>

#include <optional>

namespace likeness {

/// Which colour of a picture counts as its white, for the published models.
enum class PictureWhite {
    encoding,        ///< that of sRGB, (1, 1, 1)
    grayWorld,       ///< the chromaticity of the mean of the linear pixels, on the Y of the encoding's white
    brightestPixel,  ///< the colour of the pixel of the greatest Y; of several, the one of the greatest X, then Z
};

/// "encoding", "gray-world", "brightest".
LIKENESS_API const char* nameOf(PictureWhite white);

/// The achromatic response that the comparison's own model takes for that of the white.
enum class WhiteResponse {
    brightest,  ///< the greatest of the photograph
    fixed,      ///< that of (1, 1, 1), whatever the photograph holds; brighter floats have a lightness above 100
};

/// How the comparison's own model adapts a sharpened component v from itself to the component W of D65.
enum class BlackAdaptation {
    defined,     ///< v (D W / (v + 1e-6) + 1 - D), which is 0 for v = 0
    continuous,  ///< (1 - D) v + D W, the limit for a guard of 0: black is adapted as other colours are
};

/// What a pixel counts in the distribution of the hue.
enum class HueWeights {
    pixels,  ///< 1
    chroma,  ///< its chroma C
};

/// Pixels of a lesser chroma C have no hue: the angle of a neutral colour is that of rounding errors.
inline constexpr double leastChromaOfHue = 0.01;

/// A model and the conditions that it is used under.
///
/// Published models: a photograph's numbers are read as sRGB. Its colours are taken relative to the white of the
/// picture: they are scaled in the model's sharpened space (CAT02, CAT16) so that this white falls on that of the
/// conditions, as a print or a display with that white would show them; then the model sees them. Where the two whites
/// are equal nothing is scaled.
struct ComparisonModel {
    AppearanceModelKind kind = AppearanceModelKind::likeness;  ///< which

    /// Of a published model; those of `srgb-display` unless said. Without a background it is 20.
    ViewingConditions conditions = {srgbWhite()};
    PictureWhite pictureWhite = PictureWhite::encoding;  ///< of a published model

    WhiteResponse white = WhiteResponse::brightest;    ///< of the comparison's own model
    BlackAdaptation black = BlackAdaptation::defined;  ///< of the comparison's own model
    /// Y_b of the comparison's own model, above 0 and up to 100; without a value it drifts (`backgroundLuminanceOf`).
    std::optional<double> background;
};

/// Whether two say the same; what the other kind of model has does not count.
LIKENESS_API bool operator==(const ComparisonModel& first, const ComparisonModel& second);

/// @throws std::invalid_argument  a sentence: the background of the own model, or the conditions of a published one
///                                (`PublishedModel`), are out of range
LIKENESS_API void checkComparisonModel(const ComparisonModel& model);

/// A published model as photographs are seen through it.
/// @throws std::invalid_argument  as `checkComparisonModel`; for the comparison's own model
LIKENESS_API PublishedModel publishedModelOf(const ComparisonModel& model);

/// Takes colours from the white of a picture to that of the model's conditions: the matrix of X, Y, Z.
/// @throws std::invalid_argument  if a cone does not respond to the white of the picture
LIKENESS_API cv::Matx33d xyzToConditions(const PublishedModel& model, const Xyz& pictureWhite);

}  // namespace likeness
