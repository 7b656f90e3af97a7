// Opinion scores: fits and predictions.
#include "calls.hpp"

#include <likeness/fit/agreement.hpp>
#include "files/refusal.hpp"
#include "scores/fit_inputs.hpp"
#include "scores/score_fit.hpp"
#include "scores/score_model_file.hpp"

#include <pybind11/stl.h>

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace likeness::python {
namespace {

namespace py = pybind11;

py::tuple fitScoresOfFiles(const py::dict& options) {
    const auto text = [&](const char* name) { return options[name].cast<std::string>(); };
    FitRequest request;
    request.results = text("results");
    request.scores = text("scores");
    if (!options["dataset"].is_none()) {
        request.dataSet = options["dataset"].cast<std::pair<std::string, std::string>>();
    }
    request.columns = {text("id"), text("score"), text("deviation"), text("group"), text("type")};
    if (const std::string direction = text("direction"); direction == "higher-better") {
        request.direction = ScoreDirection::higherBetter;
    } else if (direction == "lower-better") {
        request.direction = ScoreDirection::lowerBetter;
    } else if (!direction.empty()) {
        throw std::invalid_argument("direction: '" + direction + "' is none of higher-better, lower-better");
    }
    request.features = options["features"].cast<std::vector<std::string>>();
    const std::optional<ScoreForm> form = scoreFormOf(text("form"));
    if (!form) {
        throw std::invalid_argument("form: '" + text("form") +
                                    "' is none of linear, monotone, logistic4, logistic5, product, ridge");
    }
    request.form = *form;
    ScoreFitOptions fitting;
    fitting.fit.form = *form;
    fitting.fit.folds = options["folds"].cast<int>();
    fitting.fit.seed = options["seed"].cast<std::uint64_t>();
    fitting.fit.penalty = options["penalty"].cast<std::optional<double>>();
    fitting.bootstrap.seed = fitting.fit.seed;
    fitting.bootstrap.resamples = options["resamples"].cast<int>();
    fitting.observers = options["observers"].cast<std::optional<int>>().value_or(0);
    FitInputs inputs;
    ScoreFit fit;
    const std::string json = unlocked([&] {
        try {
            inputs = readFitInputs(request);
            fit = fitOpinionScores(inputs.pairs, inputs.scores, inputs.joined, fitting);
        } catch (const FitProblem& problem) {
            throw std::invalid_argument(problem.what());
        }
        return scoreModelJson(fit, inputs.sources);
    });
    std::vector<std::string> remarks = inputs.remarks;
    remarks.insert(remarks.end(), fit.remarks.begin(), fit.remarks.end());
    py::list rows;
    for (const FittedRow& row : fit.rows) {
        rows.append(py::make_tuple(row.id, row.score, row.prediction.score, row.prediction.low, row.prediction.high,
                                   row.crossValidated));
    }
    return py::make_tuple(json, rows, remarks);
}

py::tuple predictFrom(const std::string& json, const std::map<std::string, double>& numbers) {
    const StoredScoreModel stored = scoreModelIn("model", "model", json);
    std::vector<double> values;
    for (const std::string& feature : stored.model.features) {
        const auto found = numbers.find(feature);
        if (found == numbers.end()) {
            throw std::invalid_argument("the model needs '" + feature + "', which is not given");
        }
        values.push_back(found->second);
    }
    const ScorePrediction prediction = predictScore(stored.model, values);
    return py::make_tuple(prediction.score, prediction.low, prediction.high, prediction.outside);
}

}  // namespace

void bindScores(py::module_& module) {
    module.def("fit_scores", fitScoresOfFiles);
    module.def("predict_score", predictFrom);
    module.def("pearson", pearsonCorrelation);
    module.def("spearman", spearmanCorrelation);
    module.def("kendall", kendallCorrelation);
}

}  // namespace likeness::python
