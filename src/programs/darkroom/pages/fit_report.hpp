// The page of `darkroom fit`.
#pragma once

#include "scores/score_fit.hpp"
#include "scores/score_model_file.hpp"

#include <string>

namespace likeness::darkroom {

std::string fitPage(const ScoreFit& fit, const FitSources& sources);

/// "0.913 [0.901, 0.925]"; "-" for what is not known.
std::string estimateText(const Estimate& estimate);

}  // namespace likeness::darkroom
