#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <utility>
#include <vector>

namespace likeness {

/// A photograph from a file, with what the image reader had to say about it.
struct PhotographRead {
    cv::Mat bgr;                       ///< CV_8UC3; empty if the file cannot be read as an image
    std::vector<std::string> remarks;  ///< lines of the format libraries, such as "Premature end of JPEG file"
};

/// Reads a file as 8-bit B, G, R: 16-bit values are reduced, alpha is dropped, grey is spread to three channels, an
/// EXIF orientation is applied. A file of more pixels than the image reader accepts counts as unreadable.
///
/// For front ends: while it runs, the process's standard error is redirected, because the format libraries print
/// there themselves. One call at a time.
PhotographRead readPhotograph(const std::string& path);

/// The same with the image library's reading flags: `cv::IMREAD_COLOR | cv::IMREAD_ANYDEPTH` keeps 16-bit and float
/// values.
PhotographRead readPhotograph(const std::string& path, int flags);

/// Two files, each as `readPhotograph` reads it, decoded at the same time on two threads. Where the format libraries
/// have something to say, the files are decoded again one after the other, to find out of which it is said.
/// @param flags  as above
std::pair<PhotographRead, PhotographRead> readPhotographPair(const std::string& first, const std::string& second,
                                                             int flags);

}  // namespace likeness
