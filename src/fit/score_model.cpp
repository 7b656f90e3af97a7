#include <likeness/fit/score_model.hpp>

#include "fit/curves.hpp"
#include "fit/linear_fit.hpp"
#include "fit/monotone_fit.hpp"
#include "fit/student_t.hpp"

#include <algorithm>
#include <array>
#include <numeric>
#include <random>
#include <utility>

namespace likeness {
namespace {

constexpr std::array<std::pair<ScoreForm, const char*>, 6> forms = {{{ScoreForm::linear, "linear"},
                                                                     {ScoreForm::monotone, "monotone"},
                                                                     {ScoreForm::logistic4, "logistic4"},
                                                                     {ScoreForm::logistic5, "logistic5"},
                                                                     {ScoreForm::product, "product"},
                                                                     {ScoreForm::ridge, "ridge"}}};

Eigen::Index index(std::size_t k) {
    return static_cast<Eigen::Index>(k);
}

void check(const ScoredRows& rows, const FitOptions& options) {
    if (rows.columns.size() != rows.features.size()) {
        throw std::invalid_argument("columns: one a feature is wanted");
    }
    for (const std::vector<double>& column : rows.columns) {
        if (column.size() != rows.scores.size()) {
            throw std::invalid_argument("columns: a value for each score is wanted");
        }
    }
    if (!rows.groups.empty() && rows.groups.size() != rows.scores.size()) {
        throw std::invalid_argument("groups: one for each score is wanted");
    }
    if (options.folds < 2) {
        throw std::invalid_argument("folds: at least 2 are wanted, not " + std::to_string(options.folds));
    }
    if (!(options.confidence > 0 && options.confidence < 1)) {
        throw std::invalid_argument("confidence: a number between 0 and 1 is wanted");
    }
    if (options.penalty && !(*options.penalty >= 0 && std::isfinite(*options.penalty))) {
        throw std::invalid_argument("penalty: a finite number from 0 is wanted");
    }
    if (rows.features.empty()) {
        throw FitProblem("there is no feature to predict from");
    }
    const auto finite = [](const std::vector<double>& values) {
        return std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); });
    };
    if (!finite(rows.scores)) {
        throw FitProblem("a score is not a finite number");
    }
    for (std::size_t k = 0; k < rows.columns.size(); ++k) {
        if (!finite(rows.columns[k])) {
            throw FitProblem("a value of '" + rows.features[k] + "' is not a finite number");
        }
    }
    if (rows.scores.empty()) {
        throw FitProblem("there are no rows to fit to");
    }
    if (std::all_of(rows.scores.begin(), rows.scores.end(), [&](double s) { return s == rows.scores.front(); })) {
        throw FitProblem("all scores are the same: there is nothing to predict");
    }
}

void requireRows(const ScoredRows& rows, std::size_t parameters) {
    if (rows.scores.size() < parameters + 2) {
        throw FitProblem("too few rows: " + std::to_string(rows.scores.size()) + ", and " + std::to_string(parameters) +
                         " parameters want at least " + std::to_string(parameters + 2));
    }
}

std::vector<double> meanOf(const ScoredRows& rows) {
    std::vector<double> mean(rows.scores.size());
    for (std::size_t i = 0; i < mean.size(); ++i) {
        for (const std::vector<double>& column : rows.columns) {
            mean[i] += column[i];
        }
        mean[i] /= static_cast<double>(rows.columns.size());
    }
    return mean;
}

/// The values that a form combines: features, or their logarithms.
Eigen::MatrixXd regressors(const ScoredRows& rows, ScoreForm form) {
    Eigen::MatrixXd matrix(index(rows.scores.size()), index(rows.columns.size()));
    for (std::size_t k = 0; k < rows.columns.size(); ++k) {
        matrix.col(index(k)) = vectorOf(rows.columns[k]);
    }
    return form == ScoreForm::product ? matrix.array().max(leastFactor).log().matrix().eval() : matrix;
}

