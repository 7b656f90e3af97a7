// Covariance matrices made for the tests of colour transfer.
#pragma once

#include <opencv2/core.hpp>

#include <vector>

namespace likeness::testing {

/// A symmetric n x n CV_32F matrix with the given eigenvalues and eigenvectors in random directions.
inline cv::Mat symmetricWith(const std::vector<double>& eigenvalues, cv::RNG& random) {
    const int n = static_cast<int>(eigenvalues.size());
    cv::Mat directions(n, n, CV_64F);
    random.fill(directions, cv::RNG::NORMAL, 0, 1);
    cv::Mat vectors;
    cv::Mat values;
    cv::eigen(directions + directions.t(), values, vectors);
    const cv::Mat matrix = vectors.t() * cv::Mat::diag(cv::Mat(eigenvalues)) * vectors;
    cv::Mat result;
    cv::Mat(matrix + matrix.t()).convertTo(result, CV_32F, 0.5);
    return result;
}

/// A covariance with standard deviations between `least` and `most`.
inline cv::Mat randomCovariance(int n, double least, double most, cv::RNG& random) {
    std::vector<double> eigenvalues;
    for (int i = 0; i < n; ++i) {
        const double deviation = random.uniform(least, most);
        eigenvalues.push_back(deviation * deviation);
    }
    return symmetricWith(eigenvalues, random);
}

/// Largest difference of two matrices as a fraction of the largest element of `expected`.
inline double relativeDifference(const cv::Mat& actual, const cv::Mat& expected) {
    cv::Mat a;
    cv::Mat e;
    actual.convertTo(a, CV_64F);
    expected.convertTo(e, CV_64F);
    const double scale = cv::norm(e, cv::NORM_INF);
    const double difference = cv::norm(a, e, cv::NORM_INF);
    return scale == 0 ? difference : difference / scale;
}

}  // namespace likeness::testing
