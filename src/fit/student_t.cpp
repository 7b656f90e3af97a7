#include "fit/student_t.hpp"

#include <cmath>
#include <limits>

namespace likeness {
namespace {

/// Continued fraction of the incomplete beta function, DLMF 8.17.22, by Lentz's method.
double betaFraction(double a, double b, double x) {
    constexpr double tiny = 1e-300;
    constexpr int mostTerms = 10000;
    double c = 1;
    double d = 1 - (a + b) * x / (a + 1);
    d = 1 / (std::abs(d) < tiny ? tiny : d);
    double fraction = d;
    const auto take = [&](double term) {
        d = 1 + term * d;
        d = 1 / (std::abs(d) < tiny ? tiny : d);
        c = 1 + term / c;
        c = std::abs(c) < tiny ? tiny : c;
        fraction *= d * c;
        return d * c;
    };
    for (int m = 1; m < mostTerms; ++m) {
        take(m * (b - m) * x / ((a + 2 * m - 1) * (a + 2 * m)));
        const double step = take(-(a + m) * (a + b + m) * x / ((a + 2 * m) * (a + 2 * m + 1)));
        if (std::abs(step - 1) < 1e-15) {
            break;
        }
    }
    return fraction;
}

/// Regularised incomplete beta function.
double incompleteBeta(double a, double b, double x) {
    if (x <= 0 || x >= 1) {
        return x <= 0 ? 0 : 1;
    }
    const double front =
        std::exp(std::lgamma(a + b) - std::lgamma(a) - std::lgamma(b) + a * std::log(x) + b * std::log1p(-x));
    return x < (a + 1) / (a + b + 2) ? front * betaFraction(a, b, x) / a : 1 - front * betaFraction(b, a, 1 - x) / b;
}

}  // namespace

double studentTwoSided(double t, double degreesOfFreedom) {
    if (std::isnan(t) || !(degreesOfFreedom > 0)) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    if (std::isinf(t)) {
        return 0;
    }
    return incompleteBeta(degreesOfFreedom / 2, 0.5, degreesOfFreedom / (degreesOfFreedom + t * t));
}

double studentLimit(double confidence, double degreesOfFreedom) {
    if (!(degreesOfFreedom > 0) || !(confidence > 0) || !(confidence < 1)) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    double low = 0;
    double high = 1;
    while (studentTwoSided(high, degreesOfFreedom) > 1 - confidence) {
        low = high;
        high *= 2;
    }
    // As far as doubles are apart.
    for (double middle = (low + high) / 2; middle > low && middle < high; middle = (low + high) / 2) {
        (studentTwoSided(middle, degreesOfFreedom) > 1 - confidence ? low : high) = middle;
    }
    return high;
}

}  // namespace likeness
