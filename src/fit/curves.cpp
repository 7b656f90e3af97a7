#include "fit/curves.hpp"

#include "fit/linear_fit.hpp"
#include "modules/least_squares.hpp"
#include "modules/module_loader.hpp"

#include <algorithm>
#include <cmath>

namespace likeness {
namespace {

/// 1 / (1 + e^-z), without overflow.
double logistic(double z) {
    if (z >= 0) {
        return 1 / (1 + std::exp(-z));
    }
    const double e = std::exp(z);
    return e / (1 + e);
}

struct Start {
    Eigen::VectorXd parameters;
    double squares = 0;
};

/// Keeps the best of many.
class Starts {
public:
    void add(Eigen::VectorXd parameters, double squares) {
        if (parameters.allFinite() && std::isfinite(squares)) {
            all_.push_back({std::move(parameters), squares});
        }
    }

    std::vector<Start> best(std::size_t count) {
        std::stable_sort(all_.begin(), all_.end(),
                         [](const Start& a, const Start& b) { return a.squares < b.squares; });
        all_.resize(std::min(count, all_.size()));
        return std::move(all_);
    }

private:
    std::vector<Start> all_;
};

/// Centre and width from a grid, the other parameters by linear least squares.
Starts logisticStarts(const Curve& curve, const Eigen::VectorXd& x, const Eigen::VectorXd& y) {
    Starts starts;
    std::vector<double> sorted(x.data(), x.data() + x.size());
    std::sort(sorted.begin(), sorted.end());
    const double span = sorted.back() - sorted.front();
    for (const double share : {0.05, 0.2, 0.35, 0.5, 0.65, 0.8, 0.95}) {
        const double center = sorted[static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1))];
        for (const double part : {0.02, 0.05, 0.1, 0.2, 0.5, 1.5}) {
            const double width = part * span;
            const Eigen::VectorXd s = ((x.array() - center) / width).unaryExpr([](double z) { return logistic(z); });
            if (curve.form == ScoreForm::logistic4) {
                Eigen::MatrixXd columns(x.size(), 2);
                columns << s, (1 - s.array()).matrix();
                const LinearFit fit = linearFit(columns, y);
                starts.add(Eigen::Vector4d(fit.parameters[0], fit.parameters[1], center, width), fit.squares);
            } else {
                Eigen::MatrixXd columns(x.size(), 3);
                columns << (s.array() - 0.5).matrix(), x, Eigen::VectorXd::Ones(x.size());
                const LinearFit fit = linearFit(columns, y);
                Eigen::VectorXd parameters(5);
                parameters << fit.parameters[0], 1 / width, center, fit.parameters[1], fit.parameters[2];
                starts.add(parameters, fit.squares);
            }
        }
    }
    return starts;
}

/// Offsets below and above all scores; the logarithm of what remains is linear in the exponents.
Starts productStarts(const Eigen::MatrixXd& x, const Eigen::VectorXd& y) {
    Starts starts;
    const double span = y.maxCoeff() - y.minCoeff();
    std::vector<double> offsets{0};
    for (const double part : {0.02, 0.1, 0.5, 2.0, 10.0}) {
        offsets.push_back(y.minCoeff() - part * span);
        offsets.push_back(y.maxCoeff() + part * span);
    }
    Eigen::MatrixXd columns(x.rows(), x.cols() + 1);
    columns << Eigen::VectorXd::Ones(x.rows()), x;
    for (const double offset : offsets) {
        const Eigen::VectorXd rest = y.array() - offset;
        const double sign = rest.maxCoeff() > 0 ? 1 : -1;
        if (!(sign * rest.minCoeff() > 0) || !(sign * rest.maxCoeff() > 0)) {
            continue;
        }
        const LinearFit fit = linearFit(columns, (sign * rest.array()).log());
        // Offset and scale once more, with the exponents as they are.
        const Eigen::VectorXd powers = (x * fit.parameters.tail(x.cols())).array().exp();
        Eigen::MatrixXd outer(x.rows(), 2);
        outer << Eigen::VectorXd::Ones(x.rows()), powers;
        const LinearFit again = linearFit(outer, y);
        Eigen::VectorXd parameters(x.cols() + 2);
        parameters << again.parameters, fit.parameters.tail(x.cols());
        starts.add(parameters, again.squares);
    }
    return starts;
}

struct Context {
    const Curve& curve;
    const Eigen::MatrixXd& rows;  ///< a column each
    const Eigen::VectorXd& y;
};

