// Linear least squares.
#pragma once

#include <Eigen/Dense>

#include <vector>

namespace likeness {

inline Eigen::VectorXd vectorOf(const std::vector<double>& values) {
    return Eigen::Map<const Eigen::VectorXd>(values.data(), static_cast<Eigen::Index>(values.size()));
}

struct LinearFit {
    Eigen::VectorXd parameters;
    double squares = 0;  ///< sum of the squared residuals
};

/// By the QR decomposition with pivoting: columns that say nothing new get 0.
inline LinearFit linearFit(const Eigen::MatrixXd& columns, const Eigen::VectorXd& values) {
    LinearFit fit;
    fit.parameters = columns.colPivHouseholderQr().solve(values);
    fit.squares = (values - columns * fit.parameters).squaredNorm();
    return fit;
}

}  // namespace likeness
