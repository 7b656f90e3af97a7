/// @file
/// Entry of the module `ceres`.
#pragma once

namespace likeness {

/// Nonlinear least squares: the parameters for which the sum of the squared residuals is least.
struct LeastSquaresProblem {
    int residuals;
    int parameters;
    /// @param jacobian  rows of residuals, columns of parameters; null where it is not wanted
    /// @return          false where there are no residuals for these parameters
    bool (*evaluate)(const void* context, const double* parameters, double* residuals, double* jacobian);
    const void* context;
};

/// `likeness_least_squares`: goes downhill from `parameters`, which get the least found.
/// @return  whether it came to rest
using LeastSquaresEntry = bool (*)(const LeastSquaresProblem& problem, double* parameters);

}  // namespace likeness
