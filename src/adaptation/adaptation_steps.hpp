// What the adaptations that work in place and those that return their result have in common. Images are CV_32FC3 in B,
// G, R order.
#pragma once

#include <likeness/adaptation/d65_adaptation.hpp>
#include <likeness/diagnostics/watch.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Gray-world white of a photograph, 1 x 1, B, G, R; its line goes to `diagnostics`.
cv::Mat grayWorldTriple(const cv::Mat& bgr, const Diagnostics& diagnostics);

/// What an element is multiplied by to go from its white to D65.
inline float factorToD65(float white, double degreeTimesWhite, float degree) noexcept {
    const auto ratio = static_cast<float>(degreeTimesWhite / (D65Adaptation::guard + static_cast<double>(white)));
    return 1.0F + ratio - degree;
}

/// `iCAMCATByD65` and `inverseCATByD65` of a sharpened image under one white, sharpened too.
void scaleToD65(cv::Mat& img, const cv::Vec3f& white);
void scaleFromD65(cv::Mat& img, const cv::Vec3f& white);

/// `inverseCAT` of a sharpened image in place under two whites, sharpened too.
void scaleToScene(cv::Mat& img, const cv::Vec3f& adaptedTo, const cv::Vec3f& scene);

/// The most adaptations that `adaptUntilWhiteConverges` makes.
inline constexpr int greatestAdaptationCount = 80;

/// Adapts `img` in place to a white, again and again, until its gray-world white no longer moves.
/// @param targetWhite  1 x 1, B, G, R
/// @param leftOut      CV_8U of img's size: what is brighter than `brightestThatTakesPart` keeps its values and is not
///                     looked at for the white; empty: nothing is
/// @param watch        a step for each of `greatestAdaptationCount` adaptations, and for the last one at the end
void adaptUntilWhiteConverges(cv::Mat& img, const cv::Mat& targetWhite, float D, const cv::Mat& leftOut,
                              const Watch& watch);

/// Adapts a photograph from the white of each pixel, as `performLocalCAMCA`; three steps.
/// @param img             in [0, 1], replaced by the result
/// @param referenceWhite  1 x 1, B, G, R
void adaptEachPixel(cv::Mat& img, const cv::Mat& referenceWhite, float blend, const Watch& watch);

}  // namespace likeness
