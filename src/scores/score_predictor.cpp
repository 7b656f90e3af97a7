#include "scores/score_predictor.hpp"

#include <likeness/version.hpp>
#include "batch/distance_columns.hpp"
#include "batch/parameters.hpp"
#include "batch/result_record.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"

#include <algorithm>
#include <cmath>

namespace likeness {

std::optional<double> ComparedNumbers::find(const std::string& name) const {
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        const std::string correlate = correlateNames[k].name;
        if (name == correlate) {
            return coefficients[k];
        }
        if (distances && name.rfind(correlate + '_', 0) == 0) {
            const BinDistances& its = (*distances)[k];
            const std::string ending = name.substr(correlate.size());
            if (ending == "_wasserstein") {
                return its.wasserstein;
            }
            if (ending == "_mean_shift") {
                return its.meanShift;
            }
            if (ending == "_kolmogorov_smirnov") {
                return its.kolmogorovSmirnov;
            }
            if (ending == "_jensen_shannon_bits") {
                return its.jensenShannon;
            }
        }
    }
    if (name == "hue") {
        return hue;
    }
    if (uniform) {
        if (name == "uniform_lightness") {
            return uniform->lightness;
        }
        if (name == "uniform_colorfulness") {
            return uniform->colorfulness;
        }
        if (name == "uniform_hue") {
            return uniform->hue;
        }
        if (name == "uniform_total") {
            return uniform->total;
        }
    }
    return std::nullopt;
}

ScorePredictor::ScorePredictor(const std::string& option, const std::string& path, const AnalysisOptions& analysis,
                               const ProfileChoice& profiles, const std::function<void(const std::string&)>& warn)
    : option_(option), path_(path), stored_(readScoreModel(option, path)) {
    const std::string own = parameterFingerprint(analysis, profiles);
    // The five coefficients are the same with the hue's and without it.
    AnalysisOptions withoutHue = analysis;
    withoutHue.hue.reset();
    const auto& features = stored_.model.features;
    const bool usesHue = std::find(features.begin(), features.end(), hueColumn) != features.end();
    if (stored_.parameters != own && (usesHue || stored_.parameters != parameterFingerprint(withoutHue, profiles))) {
        throw Refusal(option + ": '" + path + "' was fitted to comparisons of the parameters " +
                      (stored_.parameters.empty() ? "that it does not name" : stored_.parameters) +
                      ", and those of this one are " + own +
                      "; give the options of the model, the conditions and the profiles as they were then");
    }
    if (!stored_.version.empty() && stored_.version != LIKENESS_VERSION) {
        warn(option + ": '" + path + "' was fitted to results of likeness " + stored_.version + ", and this is " +
             LIKENESS_VERSION);
    }
}

std::string ScorePredictor::maskRemark() const {
    return option_ + ": '" + path_ +
           "' does not say whether it was fitted to masked photographs; its scores hold for masks such as those of the "
           "fit";
}

bool ScorePredictor::needsDistances() const {
    const auto& features = stored_.model.features;
    return std::any_of(features.begin(), features.end(), [](const std::string& name) {
        return name.rfind("uniform_", 0) != 0 && name.find('_') != std::string::npos;
    });
}

bool ScorePredictor::needsUniform() const {
    const auto& features = stored_.model.features;
    return std::any_of(features.begin(), features.end(),
                       [](const std::string& name) { return name.rfind("uniform_", 0) == 0; });
}

PredictedScore ScorePredictor::predict(const ComparedNumbers& numbers) const {
    const ScoreModel& model = stored_.model;
    PredictedScore predicted;
    predicted.model = path_;
    predicted.name = stored_.scoreName;
    predicted.confidence = model.confidence;
    std::vector<double> values;
    for (std::size_t k = 0; k < model.features.size(); ++k) {
        const std::optional<double> value = numbers.find(model.features[k]);
        if (!value) {
            throw Refusal(option_ + ": '" + path_ + "' needs '" + model.features[k] +
                          "', which this comparison does not give");
        }
        values.push_back(*value);
        if (!(*value >= model.ranges[k].low && *value <= model.ranges[k].high)) {
            predicted.outside.push_back(model.features[k]);
        }
    }
    predicted.prediction = predictScore(model, values);
    return predicted;
}

ComputedColumns predictedColumns(const std::shared_ptr<const ScorePredictor>& predictor, ResultFormat format, bool hue,
                                 bool distances) {
    ComputedColumns columns;
    columns.names.assign(predictionColumns.begin(), predictionColumns.end());
    columns.kind = format == ResultFormat::csv ? CarriedValue::Kind::text : CarriedValue::Kind::json;
    columns.values = [predictor](const PairOutcome& outcome) {
        ComparedNumbers numbers;
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            numbers.coefficients[k] = static_cast<double>(outcome.coefficients[k]);
        }
        if (outcome.hue) {
            numbers.hue = static_cast<double>(*outcome.hue);
        }
        if (outcome.distances) {
            // As the records have them: a run that is resumed reads them there.
            numbers.distances = *outcome.distances;
            for (std::size_t k = 0; k < correlateNames.size(); ++k) {
                BinDistances& its = (*numbers.distances)[k];
                for (double* const value :
                     {&its.wasserstein, &its.meanShift, &its.kolmogorovSmirnov, &its.jensenShannon}) {
                    *value = roundedToNineDigits(*value);
                }
            }
        }
        const ScorePrediction prediction = predictor->predict(numbers).prediction;
        const auto text = [](double value) { return std::isfinite(value) ? nineDigits(value) : std::string(); };
        return std::vector<std::string>{text(prediction.score), text(prediction.low), text(prediction.high),
                                        prediction.outside ? "1" : "0"};
    };
    // What a batch does not record is refused before the first pair.
    PairOutcome example;
    if (hue) {
        example.hue = 1.0F;
    }
    if (distances) {
        example.distances = PairDistances();
    }
    columns.values(example);
    return columns;
}

}  // namespace likeness
