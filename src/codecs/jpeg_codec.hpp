/// @file
/// JPEG files by libjpeg-turbo. What is taken has the pixels and the bytes that the image library gives it; what is not
/// plain is left to that library, which knows what it makes of it and says what is to be said.
#pragma once

#include "codecs/image_codecs.hpp"

#include <opencv2/core.hpp>

#include <cstdio>
#include <optional>
#include <vector>

namespace likeness {

/// @param file   at its beginning
/// @param flags  of reading_flags.hpp
/// @param room   memory for the result, as in image_codecs.hpp
/// @return       CV_8UC3 in B, G, R, or CV_8UC1, upright unless unchanged; empty if the file is not taken: it is damaged
///               or not of one or three channels of 8 bits, it is beyond the image library's limits, or what it says of
///               its orientation is in doubt
/// @throws cv::Exception  if there is no memory for the image
cv::Mat decodedJpeg(std::FILE* file, int flags, cv::Mat room = {});

/// The rows of what `decodedJpeg` takes with cv::IMREAD_COLOR, some at a time, before the orientation is applied.
/// @return  the size of the upright image; nothing if the file is not taken: what was handed on does not count then
/// @throws what the receiver throws; std::bad_alloc
std::optional<cv::Size> decodeJpegRows(std::FILE* file, RowReceiver& receiver);

/// @param image    1 or 3 channels, B, G, R; other depths than 8 bits are rounded and limited to 0..255
/// @param quality  0 to 100
/// @param chroma   how many pixels of each row and of each column share a value of chroma, 1 or 2
/// @return         whether it was taken
bool encodeJpeg(const cv::Mat& image, int quality, std::vector<uchar>& bytes, cv::Size chroma = {2, 2});

}  // namespace likeness
