// What is said where the white of a photograph is a guess.
#pragma once

#include <likeness/color/white_point.hpp>
#include "console/console.hpp"

#include <string>

namespace likeness::darkroom {

/// Warns where the estimate was made of no pixel.
/// @param path  the photograph that it is of
inline void warnOfGuess(const Console& console, const std::string& path, const WhiteEstimate& estimate) {
    if (!estimate.found) {
        console.warn("'" + path + "' has no nearly neutral pixel to estimate a white from");
    }
}

}  // namespace likeness::darkroom
