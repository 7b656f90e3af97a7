#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace likeness::darkroom {

/// Refuses an image that is too small or too narrow for the recovery of a camera response.
/// @throws Refusal  naming the file and its size
void checkResponseGrid(const std::string& path, cv::Size size);

}  // namespace likeness::darkroom
