#pragma once

#include <opencv2/core.hpp>

#include <algorithm>

namespace likeness {

/// The pixels that all images have, counted from their upper left corners.
template <typename... Mats>
inline cv::Rect commonRegion(const cv::Mat& first, const Mats&... others) {
    return {0, 0, std::min({first.cols, others.cols...}), std::min({first.rows, others.rows...})};
}

}  // namespace likeness
