/// @file
/// The uniform colour spaces CAM02-UCS and CAM16-UCS and their variants: lightness J', redness a', yellowness b', in
/// which distances stand for differences as they are seen. The model that gave J, M and h decides which of the two it
/// is: their formulas are the same.
///
/// @see Luo, Cui, Li, "Uniform colour spaces based on CIECAM02 colour appearance model", Color Research and Application
///      31, 2006; Li and others, "Comprehensive color solutions: CAM16, CAT16, and CAM16-UCS", ibid. 42, 2017
#pragma once

#include <likeness/appearance/published_model.hpp>
#include <likeness/export.hpp>

namespace likeness {

/// The coefficients of Luo, Cui and Li: all differences, large ones, small ones.
enum class UniformVariant {
    ucs,  ///< all differences
    lcd,  ///< large ones
    scd,  ///< small ones
};

/// A colour in a uniform space.
struct UniformColor {
    double lightness = 0;  ///< J', 0 to 100
    double a = 0;          ///< a', positive towards red
    double b = 0;          ///< b', positive towards yellow
};

/// Of lightness, colourfulness and hue angle; NaN where one of these is.
LIKENESS_API UniformColor uniformColorOf(const Correlates& correlates, UniformVariant variant = UniformVariant::ucs);

/// The way back: J, M, h as a triple for the inverse model.
LIKENESS_API CorrelateTriple tripleOf(const UniformColor& color, UniformVariant variant = UniformVariant::ucs);

/// Delta E' = sqrt((Delta J' / K_L)^2 + Delta a'^2 + Delta b'^2) of two colours in the space of `variant`.
LIKENESS_API double uniformDifference(const UniformColor& first, const UniformColor& second,
                                      UniformVariant variant = UniformVariant::ucs);

}  // namespace likeness
