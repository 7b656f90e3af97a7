/// @file
/// Models that predict opinion scores from the coefficients and distances of comparisons.
#pragma once

#include <likeness/export.hpp>
#include <likeness/fit/agreement.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace likeness {

/// How a score follows from the features x[k], or from their mean x.
enum class ScoreForm {
    linear,     ///< intercept + sum of weight[k] x[k], least squares
    monotone,   ///< any function of x that only rises, or only falls: isotonic regression
    logistic4,  ///< b2 + (b1 - b2) / (1 + e^(-(x - b3) / b4)), b4 > 0: b1 where x is great, b2 where it is small
    logistic5,  ///< b1 (1/2 - 1 / (1 + e^(b2 (x - b3)))) + b4 x + b5, b2 > 0; it need not be monotone
    product,    ///< offset + scale times the product of x[k]^exponent[k], x[k] at least `leastFactor`
    ridge,      ///< as linear, with a penalty on the weights of the standardised features
};

/// "linear", "monotone", ...
LIKENESS_API const char* nameOf(ScoreForm form);
/// @return  nothing where no form has the name
LIKENESS_API std::optional<ScoreForm> scoreFormOf(const std::string& name);
/// Whether a form takes the mean of its features, and not each for itself.
LIKENESS_API bool takesMean(ScoreForm form) noexcept;

/// A feature of 0 has no logarithm: a product takes smaller ones as this.
inline constexpr double leastFactor = 1e-6;

/// Why rows cannot be fitted; one line.
class FitProblem : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What is known of the scored pairs; a row each.
struct ScoredRows {
    std::vector<std::string> features;         ///< names
    std::vector<std::vector<double>> columns;  ///< the values of each feature
    std::vector<double> scores;                ///< what people said
    std::vector<std::size_t> groups{};  ///< number of each row's content, from 0; empty: each row has one of its own
};

/// How scores are fitted.
struct FitOptions {
    ScoreForm form = ScoreForm::linear;  ///< of the model
    bool rising = true;                  ///< of `monotone`: the score rises with x
    std::optional<double> penalty;       ///< of `ridge`, at least 0; nothing: the best in cross-validation
    int folds = 10;                      ///< of the cross-validation, at least 2; at most as many as there are groups
    std::uint64_t seed = 1;              ///< of the folds
    double confidence = 0.95;            ///< of all intervals
};

/// A parameter with its confidence interval, from the curvature at the least squares; it takes the rows' errors for
/// independent and of one variance. A ridge's is of the shrunken value.
struct ScoreParameter {
    std::string name;   ///< as the forms name it
    Estimate estimate;  ///< its value, with the interval
};

/// Values that a feature has.
struct FeatureRange {
    double low = 0;   ///< the least
    double high = 0;  ///< the greatest
};

/// A fitted model. A plain value: it may be stored and put together again from its members.
struct ScoreModel {
    ScoreForm form = ScoreForm::linear;      ///< of the model
    std::vector<std::string> features;       ///< names of what it takes
    std::vector<FeatureRange> ranges;        ///< of the features in the rows that it was fitted to
    std::vector<ScoreParameter> parameters;  ///< in the order of the form
    std::vector<double> covariance;          ///< of the parameters, row by row; empty: not known
    std::vector<double> knotsX;              ///< of `monotone`: points with straight lines between, ascending
    std::vector<double> knotsY;              ///< the scores there
    double penalty = 0;                      ///< of `ridge`
    double residualDeviation = 0;            ///< standard deviation of the scores around the model
    double degreesOfFreedom = 0;             ///< that it was estimated with
    double confidence = 0.95;                ///< of all intervals
};

/// Fits a model.
/// @param leftOut  gets the names of features that are constant or follow from those before them, and are not used
/// @throws FitProblem             too few rows, constant scores or features, values that are not finite
/// @throws std::invalid_argument  options beyond their ranges, columns of other lengths
/// @throws std::runtime_error     logistic4, logistic5, product: the module `ceres` cannot be loaded
LIKENESS_API ScoreModel fitScores(const ScoredRows& rows, const FitOptions& options,
                                  std::vector<std::string>* leftOut = nullptr);

/// A predicted score.
struct ScorePrediction {
    double score = 0;      ///< what the model gives
    double low = 0;        ///< the interval in which a single score is expected
    double high = 0;       ///< its upper end
    bool outside = false;  ///< whether a feature is beyond the range that the model was fitted to
};

/// The score that a model gives.
/// @param values  of `model.features`, in their order
/// @throws std::invalid_argument  another number of values
LIKENESS_API ScorePrediction predictScore(const ScoreModel& model, const std::vector<double>& values);

/// What models predict for rows that they have not seen.
struct CrossValidation {
    std::vector<double> predicted;   ///< of each row, by the model of the other folds
    std::vector<std::size_t> folds;  ///< of each row, from 0
    std::size_t count = 0;           ///< of the folds
};

/// All rows of a group are in one fold; the folds follow from the seed and are of nearly equal numbers of rows.
/// @throws FitProblem  fewer than two groups, or what is left of a fold cannot be fitted
LIKENESS_API CrossValidation crossValidate(const ScoredRows& rows, const FitOptions& options);

}  // namespace likeness
