#pragma once

#include <opencv2/core.hpp>

namespace likeness {

/// The image library's conversion of gamma-encoded B, G, R on 0..1 to CIE L*a*b* under D65, by its tables. It makes these
/// when they are first needed, without a lock, so that one of two threads might read what the other is just replacing:
/// here they are made once, before.
/// @param bgr  CV_32FC3
/// @param lab  replaced by CV_32FC3 of its size; may be `bgr`
void labByImageLibrary(const cv::Mat& bgr, cv::Mat& lab);

/// The way back, limited to 0..1.
void bgrByImageLibrary(const cv::Mat& lab, cv::Mat& bgr);

}  // namespace likeness
