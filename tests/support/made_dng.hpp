// Raw files of a camera that is not there.
#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace likeness::testing {

/// A Digital Negative (Adobe, version 1.4) whose camera sees linear sRGB.
struct MadeDng {
    bool mosaic = true;       ///< behind colour filters, red and green over green and blue; else three values a pixel
    int bits = 16;            ///< of a value, packed
    bool compressed = false;  ///< lossless JPEG (ITU-T T.81, annex H); of mosaics alone
    cv::Vec3d neutral{1, 1, 1};   ///< R, G, B that the camera sees of the white of the scene
    int orientation = 1;          ///< as in Exif data
    double baselineExposure = 0;  ///< in EV; 0: not said
    std::string preview{};        ///< bytes of a JPEG; empty: none
};

/// @param linear  CV_64FC3, linear R, G, B of the scene under its white, 0..1
/// @return        the bytes of the file
std::string dngOf(const cv::Mat& linear, const MadeDng& camera);

}  // namespace likeness::testing