/// The rows with those features alone that say something beyond the ones before them. The coefficients are floats: what
/// follows from others does so to some six digits.
ScoredRows independent(const ScoredRows& rows, ScoreForm form, std::vector<std::string>* leftOut) {
    constexpr double rounding = 1e-6;
    const Eigen::MatrixXd all = regressors(rows, form);
    std::vector<Eigen::VectorXd> directions;
    ScoredRows kept;
    kept.scores = rows.scores;
    kept.groups = rows.groups;
    for (std::size_t k = 0; k < rows.features.size(); ++k) {
        const Eigen::VectorXd centered = all.col(index(k)).array() - all.col(index(k)).mean();
        Eigen::VectorXd rest = centered;
        for (int pass = 0; pass < 2; ++pass) {  // the second takes away what rounding left
            for (const Eigen::VectorXd& direction : directions) {
                rest -= direction.dot(rest) * direction;
            }
        }
        const double size = all.col(index(k)).cwiseAbs().maxCoeff() * std::sqrt(static_cast<double>(rest.size()));
        if (rest.norm() > rounding * centered.norm() && rest.norm() > rounding * rounding * size) {
            directions.push_back(rest.normalized());
            kept.features.push_back(rows.features[k]);
            kept.columns.push_back(rows.columns[k]);
        } else if (leftOut != nullptr) {
            leftOut->push_back(rows.features[k]);
        }
    }
    if (kept.features.empty()) {
        throw FitProblem("all features are constant: there is nothing to predict from");
    }
    return kept;
}

/// Fills what follows from residuals and curvature.
/// @param inverse  of the cross product of the Jacobian; times the residual variance it is the covariance
void describe(ScoreModel& model, std::vector<std::string> names, const Eigen::VectorXd& values,
              const Eigen::MatrixXd& inverse, double squares, double degreesOfFreedom) {
    model.degreesOfFreedom = degreesOfFreedom;
    model.residualDeviation = std::sqrt(squares / degreesOfFreedom);
    const double variance = squares / degreesOfFreedom;
    const double limit = studentLimit(model.confidence, degreesOfFreedom);
    const bool known = inverse.allFinite();
    for (std::size_t k = 0; k < names.size(); ++k) {
        const double value = values[index(k)];
        ScoreParameter parameter{std::move(names[k]), {value}};
        if (known) {
            const double half = limit * std::sqrt(std::max(0.0, variance * inverse(index(k), index(k))));
            parameter.estimate.low = value - half;
            parameter.estimate.high = value + half;
        }
        model.parameters.push_back(std::move(parameter));
    }
    if (known) {
        for (Eigen::Index i = 0; i < inverse.rows(); ++i) {
            for (Eigen::Index j = 0; j < inverse.cols(); ++j) {
                model.covariance.push_back(variance * inverse(i, j));
            }
        }
    }
}

/// Of J^T J, by the QR decomposition of J with columns of length 1; NaN where the columns depend on each other.
Eigen::MatrixXd inverseOfCrossProduct(const Eigen::MatrixXd& jacobian) {
    const Eigen::VectorXd lengths = jacobian.colwise().norm();
    const Eigen::Index count = jacobian.cols();
    Eigen::MatrixXd inverse = Eigen::MatrixXd::Constant(count, count, std::numeric_limits<double>::quiet_NaN());
    if (!(lengths.minCoeff() > 0) || !jacobian.allFinite()) {
        return inverse;
    }
    const Eigen::MatrixXd scaled = jacobian * lengths.cwiseInverse().asDiagonal();
    const Eigen::HouseholderQR<Eigen::MatrixXd> qr(scaled);
    const Eigen::MatrixXd r = qr.matrixQR().topRows(count).triangularView<Eigen::Upper>();
    if (r.diagonal().cwiseAbs().minCoeff() < 1e-12) {
        return inverse;
    }
    const Eigen::MatrixXd back = r.triangularView<Eigen::Upper>().solve(Eigen::MatrixXd::Identity(count, count));
    inverse = back * back.transpose();
    return lengths.cwiseInverse().asDiagonal() * inverse * lengths.cwiseInverse().asDiagonal();
}

Eigen::MatrixXd withOnes(const Eigen::MatrixXd& matrix) {
    Eigen::MatrixXd columns(matrix.rows(), matrix.cols() + 1);
    columns << Eigen::VectorXd::Ones(matrix.rows()), matrix;
    return columns;
}

std::vector<std::string> namesBehind(std::vector<std::string> names, const std::vector<std::string>& features) {
    names.insert(names.end(), features.begin(), features.end());
    return names;
}

void fitLinear(ScoreModel& model, const ScoredRows& rows) {
    requireRows(rows, rows.features.size() + 1);
    const Eigen::MatrixXd columns = withOnes(regressors(rows, ScoreForm::linear));
    const LinearFit fit = linearFit(columns, vectorOf(rows.scores));
    describe(model, namesBehind({"intercept"}, rows.features), fit.parameters, inverseOfCrossProduct(columns),
             fit.squares, static_cast<double>(columns.rows() - columns.cols()));
}

