// The colours of a photograph, counted in weights of pixels.
#pragma once

#include "comparison/modelled_appearance.hpp"

#include <opencv2/core.hpp>

#include <cstdint>

namespace likeness {

/// Sums the weights of the pixels of each colour. A colour whose sum needs more than 32 bits is there repeatedly, with
/// a part of it each time.
/// @param pixels   1 x N, CV_8UC3 or CV_32FC3. Of floats that have more than one colour for two pixels, each is a colour
/// @param weights  1 x N, CV_16UC1, each above 0
/// @param whole    what becomes `PhotographColors::pixels`
PhotographColors weightedColors(const cv::Mat& pixels, const cv::Mat& weights, std::int64_t whole);

}  // namespace likeness
