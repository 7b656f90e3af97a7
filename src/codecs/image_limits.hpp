#pragma once

#include <cstdint>
#include <cstdlib>

namespace likeness {

/// Whether the image library reads an image of this size by its own usual limits. Where the environment sets others, the
/// answer is no: then it is for that library to say.
inline bool isWithinLimits(std::uint64_t width, std::uint64_t height) noexcept {
    constexpr std::uint64_t greatestSide = std::uint64_t{1} << 20;
    constexpr std::uint64_t mostPixels = std::uint64_t{1} << 30;
    for (const char* const limit :
         {"OPENCV_IO_MAX_IMAGE_WIDTH", "OPENCV_IO_MAX_IMAGE_HEIGHT", "OPENCV_IO_MAX_IMAGE_PIXELS"}) {
        if (std::getenv(limit) != nullptr) {
            return false;
        }
    }
    return width > 0 && height > 0 && width <= greatestSide && height <= greatestSide && width * height <= mostPixels;
}

}  // namespace likeness
