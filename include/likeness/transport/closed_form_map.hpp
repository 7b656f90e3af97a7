/// @file
/// The linear map that carries one Gaussian distribution of colours onto another with the least squared displacement
/// (Olkin and Pukelsheim, "The distance between two random vectors with given dispersion matrices", Linear Algebra and
/// its Applications 48, 1982; for colour: Pitie and Kokaram, "The linear Monge-Kantorovitch linear colour mapping for
/// example-based colour transfer", CVMP 2007).
///
/// Matrices are n x n CV_32F, n being 2 (chroma) or 3 (all channels); the caller has allocated the outputs. Symmetric
/// matrices are evaluated in double on the stack, without allocation, and rounded to float once: more exact than a float
/// evaluation, which a singular covariance leaves three digits or fewer. Other n raise a cv::Exception,
/// matrices of another type or smaller than n x n std::invalid_argument.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Matrix product C = A B of square matrices of equal size, accumulated in C's float elements in the order of k. C must
/// be neither A nor B. The name is kept although it is not a dot product.
LIKENESS_API void dot(const cv::Mat& A, const cv::Mat& B, cv::Mat& C);

/// Principal square root R of a symmetric matrix A, of which the lower triangle is read. A negative eigenvalue, as the
/// rounding of a nearly singular covariance gives it, counts as 0. NaN or infinity in A makes all of R NaN. R may be A.
LIKENESS_API void matrixSquareRoot(const cv::Mat& A, cv::Mat& R, int n);

/// Transport map T = S^(-1/2) (S^(1/2) targetCov S^(1/2))^(1/2) S^(-1/2), S being `sourceCov` with each variance below
/// 7.5 (squared units of the colour values) raised to 7.5. x -> T x turns the covariance S into `targetCov`. T is
/// symmetric; it may be one of the inputs.
///
/// The floor leaves the covariances between channels as they are. Where they are larger than the variances allow, or
/// the channels depend on each other, S is singular or indefinite: a direction whose variance is 0 or negative is
/// mapped to 0, while one of tiny positive variance is stretched by the inverse of its tiny standard deviation. Such a
/// map can be huge and decided by rounding; it is kept as it is.
///
/// @param sourceCov  lower triangle read
/// @param targetCov  negative eigenvalues that it leaves in the middle product count as 0
/// @param T          NaN throughout where an element of either covariance is NaN or infinite
/// @note  Where the evaluation in single precision is itself well-conditioned, it agrees to a relative 1e-4 of the
///        largest element.
LIKENESS_API void closedFormMatrix(const cv::Mat& sourceCov, const cv::Mat& targetCov, cv::Mat& T, int n);

}  // namespace likeness
