/// @file
/// 3 x 3 colour matrices and their application to every pixel of an image.
///
/// A colour matrix is 3 x 3 CV_32F; row k gives output component k. A colour triple is a 1 x 1 CV_32FC3 of which only
/// element (0, 0) is read, channel 0 first. Images are CV_32FC3. All arithmetic is in float, sums from the left.
/// Nothing is allocated or resized: the caller has created outputs of the right size and type. Another type, or less room
/// than is needed, raises std::invalid_argument before anything is changed.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// A 3 x 3 colour matrix as nine plain numbers, for inner loops.
class LIKENESS_API PixelMatrix {
public:
    /// @param matrix  3 x 3, CV_32F
    explicit PixelMatrix(const cv::Mat& matrix);

    /// Row k times the column vector (a, b, c).
    float row(int k, float a, float b, float c) const noexcept { return m_[k][0] * a + m_[k][1] * b + m_[k][2] * c; }

private:
    float m_[3][3];
};

/// Matrix product C = A B, accumulated in C's float elements in the order of A's rows; C must be neither A nor B.
/// The name is kept although it is not a dot product. The inner loop runs over A's row count: square matrices only.
LIKENESS_API void dotProduct(const cv::Mat& A, const cv::Mat& B, cv::Mat& C);

/// Row `row` of M times the triple; column 0 pairs with channel 0.
LIKENESS_API float product(const cv::Mat& triple, const cv::Mat& M, int row);

/// Applies M to an image in B, G, R order: the column vector is (channel 2, channel 1, channel 0) and row k's result
/// goes to channel k. `dst` may be `src`.
LIKENESS_API void multiplyImageByMatrixForward(const cv::Mat& src, cv::Mat& dst, cv::Mat& M);

/// Applies M to an image in the order of the matrix: the column vector is (channel 0, channel 1, channel 2) and row k's
/// result goes to channel 2 - k, so that the output is in B, G, R order. Not clamped. `dst` may be `src`.
LIKENESS_API void multiplyImageByMatrixBackward(const cv::Mat& src, cv::Mat& dst, cv::Mat& M);

/// Applies M to the first `rows` x `cols` pixels of an image, in the order of the matrix on both sides: the column
/// vector is (channel 0, channel 1, channel 2) and row k's result goes to channel k. The rest of `dst` is left as it
/// is. `dst` may be `src`.
LIKENESS_API void conversion(const cv::Mat& src, cv::Mat& dst, const cv::Mat& M, int rows, int cols);

}  // namespace likeness
