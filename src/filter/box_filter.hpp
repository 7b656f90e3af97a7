// Means over a square window, as the guided filter takes them.
#pragma once

#include <opencv2/imgproc.hpp>

namespace likeness {

/// Mean of each window of `side` x `side` pixels around a pixel; at the border the image goes on as its mirror image
/// without repeating the edge. `mean` gets the depth and channels of `image`; it may be `image`.
inline void boxfilter(const cv::Mat& image, int side, cv::Mat& mean) {
    cv::blur(image, mean, cv::Size(side, side), cv::Point(-1, -1), cv::BORDER_REFLECT_101);
}

inline cv::Mat boxfilter(const cv::Mat& image, int side) {
    cv::Mat mean;
    boxfilter(image, side, mean);
    return mean;
}

}  // namespace likeness
