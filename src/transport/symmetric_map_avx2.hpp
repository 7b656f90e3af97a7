// Transport maps of several pixels at once, for x86-64 processors with AVX2.
#pragma once

#include <cstddef>

namespace likeness::avx2 {

/// Elements 00, 01, 02, 11, 12, 22 of a symmetric 3 x 3 matrix for each of some pixels.
inline constexpr std::size_t pixelsAtOnce = 4;
using SymmetricLanes = double[6][pixelsAtOnce];

/// As `transportMap` of each pixel, bit for bit, wherever the source has a triangular factor.
/// @return  bit k is set where pixel k has got its map; the others are left to `transportMap`
unsigned transportMaps(const SymmetricLanes& source, const SymmetricLanes& target, SymmetricLanes& map) noexcept;

}  // namespace likeness::avx2
