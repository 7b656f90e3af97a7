// Isotonic regression.
#pragma once

#include <cstddef>
#include <vector>

namespace likeness {

struct MonotoneFit {
    std::vector<double> x;   ///< ends of the levels, ascending
    std::vector<double> y;   ///< only rising, or only falling
    std::size_t levels = 0;  ///< different values
    double squares = 0;      ///< sum of the squared residuals
};

/// The monotone function of the least squared error at the given points, by pooling adjacent violators.
/// @see Ayer and others, "An empirical distribution function for sampling with incomplete information", Annals of
///      Mathematical Statistics 26, 1955
MonotoneFit monotoneFit(const std::vector<double>& x, const std::vector<double>& y, bool rising);

/// Straight lines between the points; the first and the last value beyond them.
double monotoneValue(const std::vector<double>& knotsX, const std::vector<double>& knotsY, double x);

}  // namespace likeness
