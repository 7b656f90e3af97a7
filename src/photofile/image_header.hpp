// What the first bytes of an image file say of it: its size, before anybody allocates or decodes, and its kind.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace likeness {

enum class ImageFileFormat {
    unknown,
    jpeg,
    png,
    tiff,
    bmp,
    webp,
    jpeg2000,
    portable,  ///< PBM, PGM, PPM, PAM
    portableFloat,
    openExr,
    radiance,
    gif,
    sunRaster,
    heic,
    avif,
    jpegXl,
    photoshop,
};

/// What people call it: "JPEG 2000"; "unknown" of what is not known.
const char* nameOf(ImageFileFormat format) noexcept;

struct ImageHeader {
    ImageFileFormat format = ImageFileFormat::unknown;
    std::uint64_t width = 0;     ///< pixels, as stored; 0 where the header does not tell
    std::uint64_t height = 0;    ///< likewise
    int bits = 0;                ///< of a channel; 0 where the header does not tell
    bool floats = false;         ///< whether the values are floating-point numbers
    bool cameraRaw = false;      ///< a camera's raw file: what image readers find in it is an embedded preview
    const char* codec = "";      ///< how the pixels are packed; empty where the header does not tell
    int channels = 0;            ///< with alpha; 0 where the header does not tell
    bool alpha = false;          ///< whether the header tells of an alpha channel or a transparent colour
    int pages = 1;               ///< pictures in the file, as far as they were walked to
    std::uint64_t greatest = 0;  ///< value that stands for white, where the format lets the file choose it; else 0

    bool misread = false;  ///< of a TIFF or an arbitrary map (PAM): whether the image library takes its values for
                           ///< others, or cannot read them
    bool toldOf = false;  ///< of a TIFF: whether it reads them, but does not tell what they are: CIE L*a*b*, or colours
                          ///< multiplied by alpha

    std::string unread;  ///< why a variant of a format is not read; empty where it is, or where only decoding tells

    int orientation = 0;  ///< to be applied by who reads it with this header; never found in it

    /// Whether the values are proportional to light by the definition of the format.
    bool isLinear() const noexcept {
        return format == ImageFileFormat::radiance || format == ImageFileFormat::openExr ||
               format == ImageFileFormat::portableFloat;
    }

    /// @return  width x height, the greatest value if it is beyond all measure; 0 if the size is not known
    std::uint64_t pixels() const noexcept;
};

/// Reads up to `count` bytes from `offset` on.
/// @return  how many were read; fewer than `count` only at the end of the file
using ByteSource = std::function<std::size_t(std::uint64_t offset, unsigned char* bytes, std::size_t count)>;

/// Reads the header by content; a name and its extension play no part. Strict about lengths: whatever the bytes are, it
/// reads a bounded number of them, and what is cut off or contradicts itself is left 0. Of a JPEG it finds the frame
/// header behind at most 2^12 other segments, of a TIFF it walks at most 64 directories of at most 4096 entries.
///
/// A camera's raw file is known by: a TIFF with the tag DNGVersion, with a colour filter array or linear raw values in
/// any directory, with "CR" behind its header, or whose first directory is a reduced image beside
/// sub-directories; the magic numbers of ORF, RW2, RAF, CR3, CRW, MRW and X3F.
///
/// @note  What `source` throws passes through.
ImageHeader readImageHeader(const ByteSource& source);

}  // namespace likeness
