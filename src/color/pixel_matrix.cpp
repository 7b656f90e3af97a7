#include <likeness/color/pixel_matrix.hpp>

#include "numerics/argument_check.hpp"
#include "numerics/parallel.hpp"

#include <algorithm>

namespace likeness {
namespace {

/// How a pixel's channels stand to the rows and columns of a matrix.
enum class Order { ofTheMatrix, reversed };

/// Applies M to every pixel of a walk. Each pixel is read whole before it is written.
template <Order in, Order out>
void applyMatrix(const cv::Mat& src, cv::Mat& dst, const cv::Mat& M, ImageWalk walk) {
    const PixelMatrix matrix(M);
    const auto channel = [](Order order, int k) { return order == Order::reversed ? 2 - k : k; };
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        const float* from = src.ptr<float>(i) + 3 * first;
        float* to = dst.ptr<float>(i) + 3 * first;
        for (std::size_t j = 0; j < count; ++j, from += 3, to += 3) {
            const float a = from[channel(in, 0)];
            const float b = from[channel(in, 1)];
            const float c = from[channel(in, 2)];
            to[channel(out, 0)] = matrix.row(0, a, b, c);
            to[channel(out, 1)] = matrix.row(1, a, b, c);
            to[channel(out, 2)] = matrix.row(2, a, b, c);
        }
    });
}

}  // namespace

PixelMatrix::PixelMatrix(const cv::Mat& matrix) {
    requireMatrix("PixelMatrix", 3, 3, {{"matrix", matrix}});
    for (int k = 0; k < 3; ++k) {
        std::copy_n(matrix.ptr<float>(k), 3, m_[k]);
    }
}

void dotProduct(const cv::Mat& A, const cv::Mat& B, cv::Mat& C) {
    requireMatrix("dotProduct", A.rows, std::max(A.rows, A.cols), {{"A", A}});
    requireMatrix("dotProduct", A.rows, A.cols, {{"B", B}, {"C", C}});
    for (int i = 0; i < A.rows; ++i) {
        for (int j = 0; j < A.cols; ++j) {
            float& sum = C.at<float>(i, j);
            sum = 0;
            for (int k = 0; k < A.rows; ++k) {
                sum += A.at<float>(i, k) * B.at<float>(k, j);
            }
        }
    }
}

float product(const cv::Mat& triple, const cv::Mat& M, int row) {
    requireElement("product", CV_32FC3, {{"triple", triple}});
    requireIndex("product", "row", row);
    requireMatrix("product", row + 1, 3, {{"M", M}});
    const auto& t = triple.at<cv::Vec3f>(0, 0);
    const float* const m = M.ptr<float>(row);
    return t[0] * m[0] + t[1] * m[1] + t[2] * m[2];
}

void multiplyImageByMatrixForward(const cv::Mat& src, cv::Mat& dst, cv::Mat& M) {
    requireType("multiplyImageByMatrixForward", CV_32FC3, {{"src", src}});
    requireRoom("multiplyImageByMatrixForward", src.size(), CV_32FC3, {{"dst", dst}});
    requireMatrix("multiplyImageByMatrixForward", 3, 3, {{"M", M}});
    applyMatrix<Order::reversed, Order::ofTheMatrix>(src, dst, M, walkOver(src, dst));
}

void multiplyImageByMatrixBackward(const cv::Mat& src, cv::Mat& dst, cv::Mat& M) {
    requireType("multiplyImageByMatrixBackward", CV_32FC3, {{"src", src}});
    requireRoom("multiplyImageByMatrixBackward", src.size(), CV_32FC3, {{"dst", dst}});
    requireMatrix("multiplyImageByMatrixBackward", 3, 3, {{"M", M}});
    applyMatrix<Order::ofTheMatrix, Order::reversed>(src, dst, M, walkOver(src, dst));
}

void conversion(const cv::Mat& src, cv::Mat& dst, const cv::Mat& M, int rows, int cols) {
    requireRoom("conversion", {cols, rows}, CV_32FC3, {{"src", src}, {"dst", dst}});
    requireMatrix("conversion", 3, 3, {{"M", M}});
    applyMatrix<Order::ofTheMatrix, Order::ofTheMatrix>(src, dst, M, {rows, cols});
}

}  // namespace likeness
