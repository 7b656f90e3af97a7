/// @file
/// Entries of the module `imgcodecs`: the image library's own readers and writers. What they throw is `cv::Exception` or
/// of the standard library.
#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace likeness {

/// `likeness_imread`: what `cv::imread` reads, empty if it reads nothing.
using ImreadEntry = void (*)(const std::string& path, int flags, cv::Mat& image);

/// `likeness_imdecode`: what `cv::imdecode` reads.
using ImdecodeEntry = void (*)(const std::vector<uchar>& bytes, int flags, cv::Mat& image);

/// `likeness_imencode`: what `cv::imencode` returns.
using ImencodeEntry = bool (*)(const std::string& extension, const cv::Mat& image, std::vector<uchar>& bytes,
                               const std::vector<int>& parameters);

}  // namespace likeness
