// The mapping of ITU-T P.1401 and the figures after it.
#include <likeness/fit/agreement.hpp>

#include "fit/linear_fit.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

namespace likeness {
namespace {

/// Coefficients of a polynomial in t, which is 0 at the least x and 1 at the greatest.
using Cubic = std::array<double, 4>;

struct Candidate {
    Cubic cubic{};
    double squares = std::numeric_limits<double>::infinity();
};

/// All increasing cubics on 0..1 have a derivative b + 2 c t + 3 d t^2 that is at least 0 there. The best of them is the
/// best of all where that one increases; else its derivative touches 0: at an end, or at r within.
class IncreasingCubics {
public:
    IncreasingCubics(const Eigen::VectorXd& t, const Eigen::VectorXd& y) : t_(t), y_(y) {}

    Cubic best() const {
        Candidate best = through(powers());
        if (increases(best.cubic)) {
            return best.cubic;
        }
        best = {};
        best.cubic = {y_.mean(), 0, 0, 0};
        best.squares = (y_.array() - y_.mean()).square().sum();
        const auto consider = [&](const Candidate& candidate) {
            if (candidate.squares < best.squares && increases(candidate.cubic)) {
                best = candidate;
            }
        };
        consider(through({{0, 0, 1, 0}, {0, 0, 0, 1}}));    // derivative 0 at 0
        consider(through({{0, 2, -1, 0}, {0, 3, 0, -1}}));  // at 1
        consider(through({{0, 0, 1.5, -1}}));               // t (1 - t): at both
        // Within, the derivative is (t - r)^2 up to a factor.
        constexpr int steps = 512;
        const auto touching = [&](double r) { return through({{0, r * r, -r, 1.0 / 3}}); };
        int nearest = 0;
        double least = std::numeric_limits<double>::infinity();
        for (int k = 0; k <= steps; ++k) {
            const Candidate candidate = touching(static_cast<double>(k) / steps);
            consider(candidate);
            if (candidate.squares < least && increases(candidate.cubic)) {
                least = candidate.squares;
                nearest = k;
            }
        }
        double low = std::max(nearest - 1, 0) / static_cast<double>(steps);
        double high = std::min(nearest + 1, steps) / static_cast<double>(steps);
        for (int k = 0; k < 100; ++k) {
            const double one = low + (high - low) / 3;
            const double other = high - (high - low) / 3;
            (touching(one).squares < touching(other).squares ? high : low) =
                touching(one).squares < touching(other).squares ? other : one;
        }
        consider(touching((low + high) / 2));
        return best.cubic;
    }

private:
    static std::vector<Cubic> powers() { return {{0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}; }

    /// The best sum of a constant and multiples of `terms`.
    Candidate through(const std::vector<Cubic>& terms) const {
        Eigen::MatrixXd columns(t_.size(), static_cast<Eigen::Index>(terms.size()) + 1);
        columns.col(0).setOnes();
        for (std::size_t k = 0; k < terms.size(); ++k) {
            const Cubic& c = terms[k];
            columns.col(static_cast<Eigen::Index>(k) + 1) =
                t_.array() * (c[1] + t_.array() * (c[2] + t_.array() * c[3]));
        }
        const LinearFit fit = linearFit(columns, y_);
        Candidate candidate;
        candidate.squares = fit.squares;
        candidate.cubic[0] = fit.parameters[0];
        for (std::size_t k = 0; k < terms.size(); ++k) {
            for (std::size_t power = 1; power < 4; ++power) {
                candidate.cubic[power] += fit.parameters[static_cast<Eigen::Index>(k) + 1] * terms[k][power];
            }
        }
        return candidate;
    }

    /// With room for the rounding of a derivative that touches 0.
    static bool increases(const Cubic& cubic) {
        const auto derivative = [&](double t) { return cubic[1] + t * (2 * cubic[2] + t * 3 * cubic[3]); };
        const double room = -1e-9 * (std::abs(cubic[1]) + std::abs(cubic[2]) + std::abs(cubic[3]));
        const double turn = cubic[3] != 0 ? std::clamp(-cubic[2] / (3 * cubic[3]), 0.0, 1.0) : 0.0;
        return derivative(0) >= room && derivative(1) >= room && derivative(turn) >= room;
    }

    const Eigen::VectorXd& t_;
    const Eigen::VectorXd& y_;
};

}  // namespace

double CubicMapping::operator()(double x) const noexcept {
    const double held = std::clamp(x, low, high);
    return coefficients[0] + held * (coefficients[1] + held * (coefficients[2] + held * coefficients[3]));
}

CubicMapping monotoneCubic(const std::vector<double>& x, const std::vector<double>& y) {
    const auto isFinite = [](double value) { return std::isfinite(value); };
    if (x.size() != y.size() || x.empty() || !std::all_of(x.begin(), x.end(), isFinite) ||
        !std::all_of(y.begin(), y.end(), isFinite)) {
        throw std::invalid_argument("monotoneCubic: as many x as y are wanted, at least one, all finite");
    }
    CubicMapping mapping;
    const auto [least, greatest] = std::minmax_element(x.begin(), x.end());
    mapping.low = *least;
    mapping.high = *greatest;
    const double span = mapping.high - mapping.low;
    const Eigen::VectorXd values = vectorOf(y);
    if (!(span > 0)) {
        mapping.coefficients[0] = values.mean();
        return mapping;
    }
    const Eigen::VectorXd t = (vectorOf(x).array() - mapping.low) / span;
    const Cubic cubic = IncreasingCubics(t, values).best();
    // p(t) with t = (x - low) / span, in powers of x.
    const double a = 1 / span;
    const double b = -mapping.low / span;
    mapping.coefficients[0] = cubic[0] + b * (cubic[1] + b * (cubic[2] + b * cubic[3]));
    mapping.coefficients[1] = a * (cubic[1] + b * (2 * cubic[2] + 3 * b * cubic[3]));
    mapping.coefficients[2] = a * a * (cubic[2] + 3 * b * cubic[3]);
    mapping.coefficients[3] = a * a * a * cubic[3];
    return mapping;
}

MappedAgreement mappedAgreement(const std::vector<double>& scores, const std::vector<double>& predicted,
                                const std::vector<double>& intervals) {
    if (!intervals.empty() && intervals.size() != scores.size()) {
        throw std::invalid_argument("intervals: one a row is wanted");
    }
    MappedAgreement agreement;
    agreement.mapping = monotoneCubic(predicted, scores);
    std::vector<double> mapped;
    mapped.reserve(predicted.size());
    for (const double value : predicted) {
        mapped.push_back(agreement.mapping(value));
    }
    agreement.pearson = pearsonCorrelation(scores, mapped);
    constexpr double parameters = 4;
    const double degrees = static_cast<double>(scores.size()) - parameters;
    if (degrees > 0) {
        double squares = 0;
        double beyond = 0;
        for (std::size_t i = 0; i < scores.size(); ++i) {
            const double error = std::abs(scores[i] - mapped[i]);
            squares += error * error;
            if (!intervals.empty()) {
                const double more = std::max(0.0, error - intervals[i]);
                beyond += more * more;
            }
        }
        agreement.rmse = std::sqrt(squares / degrees);
        if (!intervals.empty()) {
            agreement.rmseStar = std::sqrt(beyond / degrees);
        }
    }
    agreement.outlierRatio = outlierRatio(scores, mapped, intervals);
    return agreement;
}

}  // namespace likeness
