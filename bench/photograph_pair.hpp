#pragma once

#include <opencv2/core.hpp>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace likeness::bench {

/// A photograph-like picture: an example photograph enlarged, with the noise of a sensor (a constant part and one that
/// grows with the signal), quantised to 8 bits.
/// @param name  file of examples/photos
/// @param gain  of the noise's deviation: 1 is a compact camera's at a low sensitivity
cv::Mat photographLike(const char* name, cv::Size size, std::uint64_t seed, float gain = 1);

/// JPEG bytes of such a picture, at quality 92. Enlarged pictures have less detail than a camera's: where a size is asked
/// for, the noise is made as strong as it takes to come within some 5 % of it.
/// @param bytes  0 for a gain of 1
std::vector<uchar> photographFile(const char* name, cv::Size size, std::uint64_t seed, std::size_t bytes);

}  // namespace likeness::bench