/// Ridge regression: features of mean 0 and variance 1, an intercept without penalty.
class Ridge {
public:
    explicit Ridge(const ScoredRows& rows) : x_(regressors(rows, ScoreForm::ridge)), y_(vectorOf(rows.scores)) {
        means_ = x_.colwise().mean();
        centered_ = x_.rowwise() - means_.transpose();
        deviations_ = (centered_.colwise().squaredNorm() / static_cast<double>(x_.rows())).cwiseSqrt();
        // A feature that is constant here has no weight.
        for (Eigen::Index k = 0; k < deviations_.size(); ++k) {
            const bool varies = deviations_[k] > 1e-12 * x_.col(k).cwiseAbs().maxCoeff();
            scales_.conservativeResize(k + 1);
            scales_[k] = varies ? 1 / deviations_[k] : 0.0;
        }
        standardised_ = centered_ * scales_.asDiagonal();
        cross_ = standardised_.transpose() * standardised_;
        meanScore_ = y_.mean();
        target_ = standardised_.transpose() * (y_.array() - meanScore_).matrix();
    }

    /// Intercept and weights of the features as they are.
    Eigen::VectorXd parameters(double penalty) const {
        const Eigen::VectorXd weights = scales_.asDiagonal() * solve(penalty, target_);
        Eigen::VectorXd all(weights.size() + 1);
        all << meanScore_ - means_.dot(weights), weights;
        return all;
    }

    double effectiveParameters(double penalty) const { return 1 + solve(penalty, cross_).trace(); }

    /// A B A^T: the parameters' covariance for errors of variance 1.
    Eigen::MatrixXd spread(double penalty) const {
        const Eigen::MatrixXd inner = solve(penalty, cross_);
        const Eigen::MatrixXd weights =
            scales_.asDiagonal() * solve(penalty, inner.transpose()).transpose() * scales_.asDiagonal();
        Eigen::MatrixXd all(weights.rows() + 1, weights.cols() + 1);
        const Eigen::VectorXd tilted = -(weights * means_);
        all(0, 0) = 1 / static_cast<double>(x_.rows()) + means_.dot(weights * means_);
        all.bottomLeftCorner(weights.rows(), 1) = tilted;
        all.topRightCorner(1, weights.cols()) = tilted.transpose();
        all.bottomRightCorner(weights.rows(), weights.cols()) = weights;
        return all;
    }

    double squares(const Eigen::VectorXd& parameters) const { return (y_ - withOnes(x_) * parameters).squaredNorm(); }

private:
    template <typename Right>
    Eigen::MatrixXd solve(double penalty, const Right& right) const {
        const Eigen::MatrixXd matrix = cross_ + penalty * Eigen::MatrixXd::Identity(cross_.rows(), cross_.cols());
        return matrix.completeOrthogonalDecomposition().solve(right);
    }

    Eigen::MatrixXd x_;
    Eigen::VectorXd y_;
    Eigen::VectorXd means_;
    Eigen::MatrixXd centered_;
    Eigen::VectorXd deviations_;
    Eigen::VectorXd scales_;
    Eigen::MatrixXd standardised_;
    Eigen::MatrixXd cross_;
    Eigen::VectorXd target_;
    double meanScore_ = 0;
};

std::vector<std::size_t> groupsOf(const ScoredRows& rows) {
    if (!rows.groups.empty()) {
        return rows.groups;
    }
    std::vector<std::size_t> groups(rows.scores.size());
    std::iota(groups.begin(), groups.end(), std::size_t{0});
    return groups;
}

/// Folds of whole groups: in an order that follows from the seed, the larger groups first, each into the fold that has
/// the fewest rows.
CrossValidation foldsOf(const ScoredRows& rows, int wanted, std::uint64_t seed) {
    const std::vector<std::size_t> groups = groupsOf(rows);
    std::vector<std::size_t> sizes(groups.empty() ? 0 : *std::max_element(groups.begin(), groups.end()) + 1);
    for (const std::size_t group : groups) {
        ++sizes[group];
    }
    std::vector<std::size_t> order;
    for (std::size_t group = 0; group < sizes.size(); ++group) {
        if (sizes[group] > 0) {
            order.push_back(group);
        }
    }
    if (order.size() < 2) {
        throw FitProblem("all rows are of one group: nothing is left to validate with");
    }
    std::mt19937_64 engine(seed);
    for (std::size_t k = order.size() - 1; k > 0; --k) {
        std::swap(order[k], order[engine() % (k + 1)]);
    }
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return sizes[a] > sizes[b]; });
    CrossValidation validation;
    validation.count = std::min(static_cast<std::size_t>(wanted), order.size());
    std::vector<std::size_t> rowsOf(validation.count);
    std::vector<std::size_t> foldOf(sizes.size());
    for (const std::size_t group : order) {
        const auto least = static_cast<std::size_t>(std::min_element(rowsOf.begin(), rowsOf.end()) - rowsOf.begin());
        foldOf[group] = least;
        rowsOf[least] += sizes[group];
    }
    for (const std::size_t group : groups) {
        validation.folds.push_back(foldOf[group]);
    }
    return validation;
}

