#pragma once

#include <likeness/comparison/photograph_comparison.hpp>

#include <map>
#include <optional>
#include <string>

namespace likeness::darkroom {

/// Least values of coefficients by name ("brightness", "lightness", "chroma", "colorfulness", "saturation", "hue").
using CoefficientLimits = std::map<std::string, double>;

/// Reads "brightness=0.9,chroma=0.8". Spaces may stand around names and values, and "colourfulness" is colorfulness.
/// @throws Refusal  for unknown or doubled names and for what is no number from 0 to 1
CoefficientLimits coefficientLimitsIn(const std::string& text);

/// Adds those of another text of the option --min to limits.
/// @throws Refusal  likewise, also for a name that has a limit already; the sentence names the option
void addCoefficientLimits(CoefficientLimits& limits, const std::string& text);

/// Whether a coefficient reaches a limit, compared as floats: 0.9 is reached by the coefficient that prints as 0.9. NaN
/// reaches none.
bool reaches(float coefficient, double limit);

/// Names what is below its limit, with both numbers: "brightness 0.85 < 0.9, chroma nan < 0.8". Empty if nothing is.
/// @param hue  the sixth coefficient, where there is one
std::string shortfall(const LikenessCoefficients& coefficients, const CoefficientLimits& limits,
                      const std::optional<float>& hue = {});

}  // namespace likeness::darkroom
