#include "scores/score_fit.hpp"

#include "files/number_format.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>

namespace likeness {
namespace {

/// Numbers the contents of the rows, from 0.
class Contents {
public:
    std::size_t numberOf(const std::string& content) {
        return numbers_.emplace(content, numbers_.size()).first->second;
    }
    std::size_t count() const noexcept { return numbers_.size(); }

private:
    std::unordered_map<std::string, std::size_t> numbers_;
};

/// Whether the score rises with the mean of the features, which are all of one kind.
bool risesWith(const std::vector<std::string>& features, ScoreDirection direction) {
    const auto distances = std::count_if(features.begin(), features.end(), isDistanceName);
    if (distances != 0 && static_cast<std::size_t>(distances) != features.size()) {
        throw FitProblem(
            "the form takes the mean of the features, and they are coefficients and distances; --features "
            "names one kind");
    }
    return (distances == 0) == (direction == ScoreDirection::higherBetter);
}

/// Rank correlation of the scores with how alike the features say that the pairs are: the mean of the coefficients, or
/// of the distances turned round where there are no coefficients.
double agreementWithAlikeness(const ScoredRows& rows) {
    const bool anyCoefficient =
        !std::all_of(rows.features.begin(), rows.features.end(), [](const auto& name) { return isDistanceName(name); });
    std::vector<double> alikeness(rows.scores.size(), 0.0);
    for (std::size_t k = 0; k < rows.features.size(); ++k) {
        if (isDistanceName(rows.features[k]) == anyCoefficient) {
            continue;
        }
        for (std::size_t i = 0; i < alikeness.size(); ++i) {
            alikeness[i] += anyCoefficient ? rows.columns[k][i] : -rows.columns[k][i];
        }
    }
    return spearmanCorrelation(alikeness, rows.scores);
}

class Fitting {
public:
    Fitting(const RecordedPairs& pairs, const OpinionScores& scores, const JoinedScores& joined,
            const ScoreFitOptions& options)
        : pairs_(pairs), scores_(scores), joined_(joined), options_(options) {}

    ScoreFit run() {
        fit_.options = options_.fit;
        fit_.bootstrap = options_.bootstrap;
        fit_.observers = options_.observers;
        fit_.hasDeviations = !scores_.deviationColumn.empty();
        if (options_.observers > 0 && !fit_.hasDeviations) {
            fit_.remarks.emplace_back(
                "the number of observers plays no part: the scores have no deviations (--deviation)");
        }
        gather();
        if (takesMean(options_.fit.form)) {
            fit_.options.rising = risesWith(rows_.features, scores_.direction);
        }
        StoredScoreModel& stored = fit_.stored;
        stored.model = fitScores(rows_, fit_.options, &fit_.leftOutFeatures);
        stored.version = pairs_.version;
        stored.parameters = pairs_.parameters;
        stored.direction = scores_.direction;
        stored.scoreName = scores_.scoreColumn;
        validate();
        predict();
        agree();
        byType();
        compareWithRivals();
        remark();
        return std::move(fit_);
    }

private:
    void gather() {
        rows_.features = pairs_.features;
        rows_.columns.resize(pairs_.features.size());
        const bool fromScores = !scores_.contentColumn.empty();
        std::vector<std::string> contents;
        for (const JoinedScores::Row& row : joined_.rows) {
            const RecordedPair& pair = pairs_.pairs[row.pair];
            const OpinionScore& score = scores_.scores[row.score];
            FittedRow fitted;
            fitted.id = pair.id;
            fitted.score = score.score;
            fitted.deviation = score.deviation;
            fitted.content = fromScores ? score.content : pairs_.hasContent ? pair.content : pair.first;
            fitted.type = scores_.typeColumn.empty() ? pair.type : score.type;
            rows_.scores.push_back(score.score);
            for (std::size_t k = 0; k < pairs_.features.size(); ++k) {
                rows_.columns[k].push_back(pair.features[k]);
            }
            fit_.rows.push_back(std::move(fitted));
        }
        Contents numbers;
        for (const FittedRow& row : fit_.rows) {
            rows_.groups.push_back(numbers.numberOf(row.content));
        }
        fit_.groups = numbers.count();
        fit_.grouping = fromScores ? scores_.contentColumn : pairs_.hasContent ? pairs_.contentColumn : "first";
        if (!fromScores && !pairs_.hasContent && (fit_.groups == fit_.rows.size() || fit_.groups < 2)) {
            // The photographs tell no contents.
            rows_.groups.clear();
            fit_.grouping.clear();
            fit_.groups = fit_.rows.size();
            for (FittedRow& row : fit_.rows) {
                row.content.clear();
            }
        }
    }

    /// A form that cannot be validated may still be fitted.
    std::optional<CrossValidation> validated(const ScoredRows& rows, const FitOptions& options,
                                             std::string* why) const {
        try {
            return crossValidate(rows, options);
        } catch (const FitProblem& problem) {
            if (why != nullptr) {
                *why = problem.what();
            }
            return std::nullopt;
        }
    }

