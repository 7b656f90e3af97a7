#pragma once

#include <opencv2/core.hpp>

namespace likeness::bench {

/// A photograph-like picture: an example photograph enlarged, with the noise of a sensor (a constant part and one that
/// grows with the signal), quantised to 8 bits.
/// @param name  file of examples/photos
cv::Mat photographLike(const char* name, cv::Size size, std::uint64_t seed);

}  // namespace likeness::bench
