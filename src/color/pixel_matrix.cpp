#include "color/pixel_matrix.hpp"

#include "numerics/image_walk.hpp"

namespace likeness {

void dotProduct(const cv::Mat& A, const cv::Mat& B, cv::Mat& C) {
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
    const auto& t = triple.at<cv::Vec3f>(0, 0);
    const float* const m = M.ptr<float>(row);
    return t[0] * m[0] + t[1] * m[1] + t[2] * m[2];
}

void multiplyImageByMatrixForward(const cv::Mat& src, cv::Mat& dst, cv::Mat& M) {
    const PixelMatrix matrix(M);
    const ImageWalk walk = walkOver(src, dst);
    for (int i = 0; i < walk.rows; ++i) {
        const float* in = src.ptr<float>(i);
        float* out = dst.ptr<float>(i);
        for (int j = 0; j < walk.cols; ++j, in += 3, out += 3) {
            const float r = in[2];
            const float g = in[1];
            const float b = in[0];
            out[0] = matrix.row(0, r, g, b);
            out[1] = matrix.row(1, r, g, b);
            out[2] = matrix.row(2, r, g, b);
        }
    }
}

void multiplyImageByMatrixBackward(const cv::Mat& src, cv::Mat& dst, cv::Mat& M) {
    const PixelMatrix matrix(M);
    const ImageWalk walk = walkOver(src, dst);
    for (int i = 0; i < walk.rows; ++i) {
        const float* in = src.ptr<float>(i);
        float* out = dst.ptr<float>(i);
        for (int j = 0; j < walk.cols; ++j, in += 3, out += 3) {
            const float a = in[0];
            const float b = in[1];
            const float c = in[2];
            out[2] = matrix.row(0, a, b, c);
            out[1] = matrix.row(1, a, b, c);
            out[0] = matrix.row(2, a, b, c);
        }
    }
}

void conversion(const cv::Mat& src, cv::Mat& dst, const cv::Mat& M, int rows, int cols) {
    const PixelMatrix matrix(M);
    for (int i = 0; i < rows; ++i) {
        const float* in = src.ptr<float>(i);
        float* out = dst.ptr<float>(i);
        for (int j = 0; j < cols; ++j, in += 3, out += 3) {
            const float a = in[0];
            const float b = in[1];
            const float c = in[2];
            out[0] = matrix.row(0, a, b, c);
            out[1] = matrix.row(1, a, b, c);
            out[2] = matrix.row(2, a, b, c);
        }
    }
}

}  // namespace likeness
