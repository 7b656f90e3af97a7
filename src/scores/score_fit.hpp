// A fit of results to opinion scores, with everything that is said of it.
#pragma once

#include <likeness/fit/agreement.hpp>
#include <likeness/fit/score_model.hpp>
#include "scores/opinion_scores.hpp"
#include "scores/score_join.hpp"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace likeness {

/// What a fitted model is worth without the rows that it was fitted to: what its file holds and a prediction needs.
struct StoredScoreModel {
    ScoreModel model;
    std::string version;     ///< of the program that compared; empty: not recorded
    std::string parameters;  ///< fingerprint of the comparisons that it was fitted to
    ScoreDirection direction = ScoreDirection::higherBetter;
    std::string scoreName;
};

/// Another prediction of the same scores, held against the model.
struct RivalPrediction {
    std::string name;                  ///< "ciede2000", "psnr", a form, a file
    std::string form;                  ///< that maps it to scores
    std::size_t rows = 0;              ///< that have it
    bool crossValidated = false;       ///< whether both are predictions of rows that were left out
    AgreementEstimate agreement;       ///< of the rival
    AgreementEstimate modelAgreement;  ///< of the model on the same rows
    AgreementEstimate difference;      ///< the model's less the rival's
    PairedTest pitman;                 ///< the model first
};

struct TypeAgreement {
    std::string type;
    std::size_t rows = 0;
    AgreementEstimate agreement;  ///< of the cross-validated predictions where there are any
};

/// One row of the fit.
struct FittedRow {
    std::string id;
    double score = 0;
    double deviation = std::numeric_limits<double>::quiet_NaN();
    ScorePrediction prediction;
    double crossValidated = std::numeric_limits<double>::quiet_NaN();
    std::string content;
    std::string type;
};

struct ScoreFit {
    StoredScoreModel stored;
    std::vector<std::string> leftOutFeatures;
    std::vector<FittedRow> rows;
    std::string grouping;  ///< what makes a content: a column, `first`, or "" where each row is one of its own
    std::size_t groups = 0;
    bool hasDeviations = false;
    int observers = 0;  ///< 0: not said
    AgreementEstimate performance;
    MappedAgreement mapped;
    std::optional<AgreementEstimate> crossValidated;
    MappedAgreement crossMapped;
    std::size_t folds = 0;
    std::string noValidation;  ///< why there is no cross-validation
    std::vector<TypeAgreement> types;
    std::vector<RivalPrediction> rivals;
    std::vector<std::string> remarks;  ///< what the user should know
    BootstrapOptions bootstrap;
    FitOptions options;
};

struct ScoreFitOptions {
    FitOptions fit;
    BootstrapOptions bootstrap;
    int observers = 0;                                               ///< that gave each score; 0: not said
    std::vector<ScoreForm> forms{};                                  ///< held against the model
    std::vector<std::pair<std::string, StoredScoreModel>> models{};  ///< likewise, under their names
    /// Values of simple measures by name, one for each row of the join; NaN where there is none.
    std::vector<std::pair<std::string, std::vector<double>>> baselines{};
};

/// @throws FitProblem, std::invalid_argument, ModuleProblem  as `fitScores`
ScoreFit fitOpinionScores(const RecordedPairs& pairs, const OpinionScores& scores, const JoinedScores& joined,
                          const ScoreFitOptions& options);

}  // namespace likeness
