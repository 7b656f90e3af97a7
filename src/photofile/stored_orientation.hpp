// How a file says that its picture is to be turned.
#pragma once

#include "photofile/image_header.hpp"

#include <optional>

namespace likeness {

/// The orientation that a JPEG, PNG, WebP or JPEG 2000 says in its Exif data, and that a HEIC or AVIF says by its
/// properties `irot` and `imir` (ISO/IEC 23008-12, 6.5.10 and 6.5.12), in the numbers of Exif, 1 to 8. Of JPEG 2000 the
/// Exif data stand in a box `uuid`, for which there is no standard but a custom.
/// @return  0 where it says nothing, and of other formats; nothing where its Exif data are damaged
/// @note    What `source` throws passes through.
std::optional<int> storedOrientation(const ByteSource& source, ImageFileFormat format);

/// Whether the orientation of such a file is applied by the one who reads it, and not by the decoder.
constexpr bool isTurnedByReader(ImageFileFormat format) noexcept {
    return format == ImageFileFormat::webp || format == ImageFileFormat::jpeg2000;
}

}  // namespace likeness
