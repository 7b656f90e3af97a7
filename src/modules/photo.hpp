/// @file
/// Entries of the module `photo`: what the image library makes of exposures of one scene. They throw `cv::Exception`.
#pragma once

#include <opencv2/core.hpp>

#include <vector>

namespace likeness {

/// `likeness_calibrate_debevec`: what `cv::CalibrateDebevec` makes of 8-bit planes, with a grid of points.
using CalibrateDebevecEntry = void (*)(const std::vector<cv::Mat>& planes, const std::vector<float>& times,
                                       int gridPoints, float smoothness, cv::Mat& response);

/// `likeness_merge_debevec`: what `cv::MergeDebevec` makes of 8-bit images.
using MergeDebevecEntry = void (*)(const std::vector<cv::Mat>& images, const std::vector<float>& times,
                                   const cv::Mat& response, cv::Mat& radiance);

/// `likeness_merge_mertens`: what `cv::MergeMertens` makes of images.
using MergeMertensEntry = void (*)(const std::vector<cv::Mat>& images, float contrast, float saturation,
                                   float exposedness, cv::Mat& fused);

}  // namespace likeness
