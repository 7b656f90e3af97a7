// Reading of image files. Everything that is read comes back as B, G, R, upright (the EXIF orientation is applied),
// without alpha; grey is spread to three channels.
#pragma once

#include "files/notices.hpp"

#include <opencv2/core.hpp>

#include <string>
#include <utility>

namespace likeness {

/// @return  CV_8UC3, CV_16UC3 or CV_32FC3, as the file holds it
/// @throws Refusal  "cannot read 'PATH' as an image"
cv::Mat readImage(const Notices& notices, const std::string& path);

/// The same on the scale 0..1: 8-bit values divided by 255 and 16-bit values by 65535, in double, rounded to float;
/// floats as they are.
/// @return  CV_32FC3
cv::Mat readUnitImage(const Notices& notices, const std::string& path);

/// The same, for operations that are not made for values which are no numbers or beyond all measure: the filters of the
/// image library make tables over the range of the values.
/// @throws Refusal  also where a value is NaN or outside -1e6 to 1e6
cv::Mat readBoundedUnitImage(const Notices& notices, const std::string& path);

/// As `likeness` reads a photograph: 16-bit values are reduced to 8.
/// @return  CV_8UC3
cv::Mat readPhotographBytes(const Notices& notices, const std::string& path);

/// Two photographs as `readPhotographBytes` reads them, decoded at the same time.
/// @throws Refusal  for the first that cannot be read
std::pair<cv::Mat, cv::Mat> readPhotographPairBytes(const Notices& notices, const std::string& first,
                                                    const std::string& second);

/// The value 0..1 of a `readImage` result.
cv::Mat unitImageOf(const cv::Mat& image);

/// A picture that marks pixels, as grey; 16-bit values are reduced to 8.
/// @return  CV_8UC1
/// @throws Refusal  also where the file holds floats
cv::Mat readMask(const Notices& notices, const std::string& path);

/// Refuses an image with NaN or infinite values, for operations that would spread them or do not stand them.
/// @throws Refusal
void checkFinite(const std::string& path, const cv::Mat& image);

/// Refuses images whose sizes differ.
/// @throws Refusal  naming both files and sizes
void checkSameSize(const std::string& firstPath, const cv::Mat& first, const std::string& secondPath,
                   const cv::Mat& second);

}  // namespace likeness
