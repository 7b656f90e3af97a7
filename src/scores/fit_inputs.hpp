// What a fit reads: results and scores, joined.
#pragma once

#include <likeness/fit/score_model.hpp>
#include "scores/opinion_scores.hpp"
#include "scores/score_join.hpp"
#include "scores/score_model_file.hpp"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace likeness {

struct FitRequest {
    std::string results;
    std::string scores;                                            ///< a table
    std::optional<std::pair<std::string, std::string>> dataSet{};  ///< in its place: name and folder
    ScoreColumns columns{};                     ///< contents and types may be columns of the results too
    std::optional<ScoreDirection> direction{};  ///< of a table, which does not tell
    std::vector<std::string> features{};        ///< empty: those that the form takes by itself
    ScoreForm form = ScoreForm::linear;
};

struct FitInputs {
    RecordedPairs pairs;
    OpinionScores scores;
    JoinedScores joined;
    FitSources sources;
    std::vector<std::string> remarks;  ///< what was left out or assumed
};

/// @throws Refusal
FitInputs readFitInputs(const FitRequest& request);

}  // namespace likeness
