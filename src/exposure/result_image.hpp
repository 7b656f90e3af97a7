#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace likeness {

/// Writes an image that is a result of an operation, not a dump, to the file `path`, whose extension gives the format.
/// It is written whole under another name first and then renamed, so that nobody ever reads half a picture. A file that
/// cannot be written is left out without a word. An extension that the image library does not know raises its error.
void writeResultImage(const std::string& path, const cv::Mat& image);

}  // namespace likeness
