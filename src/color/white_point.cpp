#include <likeness/color/white_point.hpp>

#include <likeness/color/clip.hpp>
#include <likeness/color/pixel_matrix.hpp>
#include <likeness/color/yuv.hpp>
#include <likeness/filter/guidedfilter.hpp>
#include "numerics/argument_check.hpp"
#include "numerics/image_walk.hpp"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <sstream>

namespace likeness {
namespace {

bool isNearlyNeutral(float y, float u, float v) {
    const double chroma = std::abs(static_cast<double>(u)) + std::abs(static_cast<double>(v));
    const auto ratio = static_cast<float>(chroma / y);
    return 0.3 > ratio;
}

/// Mean of Y, U, V over the nearly neutral pixels, Y set to 1.
cv::Vec3f meanOfNeutralPixels(const cv::Mat& img) {
    const PixelMatrix matrix(yuvFromRgb());
    float sumU = 0;
    float sumV = 0;
    float count = 1e-5F;  // not 0: an image without neutral pixels has a mean of 0
    const ImageWalk walk = walkOver(img);
    for (int i = 0; i < walk.rows; ++i) {
        const float* pixel = img.ptr<float>(i);
        for (int j = 0; j < walk.cols; ++j, pixel += 3) {
            const float y = matrix.row(0, pixel[2], pixel[1], pixel[0]);
            const float u = matrix.row(1, pixel[2], pixel[1], pixel[0]);
            const float v = matrix.row(2, pixel[2], pixel[1], pixel[0]);
            if (isNearlyNeutral(y, u, v)) {
                sumU += u;
                sumV += v;
                count += 1;
            }
        }
    }
    return {1.0F, sumU / count, sumV / count};
}

bool hasConverged(const cv::Vec3f& mean, const cv::Vec3f& before) {
    if (std::isnan(before[1])) {
        return false;
    }
    const float stepU = mean[1] - before[1];
    const float stepV = mean[2] - before[2];
    const float distance = std::sqrt(stepU * stepU + stepV * stepV);
    return 1e-6 > distance || std::max(std::abs(mean[1]), std::abs(mean[2])) < 0.001;
}

}  // namespace

bool computeWhitePointFromGrayWorld(const cv::Mat& img, cv::Mat& white, cv::Mat& previous, cv::Mat& /*mask*/,
                                    const Diagnostics& diagnostics) {
    requireType("computeWhitePointFromGrayWorld", CV_32FC3, {{"img", img}});
    requireElement("computeWhitePointFromGrayWorld", CV_32FC3, {{"white", white}, {"previous", previous}});
    const cv::Vec3f mean = meanOfNeutralPixels(img);
    const bool converged = hasConverged(mean, previous.at<cv::Vec3f>(0, 0));
    previous.at<cv::Vec3f>(0, 0) = mean;
    const PixelMatrix rgbFromYuv(yuvFromRgb().inv());
    for (int k = 0; k < 3; ++k) {
        white.at<cv::Vec3f>(0, 0)[2 - k] = clip(rgbFromYuv.row(k, mean[0], mean[1], mean[2]), 0.0F, 1.0F);
    }
    if (!converged && diagnostics.wantsMessages()) {
        std::ostringstream line;
        line << white << '\n';
        diagnostics.print(line.str());
    }
    return converged;
}

// The radius is not read: meant, one white image serves callers that ask for very different ones.
void computeWhiteImg(cv::Mat& img, cv::Mat& white, int /*radius*/, const Diagnostics& diagnostics) {
    white = guidedFilter(img, img, 16, 0.0001, -1, diagnostics);
}

void computeWhiteImgVs2(cv::Mat& img, cv::Mat& white, float sigma, int d) {
    cv::bilateralFilter(img, white, d, static_cast<double>(sigma), static_cast<double>(d));
}

}  // namespace likeness
