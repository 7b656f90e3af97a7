// Opinion scores: fits and predictions.
#include "calls.hpp"

#include <likeness/fit/agreement.hpp>
#include "files/refusal.hpp"
#include "scores/fit_inputs.hpp"
#include "scores/score_fit.hpp"
#include "scores/score_model_file.hpp"

#include <pybind11/stl.h>

#include <algorithm>
#include <array>
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

py::tuple tupleOf(const AgreementEstimate& agreement) {
    py::list figures;
    for (const Estimate& figure :
         {agreement.pearson, agreement.spearman, agreement.kendall, agreement.rmse, agreement.outlierRatio}) {
        figures.append(py::make_tuple(figure.value, figure.low, figure.high));
    }
    return py::tuple(figures);
}

using Values = std::vector<double>;

py::tuple agreement(const Values& scores, const Values& predicted, const std::optional<Values>& other,
                    const Values& allowed, const std::vector<std::size_t>& groups, int resamples, std::uint64_t seed,
                    double confidence) {
    const PredictedScores rows{scores, predicted, allowed, groups};
    const BootstrapOptions options{resamples, seed, confidence};
    return tupleOf(
        unlocked([&] { return other ? compareAgreement(rows, *other, options) : estimateAgreement(rows, options); }));
}

py::tuple pairedTest(const Values& scores, const Values& first, const Values& second) {
    const PairedTest test = pitmanTest(scores, first, second);
    return py::make_tuple(test.correlation, test.t, test.degreesOfFreedom, test.p);
}

py::tuple tupleOf(const CubicMapping& mapping) {
    const double* const c = mapping.coefficients;
    return py::make_tuple(py::make_tuple(c[0], c[1], c[2], c[3]), mapping.low, mapping.high);
}

py::tuple mappedFigures(const Values& scores, const Values& predicted, const Values& intervals) {
    const MappedAgreement mapped = unlocked([&] { return mappedAgreement(scores, predicted, intervals); });
    return py::make_tuple(tupleOf(mapped.mapping), mapped.pearson, mapped.rmse, mapped.rmseStar, mapped.outlierRatio);
}

double mappedValue(const std::array<double, 4>& coefficients, double low, double high, double x) {
    CubicMapping mapping;
    std::copy(coefficients.begin(), coefficients.end(), mapping.coefficients);
    mapping.low = low;
    mapping.high = high;
    return mapping(x);
}

}  // namespace

void bindScores(py::module_& module) {
    module.def("fit_scores", fitScoresOfFiles);
    module.def("predict_score", predictFrom);
    module.def("agreement", agreement);
    module.def("pitman_test", pairedTest);
    module.def("mapped_agreement", mappedFigures);
    module.def("monotone_cubic", [](const Values& x, const Values& y) { return tupleOf(monotoneCubic(x, y)); });
    module.def("mapped_value", mappedValue);
    module.def("opinion_interval", opinionInterval);
}

}  // namespace likeness::python
