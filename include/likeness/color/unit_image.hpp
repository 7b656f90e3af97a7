/// @file
/// The common state of photographs of all depths: float values on the scale 0..1.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// A photograph on the scale 0..1: 8-bit values divided by 255 and 16-bit values by 65535, in double, rounded to float;
/// float values as they are (outside 0..1 too, NaN too), double values rounded to float. Every operation that takes a
/// photograph of any depth begins with this.
///
/// @param image  rows x cols, CV_8UC3, CV_16UC3, CV_32FC3 or CV_64FC3, in any channel order; not modified
/// @return       rows x cols, CV_32FC3; shares the pixels of `image` where that is CV_32FC3; empty of an empty image
/// @throws std::invalid_argument  if the image has another depth or number of channels, or more than two dimensions
LIKENESS_API cv::Mat toUnit(const cv::Mat& image);

}  // namespace likeness
