#include "console/score_prediction.hpp"

#include <likeness/version.hpp>
#include "batch/parameters.hpp"
#include "batch/result_record.hpp"
#include "console/option_checks.hpp"
#include "files/refusal.hpp"
#include "scores/score_model_file.hpp"

#include <algorithm>
#include <cmath>

namespace likeness::darkroom {

void addPredictOption(OptionParser& app, std::string& path) {
    app.addOption(
           "--predict", path,
           optionText("Model of darkroom fit: give the opinion score that it predicts, its interval, and whether "
                      "the photographs are outside the range that it was fitted to",
                      "--predict model.json"))
        ->typeName("MODEL.json");
}

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

ScorePredictor::ScorePredictor(const std::string& path, const AnalysisOptions& analysis, const ProfileChoice& profiles,
                               const std::function<void(const std::string&)>& warn)
    : path_(path), stored_(readScoreModel("--predict", path)) {
    const std::string own = parameterFingerprint(analysis, profiles);
    // The five coefficients are the same with the hue's and without it.
    AnalysisOptions withoutHue = analysis;
    withoutHue.hue.reset();
    const auto& features = stored_.model.features;
    const bool usesHue = std::find(features.begin(), features.end(), hueColumn) != features.end();
    if (stored_.parameters != own && (usesHue || stored_.parameters != parameterFingerprint(withoutHue, profiles))) {
        throw Refusal("--predict: '" + path + "' was fitted to comparisons of the parameters " +
                      (stored_.parameters.empty() ? "that it does not name" : stored_.parameters) +
                      ", and those of this one are " + own +
                      "; give the options of the model, the conditions and the profiles as they were then");
    }
    if (!stored_.version.empty() && stored_.version != LIKENESS_VERSION) {
        warn("--predict: '" + path + "' was fitted to results of likeness " + stored_.version + ", and this is " +
             LIKENESS_VERSION);
    }
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
            throw Refusal("--predict: '" + path_ + "' needs '" + model.features[k] +
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

}  // namespace likeness::darkroom
