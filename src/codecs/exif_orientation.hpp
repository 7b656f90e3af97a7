#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <cstddef>
#include <optional>

namespace likeness {

/// The orientation that the image library finds in the Exif data of a file (Exif 2.32, 4.6.4, tag 274).
/// @param tiff  what follows the six bytes "Exif", 0, 0 of a JPEG's segment, or the contents of a PNG's chunk eXIf
/// @return  1 to 8; 0 if there is none; nothing if the data are not so well formed that every reader finds the same
LIKENESS_API std::optional<int> exifOrientation(const unsigned char* tiff, std::size_t size) noexcept;

/// Turns and mirrors an image so that it is seen upright. 0 and 1 leave it as it is.
LIKENESS_API void applyOrientation(int orientation, cv::Mat& image);

}  // namespace likeness