    void validate() {
        cross_ = validated(rows_, fit_.options, &fit_.noValidation);
        if (!cross_) {
            return;
        }
        fit_.folds = cross_->count;
        // Contents that the model has not seen are predicted with errors of their own: an interval should hold them too.
        ScoreModel& model = fit_.stored.model;
        model.residualDeviation =
            std::max(model.residualDeviation, rootMeanSquareError(rows_.scores, cross_->predicted));
    }

    void predict() {
        const ScoreModel& model = fit_.stored.model;
        std::vector<std::size_t> places;
        for (const std::string& feature : model.features) {
            places.push_back(static_cast<std::size_t>(std::find(rows_.features.begin(), rows_.features.end(), feature) -
                                                      rows_.features.begin()));
        }
        std::vector<double> values(places.size());
        for (std::size_t i = 0; i < fit_.rows.size(); ++i) {
            for (std::size_t k = 0; k < places.size(); ++k) {
                values[k] = rows_.columns[places[k]][i];
            }
            fit_.rows[i].prediction = predictScore(model, values);
            if (cross_) {
                fit_.rows[i].crossValidated = cross_->predicted[i];
            }
        }
    }

    PredictedScores predicted(bool cross) const {
        PredictedScores rows;
        rows.scores = rows_.scores;
        rows.groups = rows_.groups;
        for (const FittedRow& row : fit_.rows) {
            rows.predicted.push_back(cross ? row.crossValidated : row.prediction.score);
            if (fit_.hasDeviations) {
                rows.allowed.push_back(allowance(row));
            }
        }
        return rows;
    }

    /// The error that is no outlier: within the score's confidence interval, or where nobody said how many observers
    /// there were, within two standard deviations.
    double allowance(const FittedRow& row) const {
        return options_.observers > 1 ? opinionInterval(row.deviation, options_.observers) : 2 * row.deviation;
    }

    MappedAgreement mapped(const PredictedScores& rows) const {
        const bool known = fit_.hasDeviations && options_.observers > 1;
        return mappedAgreement(rows.scores, rows.predicted, known ? rows.allowed : std::vector<double>());
    }

    void agree() {
        const PredictedScores own = predicted(false);
        fit_.performance = estimateAgreement(own, options_.bootstrap);
        fit_.mapped = mapped(own);
        if (cross_) {
            const PredictedScores unseen = predicted(true);
            fit_.crossValidated = estimateAgreement(unseen, options_.bootstrap);
            fit_.crossMapped = mapped(unseen);
        }
    }

    template <typename Predicate>
    static PredictedScores part(const PredictedScores& all, const Predicate& wanted) {
        PredictedScores rows;
        for (std::size_t i = 0; i < all.scores.size(); ++i) {
            if (!wanted(i)) {
                continue;
            }
            rows.scores.push_back(all.scores[i]);
            rows.predicted.push_back(all.predicted[i]);
            if (!all.allowed.empty()) {
                rows.allowed.push_back(all.allowed[i]);
            }
            if (!all.groups.empty()) {
                rows.groups.push_back(all.groups[i]);
            }
        }
        renumber(rows.groups);
        return rows;
    }

    static void renumber(std::vector<std::size_t>& groups) {
        std::unordered_map<std::size_t, std::size_t> numbers;
        for (std::size_t& group : groups) {
            group = numbers.emplace(group, numbers.size()).first->second;
        }
    }

    void byType() {
        if (scores_.typeColumn.empty() && !pairs_.hasType) {
            return;
        }
        std::map<std::string, std::size_t> types;
        for (const FittedRow& row : fit_.rows) {
            ++types[row.type];
        }
        const PredictedScores all = predicted(cross_.has_value());
        for (const auto& [type, count] : types) {
            const PredictedScores rows =
                part(all, [&, &type = type](std::size_t i) { return fit_.rows[i].type == type; });
            fit_.types.push_back({type, count, estimateAgreement(rows, options_.bootstrap)});
        }
    }

    /// @param values  of the rival, a prediction for each wanted row
    void addRival(const std::string& name, const std::string& form, const std::vector<bool>& wanted,
                  std::vector<double> values, bool cross) {
        const PredictedScores own = part(predicted(cross), [&](std::size_t i) { return wanted[i]; });
        PredictedScores other = own;
        other.predicted = std::move(values);
        RivalPrediction rival;
        rival.name = name;
        rival.form = form;
        rival.rows = own.scores.size();
        rival.crossValidated = cross;
        rival.agreement = estimateAgreement(other, options_.bootstrap);
        rival.modelAgreement = estimateAgreement(own, options_.bootstrap);
        rival.difference = compareAgreement(own, other.predicted, options_.bootstrap);
        rival.pitman = pitmanTest(own.scores, own.predicted, other.predicted);
        fit_.rivals.push_back(std::move(rival));
    }

