#pragma once

#include <opencv2/core.hpp>

#include <cstddef>
#include <string>

namespace likeness {

/// Characters that `writeNumber` needs at most ("-1.17549e-38").
inline constexpr std::size_t numberTextCapacity = 16;

/// Writes `value` as a C++ stream does by default (general notation, six significant digits; "nan" and "-nan", "inf"
/// and "-inf") and returns the end of the text. `out` has room for `numberTextCapacity` characters.
char* writeNumber(char* out, float value) noexcept;

/// The same as a string.
std::string numberText(float value);

/// Writes the first `rows` x `cols` values of a CV_32F map into a file, one per line, row by row; an existing file is
/// replaced.
/// @return  whether the whole text was written
bool writeMapText(const std::string& path, const cv::Mat& map, int rows, int cols);

}  // namespace likeness
