// TIFF files made here, in layouts that the image library does not write.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace likeness::testing {

/// How the numbers of a made TIFF stand in it.
struct TiffLayout {
    bool bigEndian = false;
    bool wide = false;  ///< BigTIFF
    std::uint64_t samples = 1;
    bool planes = false;
    std::uint64_t photometric = 1;  ///< 0 white is 0, 1 black is 0, 2 R, G, B, 5 inks, 8 to 10 CIE L*a*b*
    std::uint64_t extra = 0;        ///< ExtraSamples: 1 associated alpha, 2 unassociated; 0: none
    bool primaries = false;         ///< whether it tells those of Adobe RGB (1998)
};

/// A TIFF of one row, not compressed.
/// @param values  in the order of the file
/// @param format  SampleFormat: 1 for integers, 2 for signed ones, 3 for floats
std::string madeTiff(const std::vector<std::uint64_t>& values, int bits, std::uint64_t format,
                     const TiffLayout& layout);

}  // namespace likeness::testing
