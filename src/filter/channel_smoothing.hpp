// The guided filter in steps that a caller hears of.
#pragma once

#include <likeness/diagnostics/watch.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// `guidedFilter(guide, image, radius, epsilon)`, the same bits and dumps; told are the statistics of the guide and
/// each channel.
/// @param image  of the size of the guide, at least one channel
cv::Mat smoothChannels(const cv::Mat& image, const cv::Mat& guide, int radius, double epsilon, const Watch& watch);

}  // namespace likeness
