// Places of 8-bit colours in a table of all 2^24.
//
// The bits of the channels are interleaved (a Morton code; Morton, "A computer oriented geodetic data base and a new
// technique in file sequencing", IBM, 1966): similar colours stand close together, so that a photograph with noise
// stays in the cache and touches few pages.
#pragma once

#include <likeness/comparison/channel_order.hpp>

#include <opencv2/core.hpp>

#include <cstddef>
#include <cstdint>

namespace likeness {

inline constexpr std::size_t colorSlotCount = std::size_t{1} << 24;

/// slots[i] = place of the colour pixels[3 i], pixels[3 i + 1], pixels[3 i + 2]: bit k of B, G and R are bits 3 k,
/// 3 k + 1 and 3 k + 2.
/// @param order  that of the pixels' channels; the same colour has the same place in both
void colorSlots(const uchar* pixels, std::size_t count, std::uint32_t* slots, ChannelOrder order = ChannelOrder::bgr);

/// The colour of a place.
cv::Vec3b colorOfSlot(std::uint32_t slot) noexcept;

}  // namespace likeness
