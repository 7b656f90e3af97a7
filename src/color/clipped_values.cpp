#include <likeness/color/clipped_values.hpp>

#include <likeness/color/bgr_xyz.hpp>
#include "numerics/argument_check.hpp"

namespace likeness {
namespace {

/// Counts over pixels; `side(row, value number)` is below 0, 0 or above 0.
template <typename Side>
ClippedValues countOver(cv::Size size, Side side) {
    ClippedValues clipped;
    for (int i = 0; i < size.height; ++i) {
        for (int j = 0; j < size.width; ++j) {
            bool any = false;
            for (int c = 0; c < 3; ++c) {
                const int where = side(i, 3 * j + c);
                clipped.below += where < 0 ? 1 : 0;
                clipped.above += where > 0 ? 1 : 0;
                any = any || where != 0;
            }
            clipped.pixels += any ? 1 : 0;
        }
    }
    return clipped;
}

/// The inverse of the function f of L*a*b*: t of f.
float ratioOf(float f) {
    constexpr float delta = 6.0F / 29.0F;
    return f > delta ? f * f * f : 3 * delta * delta * (f - 4.0F / 29.0F);
}

}  // namespace

ClippedValues clippedValuesOfBgr(const cv::Mat& bgr, float tolerance) {
    requireType("clippedValuesOfBgr", CV_32FC3, {{"bgr", bgr}});
    return countOver(bgr.size(), [&](int row, int number) {
        const float value = bgr.ptr<float>(row)[number];
        return value < -tolerance ? -1 : (value > 1 + tolerance ? 1 : 0);
    });
}

ClippedValues clippedValuesOfLab(const cv::Mat& lab) {
    requireType("clippedValuesOfLab", CV_32FC3, {{"lab", lab}});
    constexpr float step = 1.0F / 255;
    cv::Mat bgrWhite(1, 1, CV_32FC3, cv::Scalar::all(1));
    cv::Mat white(1, 1, CV_32FC3);
    convertBGRToXYZDirect(bgrWhite, white);
    const auto& whiteXyz = white.at<cv::Vec3f>(0, 0);
    cv::Mat row(1, lab.cols, CV_32FC3);
    ClippedValues clipped;
    for (int i = 0; i < lab.rows; ++i) {
        const auto* const in = lab.ptr<cv::Vec3f>(i);
        auto* const xyz = row.ptr<cv::Vec3f>(0);
        for (int j = 0; j < lab.cols; ++j) {
            const float fy = (in[j][0] + 16) / 116;
            xyz[j] = {whiteXyz[0] * ratioOf(fy + in[j][1] / 500), whiteXyz[1] * ratioOf(fy),
                      whiteXyz[2] * ratioOf(fy - in[j][2] / 200)};
        }
        convertXYZToBGRDirect(row, row);
        const ClippedValues ofRow = clippedValuesOfBgr(row, step);
        clipped.pixels += ofRow.pixels;
        clipped.below += ofRow.below;
        clipped.above += ofRow.above;
    }
    return clipped;
}

ClippedValues valuesBroughtToLimits(const cv::Mat& before, const cv::Mat& after) {
    requireType("valuesBroughtToLimits", CV_32FC3, {{"after", after}});
    requireRoom("valuesBroughtToLimits", after.size(), CV_32FC3, {{"before", before}});
    return countOver(after.size(), [&](int row, int number) {
        const float was = before.ptr<float>(row)[number];
        const float is = after.ptr<float>(row)[number];
        return is == 0 && was != 0 ? -1 : (is == 1 && was != 1 ? 1 : 0);
    });
}

ClippedValues valuesAtLimits(const cv::Mat& bgr) {
    const bool bytes = bgr.depth() == CV_8U;
    requireType("valuesAtLimits", bytes ? CV_8UC3 : CV_32FC3, {{"bgr", bgr}});
    return countOver(bgr.size(), [&](int row, int number) {
        const float value = bytes ? static_cast<float>(bgr.ptr<uchar>(row)[number]) : bgr.ptr<float>(row)[number];
        return value == 0 ? -1 : (value == (bytes ? 255.0F : 1.0F) ? 1 : 0);
    });
}

}  // namespace likeness
