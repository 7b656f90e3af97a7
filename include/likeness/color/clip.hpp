/// @file
/// One number limited to an interval.
#pragma once

#include <algorithm>

namespace likeness {

/// Limits x to [lo, hi]. NaN gives lo, and so does every x where lo > hi.
inline float clip(float x, float lo, float hi) {
    return std::max(lo, std::min(x, hi));
}

}  // namespace likeness
