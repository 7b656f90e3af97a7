// Whether the end of an image file is missing.
#pragma once

#include "photofile/image_header.hpp"

#include <cstdint>

namespace likeness {

/// Finds out how many bytes a file must have by what stands in it: the lengths of the chunks of a PNG, the boxes of
/// HEIC, AVIF, JPEG XL and JPEG 2000, the first frame of a GIF, the strips and tiles of the first picture of a TIFF,
/// the whole of BMP, WebP and of binary anymaps, the header of a JPEG. Other formats do not tell. Reads a bounded
/// number of bytes.
/// @param size  of the file
/// @return      whether it has fewer
bool isCutOff(const ByteSource& source, const ImageHeader& header, std::uint64_t size);

/// What stands at the end of a file.
enum class FileEnd {
    there,    ///< what the format has there
    missing,  ///< not what the format has there, although the file is read: scans of a JPEG, further frames of a GIF
    untold,   ///< the format does not tell before it is decoded
};

/// Of a file that is not cut off (`isCutOff`). Of a JPEG it walks through the scans to their end, of a GIF through the
/// frames; nothing is decoded.
FileEnd endOf(const ByteSource& source, const ImageHeader& header, std::uint64_t size);

}  // namespace likeness
