#include <likeness/transport/closed_form_map.hpp>

#include "numerics/argument_check.hpp"
#include "transport/symmetric_map.hpp"

namespace likeness {
namespace {

template <int N>
SquareMatrix<N> read(const cv::Mat& matrix) {
    SquareMatrix<N> elements;
    for (int i = 0; i < N; ++i) {
        const float* const row = matrix.ptr<float>(i);
        std::copy(row, row + N, elements[i]);
    }
    return elements;
}

template <int N>
void write(const SquareMatrix<N>& elements, cv::Mat& matrix) {
    for (int i = 0; i < N; ++i) {
        float* const row = matrix.ptr<float>(i);
        for (int j = 0; j < N; ++j) {
            row[j] = static_cast<float>(elements[i][j]);
        }
    }
}

}  // namespace

void dot(const cv::Mat& A, const cv::Mat& B, cv::Mat& C) {
    requireMatrix("dot", A.rows, std::max(A.rows, A.cols), {{"A", A}});
    requireMatrix("dot", A.rows, A.cols, {{"B", B}, {"C", C}});
    for (int i = 0; i < A.rows; ++i) {
        const float* const a = A.ptr<float>(i);
        for (int j = 0; j < A.cols; ++j) {
            float sum = 0;
            for (int k = 0; k < A.rows; ++k) {
                sum += a[k] * B.ptr<float>(k)[j];
            }
            C.ptr<float>(i)[j] = sum;
        }
    }
}

void matrixSquareRoot(const cv::Mat& A, cv::Mat& R, int n) {
    CV_Assert(n == 2 || n == 3);
    requireMatrix("matrixSquareRoot", n, n, {{"A", A}, {"R", R}});
    n == 2 ? write(symmetricRoot(read<2>(A)), R) : write(symmetricRoot(read<3>(A)), R);
}

void closedFormMatrix(const cv::Mat& sourceCov, const cv::Mat& targetCov, cv::Mat& T, int n) {
    CV_Assert(n == 2 || n == 3);
    requireMatrix("closedFormMatrix", n, n, {{"sourceCov", sourceCov}, {"targetCov", targetCov}, {"T", T}});
    n == 2 ? write(transportMap(read<2>(sourceCov), read<2>(targetCov)), T)
           : write(transportMap(read<3>(sourceCov), read<3>(targetCov)), T);
}

}  // namespace likeness
