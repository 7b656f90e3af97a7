#include <likeness/color/white_point.hpp>

#include <likeness/color/clip.hpp>
#include <likeness/color/pixel_matrix.hpp>
#include <likeness/color/unit_image.hpp>
#include <likeness/color/yuv.hpp>
#include "color/photograph_argument.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/image_walk.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <sstream>

namespace likeness {
namespace {

bool isNearlyNeutral(float y, float u, float v) {
    const double chroma = std::abs(static_cast<double>(u)) + std::abs(static_cast<double>(v));
    const auto ratio = static_cast<float>(chroma / y);
    return 0.3 > ratio;
}

/// One of `count` bands of rows that cover an image.
cv::Mat bandOf(const cv::Mat& image, int band, int count) {
    const auto begin = [&](int k) { return static_cast<int>(std::int64_t{image.rows} * k / count); };
    return image.empty() ? image : image.rowRange(begin(band), begin(band + 1));
}

/// Calls visit(floats, place) for a photograph of any depth, some of its pixels at a time, in their order: as floats a
/// large one as a whole would take four times its memory.
template <typename Visit>
void forEachUnitPiece(const cv::Mat& photograph, Visit visit) {
    constexpr int pixels = 1 << 18;
    const int cols = std::min(photograph.cols, pixels);
    const int rows = cols < photograph.cols ? 1 : std::max(1, pixels / std::max(cols, 1));
    for (int i = 0; i < photograph.rows; i += rows) {
        for (int j = 0; j < photograph.cols; j += cols) {
            const cv::Rect place(j, i, std::min(cols, photograph.cols - j), std::min(rows, photograph.rows - i));
            visit(toUnit(photograph(place)), place);
        }
    }
}

struct NeutralMean {
    cv::Vec3f yuv;  ///< Y set to 1
    bool found;     ///< whether there is a nearly neutral pixel
};

/// Mean of Y, U, V over the nearly neutral pixels: one sum, row by row, whatever the bands.
class NeutralSum {
public:
    /// @param photograph  of any depth
    void add(const cv::Mat& photograph) {
        forEachUnitPiece(photograph, [this](const cv::Mat& unit, const cv::Rect&) { addUnit(unit); });
    }
    NeutralMean mean() const { return {{1.0F, u_ / count_, v_ / count_}, count_ >= 1}; }

private:
    void addUnit(const cv::Mat& band) {
        const ImageWalk walk = walkOver(band);
        for (int i = 0; i < walk.rows; ++i) {
            const float* pixel = band.ptr<float>(i);
            for (int j = 0; j < walk.cols; ++j, pixel += 3) {
                const float y = matrix_.row(0, pixel[2], pixel[1], pixel[0]);
                const float u = matrix_.row(1, pixel[2], pixel[1], pixel[0]);
                const float v = matrix_.row(2, pixel[2], pixel[1], pixel[0]);
                if (isNearlyNeutral(y, u, v)) {
                    u_ += u;
                    v_ += v;
                    count_ += 1;
                }
            }
        }
    }

    PixelMatrix matrix_{yuvFromRgb()};
    float u_ = 0;
    float v_ = 0;
    float count_ = 1e-5F;  // not 0: an image without neutral pixels has a mean of 0
};

/// The same of weighted pixels.
/// @param photograph  of any depth
/// @param weights     CV_16UC1 of its size
NeutralMean weightedNeutralMean(const cv::Mat& photograph, const cv::Mat& weights) {
    const PixelMatrix matrix(yuvFromRgb());
    double sumU = 0;
    double sumV = 0;
    double sum = 0;
    forEachUnitPiece(photograph, [&](const cv::Mat& unit, const cv::Rect& place) {
        for (int i = 0; i < unit.rows; ++i) {
            const float* pixel = unit.ptr<float>(i);
            const auto* const weight = weights.ptr<ushort>(place.y + i) + place.x;
            for (int j = 0; j < unit.cols; ++j, pixel += 3) {
                const float y = matrix.row(0, pixel[2], pixel[1], pixel[0]);
                const float u = matrix.row(1, pixel[2], pixel[1], pixel[0]);
                const float v = matrix.row(2, pixel[2], pixel[1], pixel[0]);
                if (isNearlyNeutral(y, u, v)) {
                    sumU += weight[j] * static_cast<double>(u);
                    sumV += weight[j] * static_cast<double>(v);
                    sum += weight[j];
                }
            }
        }
    });
    if (sum == 0) {
        return {{1.0F, 0.0F, 0.0F}, false};
    }
    return {{1.0F, static_cast<float>(sumU / sum), static_cast<float>(sumV / sum)}, true};
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
WhiteEstimate estimate(const NeutralMean& mean, const cv::Vec3f& before, const Diagnostics& diagnostics) {
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
    NeutralSum sum;
    sum.add(img);
    const WhiteEstimate found = estimate(sum.mean(), yuv, diagnostics);
    yuv = cv::Vec3f(found.yuv);
    white.at<cv::Vec3f>(0, 0) = cv::Vec3f(found.bgr);
    return found.converged;
}

WhiteEstimate grayWorldWhite(const cv::Mat& photograph, const WhiteEstimate* previous, const Watch& watch) {
    if (!photograph.empty()) {
        requirePhotograph("photograph", photograph);
    }
    const cv::Vec3f before =
        previous == nullptr ? cv::Vec3f::all(std::numeric_limits<float>::quiet_NaN()) : cv::Vec3f(previous->yuv);
    constexpr int steps = 8;
    NeutralSum sum;
    for (int done = 1; done < steps; ++done) {
        sum.add(bandOf(photograph, done - 1, steps));
        watch.step(done, steps);
    }
    sum.add(bandOf(photograph, steps - 1, steps));
    WhiteEstimate white = estimate(sum.mean(), before, watch.receiver());
    watch.step(steps, steps);
    return white;
}

WhiteEstimate grayWorldWhite(const PhotographPart& part, const Watch& watch) {
    const PixelWeights& weights = part.weights;
    weights.require("photograph", part.photograph);
    if (weights.countAll()) {
        return grayWorldWhite(part.photograph, nullptr, watch);
    }
    requirePhotograph("photograph", part.photograph);
    const cv::Mat counted = weights.countedOf(part.photograph);
    if (weights.areBinary()) {
        return grayWorldWhite(counted, nullptr, watch);
    }
    const cv::Vec3f before = cv::Vec3f::all(std::numeric_limits<float>::quiet_NaN());
    WhiteEstimate white =
        estimate(weightedNeutralMean(counted, weights.countedOf(weights.map())), before, watch.receiver());
    watch.step(1, 1);
    return white;
}

}  // namespace likeness
