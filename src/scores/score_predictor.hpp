// What a fitted model predicts for a comparison.
#pragma once

#include <likeness/comparison/analysis.hpp>
#include <likeness/comparison/distances.hpp>
#include "batch/earlier_results.hpp"
#include "batch/result_store.hpp"
#include "photofile/managed_colors.hpp"
#include "scores/score_fit.hpp"
#include "scores/score_model_file.hpp"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace likeness {

struct PredictedScore {
    std::string model;  ///< file
    std::string name;   ///< of the scores
    ScorePrediction prediction;
    double confidence = 0.95;
    std::vector<std::string> outside;  ///< features beyond the range that the model was fitted to
};

/// What a comparison has found, by the names of features.
struct ComparedNumbers {
    PerCorrelate<double> coefficients;
    std::optional<double> hue;
    std::optional<PerCorrelate<BinDistances>> distances;
    std::optional<UniformDistances> uniform;

    std::optional<double> find(const std::string& name) const;
};

class ScorePredictor {
public:
    /// @param option  that names the file, for refusals
    /// @param warn  told what the user should know
    /// @throws Refusal  if the file is no model, or was fitted to comparisons of other parameters than these
    ScorePredictor(const std::string& option, const std::string& path, const AnalysisOptions& analysis,
                   const ProfileChoice& profiles, const std::function<void(const std::string&)>& warn);

    /// What a prediction for masked photographs assumes.
    std::string maskRemark() const;

    bool needsDistances() const;
    bool needsUniform() const;

    /// @throws Refusal  if the model needs a number that there is not
    PredictedScore predict(const ComparedNumbers& numbers) const;

private:
    std::string option_;
    std::string path_;
    StoredScoreModel stored_;
};

/// The columns of predictions for a batch.
/// @param distances  whether the batch records them; `hue` likewise
/// @throws Refusal  if the model needs what the batch does not record
ComputedColumns predictedColumns(const std::shared_ptr<const ScorePredictor>& predictor, ResultFormat format, bool hue,
                                 bool distances);

}  // namespace likeness
