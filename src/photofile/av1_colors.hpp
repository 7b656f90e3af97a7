// What the AV1 stream of an AVIF says of its colours, where no box does.
#pragma once

#include "photofile/image_header.hpp"

#include <array>
#include <optional>

namespace likeness {

/// Primaries and transfer characteristics (ITU-T H.273) in the sequence header (AV1, 5.5) of the main picture, of a
/// tiled one in that of its first tile. Reads a bounded number of bytes.
/// @return  none where the stream does not tell, or says that both are unspecified, or cannot be found
std::optional<std::array<int, 2>> codePointsOfAv1(const ByteSource& source);

}  // namespace likeness
