/// @file
/// The two value ranges of L*a*b* images: L* in 0..100 with a*, b* around zero, and everything in 0..255.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// L*a*b* to 0..255, in place: L* * 2.55 (in double, rounded to float), a* + 128, b* + 128. `lab` is CV_32FC3.
LIKENESS_API void scaleLab(cv::Mat& lab);

/// The way back, in place: channel 0 * 100/255 (in double, rounded to float), channels 1 and 2 - 128.
LIKENESS_API void rescaleLab(cv::Mat& lab);

/// L*a*b* in 0..255, the bits of `scaleLab`.
/// @param lab  CV_32FC3 or CV_64FC3 (rounded to float); not modified
/// @return     CV_32FC3 of its size; empty of an empty image
/// @throws std::invalid_argument  if the image is of another type
LIKENESS_API cv::Mat lab255FromLab(const cv::Mat& lab);

/// The way back, the bits of `rescaleLab`.
/// @param lab255  CV_32FC3 or CV_64FC3 in 0..255; or CV_8UC3, or CV_16UC3 whose 0..65535 stands for 0..255
/// @throws std::invalid_argument  if the image is of another type
LIKENESS_API cv::Mat labFromLab255(const cv::Mat& lab255);

}  // namespace likeness
