/// @file
/// The two orders that the channels of a colour photograph come in.
#pragma once

namespace likeness {

/// Order of the channels of a pixel, from the lowest address on.
enum class ChannelOrder {
    bgr,  ///< blue, green, red: that of this library and of its image library
    rgb,  ///< red, green, blue
};

}  // namespace likeness
