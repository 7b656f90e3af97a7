// The two value ranges of L*a*b* images: L* in 0..100 with a*, b* around zero, and everything in 0..255.
#pragma once

#include <opencv2/core.hpp>

namespace likeness {

/// L*a*b* to 0..255, in place: L* * 2.55 (in double, rounded to float), a* + 128, b* + 128. `lab` is CV_32FC3.
void scaleLab(cv::Mat& lab);

/// The way back, in place: channel 0 * 100/255 (in double, rounded to float), channels 1 and 2 - 128.
void rescaleLab(cv::Mat& lab);

}  // namespace likeness
