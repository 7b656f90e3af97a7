#include <likeness/color/white_point.hpp>

#include <likeness/color/clip.hpp>
#include <likeness/color/pixel_matrix.hpp>
#include <likeness/color/yuv.hpp>
#include "color/photograph_argument.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/image_walk.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>

namespace likeness {
namespace {

bool isNearlyNeutral(float y, float u, float v) {
    const double chroma = std::abs(static_cast<double>(u)) + std::abs(static_cast<double>(v));
    const auto ratio = static_cast<float>(chroma / y);
    return 0.3 > ratio;
}

struct NeutralMean {
    cv::Vec3f yuv;  ///< Y set to 1
    bool found;     ///< whether there is a nearly neutral pixel
};

/// Mean of Y, U, V over the nearly neutral pixels.
NeutralMean meanOfNeutralPixels(const cv::Mat& img) {
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
    return {{1.0F, sumU / count, sumV / count}, count >= 1};
}

/// @param before  of NaN where there was none
bool hasConverged(const cv::Vec3f& mean, const cv::Vec3f& before) {
    if (std::isnan(before[1])) {
        return false;
    }
    const float stepU = mean[1] - before[1];
    const float stepV = mean[2] - before[2];
    const float distance = std::sqrt(stepU * stepU + stepV * stepV);
    return 1e-6 > distance || std::max(std::abs(mean[1]), std::abs(mean[2])) < 0.001;
}

/// B, G, R of Y, U, V, clipped to [0, 1].
cv::Vec3f encodedWhite(const cv::Vec3f& yuv) {
    const PixelMatrix rgbFromYuv(yuvFromRgb().inv());
    cv::Vec3f bgr;
    for (int k = 0; k < 3; ++k) {
        bgr[2 - k] = clip(rgbFromYuv.row(k, yuv[0], yuv[1], yuv[2]), 0.0F, 1.0F);
    }
    return bgr;
}

/// One step of an iteration: what is found, told unless it has converged.
/// @param before  Y, U, V of the step before; of NaN where there was none
WhiteEstimate estimate(const cv::Mat& img, const cv::Vec3f& before, const Diagnostics& diagnostics) {
    const NeutralMean mean = meanOfNeutralPixels(img);
    const cv::Vec3f bgr = encodedWhite(mean.yuv);
    const bool converged = hasConverged(mean.yuv, before);
    if (!converged && diagnostics.wantsMessages()) {
        std::ostringstream line;
        line << cv::Mat(1, 1, CV_32FC3, cv::Scalar(bgr[0], bgr[1], bgr[2])) << '\n';
        diagnostics.print(line.str());
    }
    return {White::fromBgr(cv::Vec3d(bgr)), cv::Vec3d(bgr), cv::Vec3d(mean.yuv), mean.found, converged};
}

}  // namespace

bool computeWhitePointFromGrayWorld(const cv::Mat& img, cv::Mat& white, cv::Mat& previous, cv::Mat& /*mask*/,
                                    const Diagnostics& diagnostics) {
    requireType("computeWhitePointFromGrayWorld", CV_32FC3, {{"img", img}});
    requireElement("computeWhitePointFromGrayWorld", CV_32FC3, {{"white", white}, {"previous", previous}});
    auto& yuv = previous.at<cv::Vec3f>(0, 0);
    const WhiteEstimate found = estimate(img, yuv, diagnostics);
    yuv = cv::Vec3f(found.yuv);
    white.at<cv::Vec3f>(0, 0) = cv::Vec3f(found.bgr);
    return found.converged;
}

WhiteEstimate grayWorldWhite(const cv::Mat& photograph, const WhiteEstimate* previous, const Watch& watch) {
    const cv::Mat unit = photograph.empty() ? cv::Mat() : unitPhotograph("photograph", photograph);
    const cv::Vec3f before =
        previous == nullptr ? cv::Vec3f::all(std::numeric_limits<float>::quiet_NaN()) : cv::Vec3f(previous->yuv);
    WhiteEstimate white = estimate(unit, before, watch.receiver());
    watch.step(1, 1);
    return white;
}

}  // namespace likeness
