/// @file
/// What a module and the library that loads it must agree on: both hand each other `cv::Mat`.
#pragma once

#include <likeness/version.hpp>

#include <opencv2/core/version.hpp>

namespace likeness {

/// Such as "likeness 0.1.0, OpenCV 4.6.0".
inline constexpr const char* moduleIdentity = "likeness " LIKENESS_VERSION ", OpenCV " CV_VERSION;

}  // namespace likeness