    void addBaseline(const std::string& name, const std::vector<double>& values) {
        std::vector<bool> wanted;
        ScoredRows rows;
        rows.features = {name};
        rows.columns.resize(1);
        for (std::size_t i = 0; i < values.size(); ++i) {
            wanted.push_back(std::isfinite(values[i]));
            if (wanted.back()) {
                rows.columns[0].push_back(values[i]);
                rows.scores.push_back(rows_.scores[i]);
                if (!rows_.groups.empty()) {
                    rows.groups.push_back(rows_.groups[i]);
                }
            }
        }
        renumber(rows.groups);
        // Measures are mapped to scores by the logistic of five parameters, where there are rows enough for it.
        std::string problem;
        for (const ScoreForm form : {ScoreForm::logistic5, ScoreForm::linear}) {
            FitOptions options = fit_.options;
            options.form = form;
            try {
                const ScoreModel model = fitScores(rows, options);
                const auto cross = cross_ ? validated(rows, options, nullptr) : std::nullopt;
                std::vector<double> predictions;
                for (std::size_t i = 0; i < rows.scores.size(); ++i) {
                    predictions.push_back(cross ? cross->predicted[i]
                                                : predictScore(model, {rows.columns[0][i]}).score);
                }
                addRival(name, nameOf(form), wanted, std::move(predictions), cross.has_value());
                return;
            } catch (const FitProblem& unfit) {
                problem = unfit.what();
            }
        }
        fit_.remarks.push_back("the baseline " + name + " is left out: " + problem);
    }

    void compareWithRivals() {
        const std::vector<bool> all(fit_.rows.size(), true);
        for (const ScoreForm form : options_.forms) {
            FitOptions options = fit_.options;
            options.form = form;
            try {
                if (takesMean(form)) {
                    options.rising = risesWith(rows_.features, scores_.direction);
                }
                const auto cross = cross_ ? validated(rows_, options, nullptr) : std::nullopt;
                std::vector<double> predictions;
                if (cross) {
                    predictions = cross->predicted;
                } else {
                    const ScoreModel model = fitScores(rows_, options);
                    predictions = predictionsOf(model);
                }
                addRival(nameOf(form), nameOf(form), all, std::move(predictions), cross.has_value());
            } catch (const FitProblem& problem) {
                fit_.remarks.push_back(std::string("--against ") + nameOf(form) + " is left out: " + problem.what());
            }
        }
        for (const auto& [name, stored] : options_.models) {
            addRival(name, nameOf(stored.model.form), all, predictionsOf(stored.model), cross_.has_value());
        }
        for (const auto& [name, values] : options_.baselines) {
            addBaseline(name, values);
        }
    }

    std::vector<double> predictionsOf(const ScoreModel& model) const {
        std::vector<double> predictions;
        for (std::size_t i = 0; i < fit_.rows.size(); ++i) {
            std::vector<double> values;
            for (const std::string& feature : model.features) {
                const auto place = std::find(rows_.features.begin(), rows_.features.end(), feature);
                if (place == rows_.features.end()) {
                    throw FitProblem("a model of --against needs '" + feature + "', which the results do not record");
                }
                values.push_back(rows_.columns[static_cast<std::size_t>(place - rows_.features.begin())][i]);
            }
            predictions.push_back(predictScore(model, values).score);
        }
        return predictions;
    }

    void remark() {
        const ScoreModel& model = fit_.stored.model;
        if (!fit_.leftOutFeatures.empty()) {
            std::string names;
            for (const std::string& name : fit_.leftOutFeatures) {
                names += (names.empty() ? "" : ", ") + name;
            }
            fit_.remarks.push_back(names + (fit_.leftOutFeatures.size() == 1 ? " is" : " are") +
                                   " not used: constant, or a sum of the others");
        }
        if (!cross_) {
            fit_.remarks.push_back("there is no cross-validation: " + fit_.noValidation);
        }
        if (fit_.grouping.empty()) {
            fit_.remarks.push_back(
                "the contents are not known: each row counts as one of its own; --group names their "
                "column");
        }
        if (!model.parameters.empty() && model.covariance.empty()) {
            fit_.remarks.push_back("the scores do not determine all parameters: they have no intervals");
        }
        const double agreement = agreementWithAlikeness(rows_);
        constexpr double clear = 0.3;
        if (scores_.direction == ScoreDirection::higherBetter ? agreement < -clear : agreement > clear) {
            fit_.remarks.push_back(
                fmt::format("pairs that are more alike have {} scores here (rank correlation {:.2f}), and {} was "
                            "given: look whether "
                            "the direction is right",
                            agreement > 0 ? "higher" : "lower", agreement, nameOf(scores_.direction)));
        }
        const double pearson = fit_.performance.pearson.value;
        if (std::isnan(pearson)) {
            fit_.remarks.push_back(
                "all predictions are the same: the features say nothing of the scores in the "
                "direction that was given");
        }
    }

    const RecordedPairs& pairs_;
    const OpinionScores& scores_;
    const JoinedScores& joined_;
    const ScoreFitOptions& options_;
    ScoredRows rows_;
    std::optional<CrossValidation> cross_;
    ScoreFit fit_;
};

}  // namespace

ScoreFit fitOpinionScores(const RecordedPairs& pairs, const OpinionScores& scores, const JoinedScores& joined,
                          const ScoreFitOptions& options) {
    return Fitting(pairs, scores, joined, options).run();
}

}  // namespace likeness
