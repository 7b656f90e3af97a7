// What a model of darkroom fit predicts for a comparison.
#pragma once

#include "console/option_parser.hpp"

#include <likeness/comparison/distances.hpp>
#include "console/model_options.hpp"
#include "photofile/managed_colors.hpp"
#include "scores/score_fit.hpp"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace likeness::darkroom {

/// Adds --predict.
void addPredictOption(OptionParser& app, std::string& path);

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
    /// @param warn  told what the user should know
    /// @throws Refusal  if the file is no model, or was fitted to comparisons of other parameters than these
    ScorePredictor(const std::string& path, const AnalysisOptions& analysis, const ProfileChoice& profiles,
                   const std::function<void(const std::string&)>& warn);

    bool needsDistances() const;
    bool needsUniform() const;

    /// @throws Refusal  if the model needs a number that there is not
    PredictedScore predict(const ComparedNumbers& numbers) const;

private:
    std::string path_;
    StoredScoreModel stored_;
};

}  // namespace likeness::darkroom