bool evaluate(const void* context, const double* parameters, double* residuals, double* jacobian) {
    const Context& its = *static_cast<const Context*>(context);
    const auto count = static_cast<Eigen::Index>(its.curve.names.size());
    const Eigen::VectorXd values = Eigen::Map<const Eigen::VectorXd>(parameters, count);
    Eigen::VectorXd slope(count);
    for (Eigen::Index i = 0; i < its.y.size(); ++i) {
        residuals[i] = its.curve.value(its.rows.col(i), values, jacobian == nullptr ? nullptr : &slope) - its.y[i];
        if (!std::isfinite(residuals[i])) {
            return false;
        }
        if (jacobian != nullptr) {
            if (!slope.allFinite()) {
                return false;
            }
            std::copy(slope.data(), slope.data() + count, jacobian + i * count);
        }
    }
    return true;
}

/// Of two sets of parameters that say the same, the one that is documented.
void makeCanonical(ScoreForm form, Eigen::VectorXd& parameters) {
    if (form == ScoreForm::logistic4 && parameters[3] < 0) {
        parameters[3] = -parameters[3];
    }
    if (form == ScoreForm::logistic5 && parameters[1] < 0) {
        parameters[0] = -parameters[0];
        parameters[1] = -parameters[1];
    }
}

}  // namespace

double Curve::value(const Eigen::Ref<const Eigen::VectorXd>& x, const Eigen::VectorXd& p,
                    Eigen::VectorXd* slope) const {
    if (form == ScoreForm::logistic4) {
        const double width = std::abs(p[3]);
        const double z = (x[0] - p[2]) / width;
        const double s = logistic(z);
        if (slope != nullptr) {
            const double rise = (p[0] - p[1]) * s * (1 - s);
            *slope << s, 1 - s, -rise / width, -rise * z / width * (p[3] < 0 ? -1 : 1);
        }
        return p[1] + (p[0] - p[1]) * s;
    }
    if (form == ScoreForm::logistic5) {
        const double s = logistic(p[1] * (x[0] - p[2]));  // 1 - 1 / (1 + e^z)
        if (slope != nullptr) {
            const double rise = p[0] * s * (1 - s);
            *slope << s - 0.5, rise * (x[0] - p[2]), -rise * p[1], x[0], 1;
        }
        return p[0] * (s - 0.5) + p[3] * x[0] + p[4];
    }
    if (form == ScoreForm::product) {
        const double power = std::exp(x.dot(p.tail(x.size())));
        if (slope != nullptr) {
            *slope << 1, power, p[1] * power * x;
        }
        return p[0] + p[1] * power;
    }
    if (slope != nullptr) {
        *slope << 1, x;
    }
    return p[0] + x.dot(p.tail(x.size()));
}

Curve curveOf(ScoreForm form, std::size_t features) {
    Curve curve;
    curve.form = form;
    if (form == ScoreForm::logistic4) {
        curve.names = {"b1", "b2", "b3", "b4"};
    } else if (form == ScoreForm::logistic5) {
        curve.names = {"b1", "b2", "b3", "b4", "b5"};
    } else {
        curve.names.resize(features + (form == ScoreForm::product ? 2 : 1));
    }
    return curve;
}

CurveFit fitCurve(const Curve& curve, const Eigen::MatrixXd& x, const Eigen::VectorXd& y) {
    const auto leastSquares = reinterpret_cast<LeastSquaresEntry>(moduleEntry("ceres", "likeness_least_squares"));
    Starts starts = curve.form == ScoreForm::product ? productStarts(x, y) : logisticStarts(curve, x.col(0), y);
    const Eigen::MatrixXd rows = x.transpose();
    const Context context{curve, rows, y};
    const LeastSquaresProblem problem{static_cast<int>(y.size()), static_cast<int>(curve.names.size()), evaluate,
                                      &context};
    CurveFit best;
    best.squares = std::numeric_limits<double>::infinity();
    Eigen::VectorXd residuals(y.size());
    constexpr std::size_t descents = 3;
    for (Start& start : starts.best(descents)) {
        leastSquares(problem, start.parameters.data());
        if (evaluate(&context, start.parameters.data(), residuals.data(), nullptr) &&
            residuals.squaredNorm() < best.squares) {
            best.squares = residuals.squaredNorm();
            best.parameters = start.parameters;
        }
    }
    if (!std::isfinite(best.squares)) {
        throw FitProblem("no parameters were found that fit; another --form may do");
    }
    makeCanonical(curve.form, best.parameters);
    using Rows = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
    Rows jacobian(y.size(), best.parameters.size());
    evaluate(&context, best.parameters.data(), residuals.data(), jacobian.data());
    best.jacobian = jacobian;
    return best;
}

}  // namespace likeness
