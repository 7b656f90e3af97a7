// The factor of the brightness increase, as `brighten` and `stack` take it.
#pragma once

#include "console/option_parser.hpp"

#include <string>

namespace likeness::darkroom {

/// Accepts factors above 0 and up to 100: above 100 the exponent is negative, which swaps bright and dark.
OptionCheck brightnessFactorRange();

/// Refuses a first factor that leaves one of the passes with a factor that is not above 0, whose result would be NaN.
/// @param option  the option that gave it, for the refusal
/// @param pass    the only pass that matters, 1 to 6; 0 for all six
/// @throws Refusal
void checkBrightnessFactor(const std::string& option, float first, int pass = 0);

}  // namespace likeness::darkroom
