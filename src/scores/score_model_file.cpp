#include "scores/score_model_file.hpp"

#include <likeness/version.hpp>
#include "batch/json_depth.hpp"
#include "files/refusal.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace likeness {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* schemaName = "darkroom.score_model";
constexpr int schemaVersion = 1;

/// JSON has no NaN and no infinity: they become null.
Json numberOrNull(double value) {
    return std::isfinite(value) ? Json(value) : Json();
}

Json jsonOf(const Estimate& estimate) {
    return {{"value", numberOrNull(estimate.value)},
            {"interval", estimate.hasInterval() ? Json{estimate.low, estimate.high} : Json()}};
}

Json jsonOf(const AgreementEstimate& agreement) {
    Json json;
    for (const auto& [name, figure] : agreementFigures) {
        json[name] = jsonOf(agreement.*figure);
    }
    return json;
}

Json jsonOf(const MappedAgreement& mapped) {
    const double* const c = mapped.mapping.coefficients;
    return {{"coefficients", {c[0], c[1], c[2], c[3]}},   {"range", {mapped.mapping.low, mapped.mapping.high}},
            {"pearson", numberOrNull(mapped.pearson)},    {"rmse", numberOrNull(mapped.rmse)},
            {"rmse_star", numberOrNull(mapped.rmseStar)}, {"outlier_ratio", numberOrNull(mapped.outlierRatio)}};
}

Json trainingOf(const ScoreFit& fit, const FitSources& sources) {
    const auto text = [](const std::string& value) { return value.empty() ? Json() : Json(value); };
    double low = fit.rows.front().score;
    double high = low;
    for (const FittedRow& row : fit.rows) {
        low = std::min(low, row.score);
        high = std::max(high, row.score);
    }
    return {{"results", sources.results},
            {"results_version", text(fit.stored.version)},
            {"scores", sources.scores},
            {"score", fit.stored.scoreName},
            {"deviation", text(sources.deviationColumn)},
            {"group", text(fit.grouping)},
            {"type", text(sources.typeColumn)},
            {"observers", fit.observers > 0 ? Json(fit.observers) : Json()},
            {"rows", fit.rows.size()},
            {"groups", fit.groups},
            {"score_range", {low, high}},
            {"failed_pairs", sources.failed},
            {"pairs_without_features", sources.blank},
            {"pairs_without_score", sources.pairsWithoutScore},
            {"scores_without_pair", sources.scoresWithoutPair},
            {"empty_scores", sources.emptyScores},
            {"features_left_out", fit.leftOutFeatures},
            {"folds", fit.folds},
            {"resamples", fit.bootstrap.resamples},
            {"seed", fit.bootstrap.seed}};
}

Json rivalOf(const RivalPrediction& rival) {
    return {{"against", rival.name},
            {"form", rival.form},
            {"rows", rival.rows},
            {"cross_validated", rival.crossValidated},
            {"performance", jsonOf(rival.agreement)},
            {"model_performance", jsonOf(rival.modelAgreement)},
            {"difference", jsonOf(rival.difference)},
            {"pitman",
             {{"correlation", numberOrNull(rival.pitman.correlation)},
              {"t", numberOrNull(rival.pitman.t)},
              {"degrees_of_freedom", rival.pitman.degreesOfFreedom},
              {"p", numberOrNull(rival.pitman.p)}}}};
}

/// Reads members of the file; what is missing or of another type is refused.
class ModelReader {
public:
    ModelReader(std::string option, std::string path) : option_(std::move(option)), path_(std::move(path)) {}

    StoredScoreModel read() const { return read(content()); }