/// The rows inside a fold, or those outside it.
ScoredRows partOf(const ScoredRows& rows, const CrossValidation& validation, std::size_t fold, bool inside) {
    ScoredRows part;
    part.features = rows.features;
    part.columns.resize(rows.columns.size());
    for (std::size_t i = 0; i < rows.scores.size(); ++i) {
        if ((validation.folds[i] == fold) != inside) {
            continue;
        }
        part.scores.push_back(rows.scores[i]);
        if (!rows.groups.empty()) {
            part.groups.push_back(rows.groups[i]);
        }
        for (std::size_t k = 0; k < rows.columns.size(); ++k) {
            part.columns[k].push_back(rows.columns[k][i]);
        }
    }
    return part;
}

/// The penalty under which rows that were left out are predicted best.
double bestPenalty(const ScoredRows& rows, const FitOptions& options) {
    const CrossValidation validation = foldsOf(rows, options.folds, options.seed);
    constexpr int steps = 33;  // four a decade, 1e-6 to 1e2 times the number of rows
    std::vector<double> squares(steps);
    const auto penalty = [&](int k) { return std::pow(10, k / 4.0 - 6) * static_cast<double>(rows.scores.size()); };
    for (std::size_t fold = 0; fold < validation.count; ++fold) {
        const Ridge ridge(partOf(rows, validation, fold, false));
        const Ridge left(partOf(rows, validation, fold, true));
        for (int k = 0; k < steps; ++k) {
            squares[static_cast<std::size_t>(k)] += left.squares(ridge.parameters(penalty(k)));
        }
    }
    return penalty(static_cast<int>(std::min_element(squares.begin(), squares.end()) - squares.begin()));
}

void fitRidge(ScoreModel& model, const ScoredRows& rows, const FitOptions& options) {
    if (rows.scores.size() < 4) {
        throw FitProblem("too few rows: " + std::to_string(rows.scores.size()) + ", at least 4 are wanted");
    }
    const Ridge ridge(rows);
    model.penalty = options.penalty ? *options.penalty : bestPenalty(rows, options);
    const Eigen::VectorXd parameters = ridge.parameters(model.penalty);
    const double degrees = static_cast<double>(rows.scores.size()) - ridge.effectiveParameters(model.penalty);
    if (degrees < 1) {
        throw FitProblem("too few rows: " + std::to_string(rows.scores.size()) + " for " +
                         std::to_string(rows.features.size() + 1) + " parameters and this penalty");
    }
    describe(model, namesBehind({"intercept"}, rows.features), parameters, ridge.spread(model.penalty),
             ridge.squares(parameters), degrees);
}

void fitMonotone(ScoreModel& model, const ScoredRows& rows, bool rising) {
    requireRows(rows, 2);
    const std::vector<double> x = meanOf(rows);
    if (std::all_of(x.begin(), x.end(), [&](double value) { return value == x.front(); })) {
        throw FitProblem("all features are constant: there is nothing to predict from");
    }
    const MonotoneFit fit = monotoneFit(x, rows.scores, rising);
    model.knotsX = fit.x;
    model.knotsY = fit.y;
    model.degreesOfFreedom = std::max(1.0, static_cast<double>(rows.scores.size() - fit.levels));
    model.residualDeviation = std::sqrt(fit.squares / model.degreesOfFreedom);
}

void fitCurve(ScoreModel& model, const ScoredRows& rows) {
    const Curve curve = curveOf(model.form, model.features.size());
    requireRows(rows, curve.names.size());
    Eigen::MatrixXd x = regressors(rows, model.form);
    if (takesMean(model.form)) {
        x = vectorOf(meanOf(rows));
        if (x.maxCoeff() == x.minCoeff()) {
            throw FitProblem("all features are constant: there is nothing to predict from");
        }
    }
    const CurveFit fit = fitCurve(curve, x, vectorOf(rows.scores));
    std::vector<std::string> names = curve.names;
    if (model.form == ScoreForm::product) {
        names = namesBehind({"offset", "scale"}, model.features);
    }
    describe(model, names, fit.parameters, inverseOfCrossProduct(fit.jacobian), fit.squares,
             static_cast<double>(x.rows() - fit.parameters.size()));
}

