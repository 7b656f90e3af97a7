#pragma once

#include <opencv2/core.hpp>

#include <algorithm>

namespace likeness {

/// A shadow's picture leaves out the pixels that it shows brighter than this.
constexpr uchar brightestThatTakesPart = 100;

/// Mask of the pixels of an image that take part in an adaptation: 255, and 0 where the CV_8U picture of a shadow is
/// brighter than `brightestThatTakesPart`.
///
/// Columns are looked at only up to the image's row count (departure 19), so the right part of a landscape image takes part
/// whatever the shadow shows. The walk ends at the edges of the image and of the shadow; of an empty one, everything
/// takes part.
inline cv::Mat participationMask(cv::Size image, const cv::Mat& shadow) {
    cv::Mat mask(image, CV_8U, cv::Scalar(255));
    const int rows = std::min(image.height, shadow.rows);
    const int cols = std::min({image.height, image.width, shadow.cols});
    for (int i = 0; i < rows; ++i) {
        const uchar* const shade = shadow.ptr<uchar>(i);
        uchar* const takesPart = mask.ptr<uchar>(i);
        for (int j = 0; j < cols; ++j) {
            if (shade[j] > brightestThatTakesPart) {
                takesPart[j] = 0;
            }
        }
    }
    return mask;
}

}  // namespace likeness