    StoredScoreModel read(const std::string& bytes) const {
        const Json json = parsed(bytes);
        if (!json.is_object() || json.value("schema", Json()) != schemaName) {
            refuse("is no model that darkroom fit wrote");
        }
        if (!json.contains("schema_version") || json["schema_version"] != schemaVersion) {
            refuse("is of another version of the format; darkroom fit of this version makes one that fits");
        }
        StoredScoreModel stored;
        ScoreModel& model = stored.model;
        const std::optional<ScoreForm> form = scoreFormOf(text(json, "form"));
        if (!form) {
            refuse("has an unknown form");
        }
        model.form = *form;
        stored.parameters = text(json, "fingerprint");
        const std::string direction = text(json, "direction");
        if (direction != "higher-better" && direction != "lower-better") {
            refuse("has an unknown direction");
        }
        stored.direction = direction == "higher-better" ? ScoreDirection::higherBetter : ScoreDirection::lowerBetter;
        const Json& training = member(json, "training");
        if (!training.is_object()) {
            refuse("does not tell its training");
        }
        stored.version = text(training, "results_version");
        stored.scoreName = text(training, "score");
        const Json& features = member(json, "features");
        const Json& validity = member(json, "validity");
        if (!features.is_array() || features.empty() || !validity.is_object()) {
            refuse("has no features");
        }
        for (const Json& feature : features) {
            if (!feature.is_string()) {
                refuse("has a feature without a name");
            }
            model.features.push_back(feature.get<std::string>());
            const std::vector<double> range = numbers(validity, model.features.back());
            if (range.size() != 2 || !(range[0] <= range[1])) {
                refuse("has no range of '" + model.features.back() + "'");
            }
            model.ranges.push_back({range[0], range[1]});
        }
        readParameters(json, model);
        model.residualDeviation = number(json, "residual_deviation");
        model.degreesOfFreedom = number(json, "degrees_of_freedom");
        model.confidence = number(json, "confidence");
        model.penalty = json.contains("penalty") && json["penalty"].is_number() ? json["penalty"].get<double>() : 0.0;
        if (model.residualDeviation < 0 || !(model.degreesOfFreedom > 0) ||
            !(model.confidence > 0 && model.confidence < 1)) {
            refuse("has a deviation, degrees of freedom or a confidence that cannot be");
        }
        return stored;
    }

private:
    [[noreturn]] void refuse(const std::string& what) const { throw Refusal(option_ + ": '" + path_ + "' " + what); }

    std::string content() const {
        std::error_code error;
        std::ifstream in(path_, std::ios::binary);
        if (!in || std::filesystem::is_directory(path_, error)) {
            const int problem = in ? EISDIR : errno;
            throw Refusal(option_ + ": cannot read '" + path_ + "': " + std::strerror(problem));
        }
        std::ostringstream bytes;
        bytes << in.rdbuf();
        return bytes.str();
    }

    Json parsed(const std::string& bytes) const {
        if (nestsTooDeep(bytes)) {
            refuse("is no model that darkroom fit wrote");
        }
        Json json = Json::parse(bytes, nullptr, false);
        if (json.is_discarded()) {
            refuse("is no JSON");
        }
        return json;
    }

    const Json& member(const Json& json, const std::string& name) const {
        const auto found = json.find(name);
        if (found == json.end()) {
            refuse("lacks '" + name + "'");
        }
        return *found;
    }
    std::string text(const Json& json, const std::string& name) const {
        const Json& its = member(json, name);
        if (its.is_null()) {
            return "";
        }
        if (!its.is_string()) {
            refuse("has a '" + name + "' that is no text");
        }
        return its.get<std::string>();
    }
    double number(const Json& json, const std::string& name) const {
        const Json& its = member(json, name);
        if (!its.is_number() || !std::isfinite(its.get<double>())) {
            refuse("has a '" + name + "' that is no finite number");
        }
        return its.get<double>();
    }
    std::vector<double> numbers(const Json& json, const std::string& name) const {
        const Json& its = member(json, name);
        if (!its.is_array()) {
            refuse("has a '" + name + "' that is no list of numbers");
        }
        std::vector<double> values;
        for (const Json& value : its) {
            if (!value.is_number() || !std::isfinite(value.get<double>())) {
                refuse("has a '" + name + "' that is no list of numbers");
            }
            values.push_back(value.get<double>());
        }
        return values;
    }

