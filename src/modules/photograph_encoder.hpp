/// @file
/// Entry of the modules that write photographs: `heif` (AVIF), `jxl`, `openexr`.
#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace likeness {

/// How a photograph is written.
struct EncodingRequest {
    int quality = 90;                   ///< 0 to 100 of AVIF and JPEG XL; 100 of JPEG XL is without loss
    int bits = 8;                       ///< of AVIF: 8, 10 or 12
    bool half = true;                   ///< of OpenEXR: whether values have 16 bits
    std::vector<unsigned char> icc{};   ///< profile of the colours; empty: sRGB
    std::vector<unsigned char> exif{};  ///< Exif data from their TIFF header on; empty: none. Not of OpenEXR
    std::string xmp{};                  ///< an XMP packet; empty: none. Not of OpenEXR
};

/// `likeness_write_photograph`. It throws only what shortage of memory throws.
/// @param bgr      B, G, R: CV_8UC3, of JPEG XL CV_16UC3 too, of AVIF with more than 8 bits CV_16UC3 of as many; of
///                 OpenEXR CV_32FC3, linear
/// @param problem  why it cannot be written; empty if it was
using WritePhotographEntry = void (*)(const cv::Mat& bgr, const EncodingRequest& request,
                                      std::vector<unsigned char>& bytes, std::string& problem);

}  // namespace likeness
