// OpenEXR files of several layers, made here: the image library writes none.
#pragma once

#include <opencv2/core.hpp>

#include <map>
#include <string>

namespace likeness::testing {

/// The bytes of an OpenEXR file of one part, not compressed, 32-bit floats.
/// @param layers  by name, "" being the main one: CV_32FC3 in channel order B, G, R, or CV_32FC4 with alpha
///                behind, of one size
std::string layeredExr(const std::map<std::string, cv::Mat>& layers);

}  // namespace likeness::testing