Eigen::VectorXd valuesOf(const ScoreModel& model) {
    Eigen::VectorXd values(index(model.parameters.size()));
    for (std::size_t k = 0; k < model.parameters.size(); ++k) {
        values[index(k)] = model.parameters[k].estimate.value;
    }
    return values;
}

}  // namespace

const char* nameOf(ScoreForm form) {
    for (const auto& [its, name] : forms) {
        if (its == form) {
            return name;
        }
    }
    return "";
}

std::optional<ScoreForm> scoreFormOf(const std::string& name) {
    for (const auto& [form, its] : forms) {
        if (name == its) {
            return form;
        }
    }
    return std::nullopt;
}

bool takesMean(ScoreForm form) noexcept {
    return form == ScoreForm::monotone || form == ScoreForm::logistic4 || form == ScoreForm::logistic5;
}

ScoreModel fitScores(const ScoredRows& rows, const FitOptions& options, std::vector<std::string>* leftOut) {
    check(rows, options);
    const bool selects = options.form == ScoreForm::linear || options.form == ScoreForm::product;
    const ScoredRows used = selects ? independent(rows, options.form, leftOut) : rows;
    ScoreModel model;
    model.form = options.form;
    model.features = used.features;
    model.confidence = options.confidence;
    for (const std::vector<double>& column : used.columns) {
        const auto [low, high] = std::minmax_element(column.begin(), column.end());
        model.ranges.push_back({*low, *high});
    }
    switch (options.form) {
        case ScoreForm::linear:
            fitLinear(model, used);
            break;
        case ScoreForm::ridge:
            independent(used, options.form, nullptr);  // refuses constants
            fitRidge(model, used, options);
            break;
        case ScoreForm::monotone:
            fitMonotone(model, used, options.rising);
            break;
        case ScoreForm::logistic4:
        case ScoreForm::logistic5:
        case ScoreForm::product:
            fitCurve(model, used);
            break;
    }
    return model;
}

ScorePrediction predictScore(const ScoreModel& model, const std::vector<double>& values) {
    if (values.size() != model.features.size() || model.ranges.size() != values.size() || values.empty()) {
        throw std::invalid_argument("values: one a feature is wanted, " + std::to_string(model.features.size()) +
                                    ", not " + std::to_string(values.size()));
    }
    ScorePrediction prediction;
    double sum = 0;
    for (std::size_t k = 0; k < values.size(); ++k) {
        sum += values[k];
        // Written so that NaN is outside.
        prediction.outside =
            prediction.outside || !(values[k] >= model.ranges[k].low && values[k] <= model.ranges[k].high);
    }
    double variance = model.residualDeviation * model.residualDeviation;
    if (model.form == ScoreForm::monotone) {
        prediction.score = monotoneValue(model.knotsX, model.knotsY, sum / static_cast<double>(values.size()));
    } else {
        Eigen::VectorXd x = vectorOf(values);
        if (takesMean(model.form)) {
            x = Eigen::VectorXd::Constant(1, sum / static_cast<double>(values.size()));
        } else if (model.form == ScoreForm::product) {
            x = x.array().max(leastFactor).log();
        }
        const Curve curve = curveOf(model.form, model.features.size());
        const Eigen::VectorXd parameters = valuesOf(model);
        Eigen::VectorXd slope(parameters.size());
        prediction.score = curve.value(x, parameters, &slope);
        if (!model.covariance.empty()) {
            using Rows = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
            const Eigen::Map<const Rows> covariance(model.covariance.data(), slope.size(), slope.size());
            variance += std::max(0.0, slope.dot(covariance * slope));
        }
    }
    const double half = studentLimit(model.confidence, model.degreesOfFreedom) * std::sqrt(variance);
    prediction.low = prediction.score - half;
    prediction.high = prediction.score + half;
    return prediction;
}

CrossValidation crossValidate(const ScoredRows& rows, const FitOptions& options) {
    check(rows, options);
    CrossValidation validation = foldsOf(rows, options.folds, options.seed);
    validation.predicted.resize(rows.scores.size());
    for (std::size_t fold = 0; fold < validation.count; ++fold) {
        const ScoreModel model = fitScores(partOf(rows, validation, fold, false), options);
        for (std::size_t i = 0; i < rows.scores.size(); ++i) {
            if (validation.folds[i] != fold) {
                continue;
            }
            std::vector<double> values;
            for (const std::string& feature : model.features) {
                const auto place = std::find(rows.features.begin(), rows.features.end(), feature);
                values.push_back(rows.columns[static_cast<std::size_t>(place - rows.features.begin())][i]);
            }
            validation.predicted[i] = predictScore(model, values).score;
        }
    }
    return validation;
}

}  // namespace likeness
