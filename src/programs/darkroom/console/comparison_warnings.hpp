// What is warned of when photographs are seen through a model.
#pragma once

#include <likeness/comparison/photograph_comparison.hpp>
#include "console/console.hpp"
#include "console/model_options.hpp"

#include <string>

namespace likeness::darkroom {

/// Warns of what the conditions make of the model.
void warnOfModel(const Console& console, const ChosenModel& model);

/// Warns of pixels that a published model takes for black although they are not.
void warnOfBlack(const Console& console, const std::string& path, const AppearanceDistributions& distributions);

/// Warns of these, and of pixels without an appearance.
/// @throws Refusal  if none has one
void checkAppearance(const Console& console, const std::string& path, const AppearanceDistributions& distributions);

}  // namespace likeness::darkroom
