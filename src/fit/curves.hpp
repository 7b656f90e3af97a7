// The forms of score models that are functions of parameters, and how the nonlinear ones are fitted.
#pragma once

#include <likeness/fit/score_model.hpp>

#include <Eigen/Dense>

#include <functional>
#include <string>
#include <vector>

namespace likeness {

struct Curve {
    ScoreForm form = ScoreForm::linear;
    std::vector<std::string> names;  ///< of the parameters; of the features where each has its own

    /// @param x      a row: the features, their logarithms (product), or their mean (logistic)
    /// @param slope  gets the derivatives by the parameters; may be null
    double value(const Eigen::Ref<const Eigen::VectorXd>& x, const Eigen::VectorXd& parameters,
                 Eigen::VectorXd* slope) const;
};

Curve curveOf(ScoreForm form, std::size_t features);

struct CurveFit {
    Eigen::VectorXd parameters;
    Eigen::MatrixXd jacobian;  ///< rows of x, columns of parameters
    double squares = 0;        ///< sum of the squared residuals
};

/// Of a logistic form or a product, by Ceres Solver (module `ceres`), from several starts.
/// @param x  a row for each value
/// @throws FitProblem          if no start leads anywhere
/// @throws std::runtime_error  if the module cannot be loaded
CurveFit fitCurve(const Curve& curve, const Eigen::MatrixXd& x, const Eigen::VectorXd& y);

}  // namespace likeness
