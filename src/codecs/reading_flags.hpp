#pragma once

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

namespace likeness {

/// Whether the readers of this folder know what the flags ask for.
constexpr bool areUsualFlags(int flags) noexcept {
    return flags == cv::IMREAD_UNCHANGED || (flags & ~(cv::IMREAD_COLOR | cv::IMREAD_ANYDEPTH)) == 0;
}

/// The type of the image that flags make of a file with values of a type.
inline int typeAsked(int stored, int flags) noexcept {
    if (flags == cv::IMREAD_UNCHANGED) {
        return stored;
    }
    return CV_MAKETYPE((flags & cv::IMREAD_ANYDEPTH) != 0 ? CV_MAT_DEPTH(stored) : CV_8U,
                       (flags & cv::IMREAD_COLOR) != 0 ? 3 : 1);
}

}  // namespace likeness
