// What a model of darkroom fit predicts for a comparison.
#pragma once

#include "scores/score_predictor.hpp"

#include <CLI/CLI.hpp>

#include <string>

namespace likeness::darkroom {

/// Adds --predict.
void addPredictOption(CLI::App& app, std::string& path);

}  // namespace likeness::darkroom