    void readParameters(const Json& json, ScoreModel& model) const {
        if (model.form == ScoreForm::monotone) {
            const Json& knots = member(json, "knots");
            if (!knots.is_object()) {
                refuse("has no knots");
            }
            model.knotsX = numbers(knots, "x");
            model.knotsY = numbers(knots, "y");
            const auto notRising = std::adjacent_find(model.knotsX.begin(), model.knotsX.end(),
                                                      [](double a, double b) { return !(a < b); });
            if (model.knotsX.empty() || model.knotsX.size() != model.knotsY.size() || notRising != model.knotsX.end()) {
                refuse("has knots that do not fit each other");
            }
            return;
        }
        const Json& parameters = member(json, "parameters");
        if (!parameters.is_object()) {
            refuse("has no parameters");
        }
        for (const auto& [name, value] : parameters.items()) {
            if (!value.is_object()) {
                refuse("has a parameter '" + name + "' without a value");
            }
            ScoreParameter parameter{name, {number(value, "value")}};
            if (value.contains("interval") && !value["interval"].is_null()) {
                const std::vector<double> interval = numbers(value, "interval");
                if (interval.size() != 2) {
                    refuse("has an interval that is none");
                }
                parameter.estimate.low = interval[0];
                parameter.estimate.high = interval[1];
            }
            model.parameters.push_back(std::move(parameter));
        }
        const std::size_t wanted = model.form == ScoreForm::logistic4   ? 4
                                   : model.form == ScoreForm::logistic5 ? 5
                                   : model.form == ScoreForm::product   ? model.features.size() + 2
                                                                        : model.features.size() + 1;
        if (model.parameters.size() != wanted) {
            refuse("has another number of parameters than its form");
        }
        if (json.contains("covariance") && !json["covariance"].is_null()) {
            const Json& rows = json["covariance"];
            if (!rows.is_array() || rows.size() != wanted) {
                refuse("has a covariance that does not fit its parameters");
            }
            for (std::size_t k = 0; k < wanted; ++k) {
                const std::vector<double> row = numbers(Json{{"covariance", rows[k]}}, "covariance");
                if (row.size() != wanted) {
                    refuse("has a covariance that does not fit its parameters");
                }
                model.covariance.insert(model.covariance.end(), row.begin(), row.end());
            }
        }
    }

    std::string option_;
    std::string path_;
};

}  // namespace

std::string scoreModelJson(const ScoreFit& fit, const FitSources& sources) {
    const ScoreModel& model = fit.stored.model;
    const auto text = [](const std::string& value) { return value.empty() ? Json() : Json(value); };
    Json json = {{"schema", schemaName}, {"schema_version", schemaVersion}};
    json["version"] = LIKENESS_VERSION;
    json["form"] = nameOf(model.form);
    json["fingerprint"] = text(fit.stored.parameters);
    json["direction"] = nameOf(fit.stored.direction);
    json["features"] = model.features;
    if (model.form == ScoreForm::monotone) {
        json["knots"] = {{"x", model.knotsX}, {"y", model.knotsY}};
    } else {
        for (const ScoreParameter& parameter : model.parameters) {
            json["parameters"][parameter.name] = jsonOf(parameter.estimate);
        }
        const std::size_t count = model.parameters.size();
        json["covariance"] = Json();
        for (std::size_t k = 0; k < count && !model.covariance.empty(); ++k) {
            const auto row = model.covariance.begin() + static_cast<std::ptrdiff_t>(k * count);
            json["covariance"].push_back(std::vector<double>(row, row + static_cast<std::ptrdiff_t>(count)));
        }
    }
    if (model.form == ScoreForm::ridge) {
        json["penalty"] = model.penalty;
    }
    json["residual_deviation"] = model.residualDeviation;
    json["degrees_of_freedom"] = model.degreesOfFreedom;
    json["confidence"] = model.confidence;
    json["training"] = trainingOf(fit, sources);
    json["performance"] = jsonOf(fit.performance);
    json["cross_validated"] = fit.crossValidated ? jsonOf(*fit.crossValidated) : Json();
    json["mapped"] = {{"performance", jsonOf(fit.mapped)},
                      {"cross_validated", fit.crossValidated ? jsonOf(fit.crossMapped) : Json()}};
    for (std::size_t k = 0; k < model.features.size(); ++k) {
        json["validity"][model.features[k]] = {model.ranges[k].low, model.ranges[k].high};
    }
    json["by_type"] = Json::object();
    for (const TypeAgreement& type : fit.types) {
        json["by_type"][type.type] = jsonOf(type.agreement);
        json["by_type"][type.type]["rows"] = type.rows;
    }
    json["comparisons"] = Json::array();
    for (const RivalPrediction& rival : fit.rivals) {
        json["comparisons"].push_back(rivalOf(rival));
    }
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

StoredScoreModel readScoreModel(const std::string& option, const std::string& path) {
    return ModelReader(option, path).read();
}

StoredScoreModel scoreModelIn(const std::string& option, const std::string& name, const std::string& text) {
    return ModelReader(option, name).read(text);
}

}  // namespace likeness
