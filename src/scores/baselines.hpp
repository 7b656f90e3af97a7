// What simple measures say of a pair of photographs, to hold a model against.
#pragma once

#include <opencv2/core.hpp>

namespace likeness {

struct BaselineValues {
    double ciede2000 = 0;  ///< mean over the pixels
    double psnr = 0;       ///< dB, of the encoded values 0..1; 100 where the photographs are equal
};

/// @param first, second  as they are compared: CV_8UC3 or CV_32FC3, of one size; encoded sRGB
/// @return  NaN where a pixel is not finite
BaselineValues baselinesOf(const cv::Mat& first, const cv::Mat& second);

}  // namespace likeness
