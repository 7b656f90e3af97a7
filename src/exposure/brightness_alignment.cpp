#include <likeness/exposure/brightness_alignment.hpp>

#include <likeness/transport/image_statistics.hpp>
#include "numerics/argument_check.hpp"
#include "numerics/image_walk.hpp"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace likeness {
namespace {

struct RunningSum {
    float sum = 0;
    int count = 0;
};

/// Sums term(value) over the values that are not NaN.
template <typename Term>
RunningSum sumOver(const cv::Mat& plane, Term term) {
    RunningSum result;
    const ImageWalk walk = walkOver(plane);
    for (int i = 0; i < walk.rows; ++i) {
        const float* const value = plane.ptr<float>(i);
        for (int j = 0; j < walk.cols; ++j) {
            if (!std::isnan(value[j])) {
                result.sum += term(value[j]);
                ++result.count;
            }
        }
    }
    return result;
}

LightnessStatistics statisticsOfLab(const cv::Mat& lab, const Diagnostics& diagnostics) {
    cv::Mat plane;
    cv::extractChannel(lab, plane, 0);
    LightnessStatistics lightness{computeMean(plane, diagnostics), 0};
    lightness.deviation = computeStdDev(plane, lightness.mean);
    return lightness;
}

}  // namespace

float computeMean(cv::Mat& plane, const Diagnostics& diagnostics) {
    return computeMean(static_cast<const cv::Mat&>(plane), diagnostics);
}

float computeStdDev(const cv::Mat& plane, float& mean) {
    requireType("computeStdDev", CV_32F, {{"plane", plane}});
    const float squareOfMean = mean * mean;
    const RunningSum values = sumOver(plane, [squareOfMean](float v) { return v * v - squareOfMean; });
    return std::sqrt(values.sum / static_cast<float>(values.count));
}

LightnessStatistics lightnessStatistics(const cv::Mat& bgr, const Diagnostics& diagnostics) {
    requireType("lightnessStatistics", CV_32FC3, {{"bgr", bgr}});
    cv::Mat lab;
    cv::cvtColor(bgr, lab, cv::COLOR_BGR2Lab);
    return statisticsOfLab(lab, diagnostics);
}

void matchLightness(cv::Mat& lab, const LightnessStatistics& own, const LightnessStatistics& wanted) {
    const ImageWalk walk = walkOver(lab);
    for (int i = 0; i < walk.rows; ++i) {
        auto* const pixels = lab.ptr<cv::Vec3f>(i);
        for (int j = 0; j < walk.cols; ++j) {
            pixels[j][0] = (pixels[j][0] - own.mean) * wanted.deviation / own.deviation + wanted.mean;
        }
    }
}

void alterNonFlashBrightness(cv::Mat& nonFlash, cv::Mat& target, cv::Mat& result, const Diagnostics& diagnostics) {
    requireElement("alterNonFlashBrightness", CV_32FC3, {{"nonFlash", nonFlash}, {"target", target}});
    cv::cvtColor(nonFlash, result, cv::COLOR_BGR2Lab);
    const LightnessStatistics own = statisticsOfLab(result, diagnostics);
    cv::Mat targetLab;
    cv::cvtColor(target, targetLab, cv::COLOR_BGR2Lab);
    const LightnessStatistics wanted = statisticsOfLab(targetLab, diagnostics);
    targetLab.release();

    cv::Mat common = result(cv::Rect(0, 0, std::min(result.cols, target.cols), std::min(result.rows, target.rows)));
    matchLightness(common, own, wanted);
    cv::cvtColor(result, result, cv::COLOR_Lab2BGR);
}

}  // namespace likeness
