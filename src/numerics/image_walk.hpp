#pragma once

#include <opencv2/core.hpp>

#include <cstdint>
#include <limits>

namespace likeness {

/// Rows and row length of a walk over several images, pixel by pixel in row-major order.
struct ImageWalk {
    int rows;
    int cols;
};

/// Plans a walk over the rows and columns of `first`, to be made with row pointers into it and into `others`. Images
/// of one size without gaps between their rows are walked as a single long row; others may be larger than `first`.
template <typename... Mats>
inline ImageWalk walkOver(const cv::Mat& first, const Mats&... others) {
    const auto seamless = [&first](const cv::Mat& image) {
        return image.isContinuous() && image.rows == first.rows && image.cols == first.cols;
    };
    const std::int64_t pixels = static_cast<std::int64_t>(first.rows) * first.cols;
    if (seamless(first) && (seamless(others) && ...) && pixels <= std::numeric_limits<int>::max()) {
        return {first.rows == 0 ? 0 : 1, static_cast<int>(pixels)};
    }
    return {first.rows, first.cols};
}

}  // namespace likeness
