// What the user is told of values that were cut off.
#pragma once

#include <likeness/color/clipped_values.hpp>
#include "files/file_access.hpp"

#include <opencv2/core.hpp>

#include <cstdint>
#include <string>

namespace likeness {

/// A share of values for the eye: "0.25 %", never "0 %" or "100 %" of what is not nothing or all.
std::string percentText(std::int64_t part, double whole);

/// Tells how much of a result an operation itself has cut off, if anything: "'out.png': 3.1 % of the pixels ..., 2 % of
/// the values at the upper end, 0.4 % of the values at the lower end".
/// @param path  the file of the result
/// @param what  what became of the pixels: "have colours outside sRGB and are clipped"
void tellClipped(const FileAccess& access, const std::string& path, const ClippedValues& clipped, cv::Size size,
                 const std::string& what);

/// Tells how many values of an input lie outside [0, 1], if any, of an operation that takes them as 0 or 1.
void tellClippedInput(const FileAccess& access, const std::string& path, const cv::Mat& image);

}  // namespace likeness
