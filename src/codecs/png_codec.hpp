/// @file
/// PNG files by libpng. What is taken has the pixels and the bytes that the image library gives it; what is damaged or
/// remarkable is left to that library, which knows what it makes of it and says what is to be said.
#pragma once

#include <opencv2/core.hpp>

#include <cstdio>
#include <vector>

namespace likeness {

/// @param file   at its beginning
/// @param flags  of reading_flags.hpp
/// @param room   memory for the result, as in image_codecs.hpp
/// @return       CV_8U or CV_16U with 1, 3 (B, G, R) or 4 channels (B, G, R, alpha), upright unless unchanged; empty if
///               the file is not taken
/// @throws cv::Exception  if there is no memory for the image
cv::Mat decodedPng(std::FILE* file, int flags, cv::Mat room = {});

/// @param image  1, 3 or 4 channels in that order; other depths than 8 and 16 bits are rounded and limited to 0..255
/// @return       whether it was taken
bool encodePng(const cv::Mat& image, std::vector<uchar>& bytes);

}  // namespace likeness
