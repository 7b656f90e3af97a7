// What a model of darkroom fit predicts for a comparison.
#pragma once

#include "console/option_parser.hpp"

#include "scores/score_predictor.hpp"

#include <string>

namespace likeness::darkroom {

/// Adds --predict.
void addPredictOption(OptionParser& app, std::string& path);

}  // namespace likeness::darkroom
