#include "photofile/cut_off.hpp"

#include "photofile/header_bytes.hpp"

#include <algorithm>
#include <array>
#include <limits>
#include <vector>

namespace likeness {
namespace {

constexpr int mostPieces = 1 << 16;
constexpr std::uint64_t farthest = std::numeric_limits<std::uint64_t>::max() / 4;

/// PNG, third edition, 5.3: the file ends with the chunk IEND.
bool isPngCutOff(HeaderBytes& file, std::uint64_t size) {
    std::uint64_t at = 8;
    for (int chunk = 0; chunk < mostPieces; ++chunk) {
        const std::uint64_t length = file.big(at, 4);
        if (!file.good() || at + 12 + length > size) {
            return true;
        }
        if (file.holds(at + 4, "IEND")) {
            return false;
        }
        at += 12 + length;
    }
    return false;
}

/// ISO/IEC 14496-12, 4.2: a box of length 0 reaches to the end.
bool areBoxesCutOff(HeaderBytes& file, std::uint64_t size) {
    std::uint64_t at = 0;
    for (int box = 0; box < mostPieces && at < size; ++box) {
        std::uint64_t length = file.big(at, 4);
        const std::uint64_t least = length == 1 ? 16 : 8;
        if (length == 1) {
            length = file.big(at + 8, 8);
        }
        if (!file.good() || (length >= least && length <= farthest && at + length > size)) {
            return true;
        }
        if (length < least || length > farthest) {
            return false;
        }
        at += length;
    }
    return false;
}

/// Whether the values of a directory's entry stand behind the end of the file.
bool reachesBeyond(HeaderBytes& file, std::uint64_t entry, bool wide, bool bigEndian, std::uint64_t size) {
    constexpr std::array<std::uint64_t, 13> sizes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};  // of TIFF 6.0's types
    const std::uint64_t type = file.number(entry + 2, 2, bigEndian);
    const std::uint64_t count = file.number(entry + 4, wide ? 8 : 4, bigEndian);
    const std::uint64_t bytes = type < sizes.size() && count <= farthest / 8 ? count * sizes[type] : 0;
    const std::size_t offsetBytes = wide ? 8 : 4;
    return bytes > offsetBytes &&
           file.number(entry + (wide ? 12 : 8), offsetBytes, bigEndian) > size - std::min(bytes, size);
}

/// TIFF 6.0, section 8: where the strips, or the tiles, of the first directory are, and how long.
/// @param everyEntry  whether each value that stands elsewhere must be there: those of a raw file make its colours
bool isTiffCutOff(HeaderBytes& file, std::uint64_t size, bool everyEntry) {
    const bool bigEndian = file.holds(0, "M");
    const bool wide = file.number(2, 2, bigEndian) == 43;
    const std::uint64_t directory = file.number(wide ? 8 : 4, wide ? 8 : 4, bigEndian);
    const std::uint64_t count = file.number(directory, wide ? 8 : 2, bigEndian);
    if (!file.good()) {
        return true;
    }
    struct Array {
        std::uint64_t count = 0;
        std::size_t valueSize = 0;
        std::uint64_t place = 0;
    };
    Array places;
    Array lengths;
    constexpr std::uint64_t mostEntries = 4096;
    for (std::uint64_t i = 0; i < std::min(count, mostEntries); ++i) {
        const std::uint64_t entry = directory + (wide ? 8 : 2) + i * (wide ? 20 : 12);
        const std::uint64_t tag = file.number(entry, 2, bigEndian);
        const bool isPlace = tag == 273 || tag == 324;
        const bool isLength = tag == 279 || tag == 325;
        if (!file.good()) {
            return true;
        }
        if (everyEntry && reachesBeyond(file, entry, wide, bigEndian, size)) {
            return true;
        }
        if (!isPlace && !isLength) {
            continue;
        }
        const std::uint64_t type = file.number(entry + 2, 2, bigEndian);
        Array array{file.number(entry + 4, wide ? 8 : 4, bigEndian),
                    type == 3    ? std::size_t{2}
                    : type == 16 ? std::size_t{8}
                                 : std::size_t{4},
                    entry + (wide ? 12 : 8)};
        if (array.count > (wide ? 8U : 4U) / array.valueSize) {
            array.place = file.number(array.place, wide ? 8 : 4, bigEndian);
        }
        (isPlace ? places : lengths) = array;
    }
    const std::uint64_t strips = std::min({places.count, lengths.count, std::uint64_t{mostPieces}});
    for (std::uint64_t i = 0; i < strips; ++i) {
        const std::uint64_t place = file.number(places.place + i * places.valueSize, places.valueSize, bigEndian);
        const std::uint64_t length = file.number(lengths.place + i * lengths.valueSize, lengths.valueSize, bigEndian);
        if (!file.good() || (place <= farthest && length <= farthest && place + length > size)) {
            return true;
        }
    }
    return false;
}

bool isJpegCutOff(HeaderBytes& file, const ImageHeader& header, std::uint64_t size) {
    if (header.width == 0) {
        return true;  // not even the frame header
    }
    bool inside = true;
    forEachJpegSegment(file, [&](const JpegSegment& segment) {
        inside = segment.content + segment.length < size;
        return inside;
    });
    return !inside;
}

/// Walks over coded data of a JPEG (ITU-T T.81, B.1.1.5).
/// @return  the place behind the second byte of the next marker; `size` if there is none
std::uint64_t behindNextMarker(HeaderBytes& file, std::uint64_t at, std::uint64_t size, unsigned& marker) {
    constexpr std::size_t block = 1 << 16;
    bool prefixed = false;
    while (at < size) {
        const std::vector<unsigned char> bytes = file.bytes(at, block);
        if (bytes.empty()) {
            break;
        }
        for (std::size_t k = 0; k < bytes.size(); ++k) {
            const unsigned byte = bytes[k];
            const bool restart = byte >= 0xD0 && byte <= 0xD7;
            if (prefixed && byte != 0 && byte != 0xFF && byte != 1 && !restart) {
                marker = byte;
                return at + k + 1;
            }
            prefixed = byte == 0xFF;
        }
        at += bytes.size();
    }
    return size;
}

/// Whether the scans of a JPEG end with the marker EOI. What stands behind it is not looked at.
bool hasEndOfJpeg(HeaderBytes& file, std::uint64_t size) {
    constexpr unsigned endOfImage = 0xD9;
    constexpr unsigned startOfImage = 0xD8;
    if (size > 2 && file.holds(size - 2, "\xFF\xD9")) {
        return true;
    }
    std::uint64_t at = 2;
    for (int segment = 0; segment < mostPieces; ++segment) {
        unsigned marker = 0;
        at = behindNextMarker(file, at, size, marker);
        if (marker == endOfImage) {
            return true;
        }
        if (at >= size) {
            return false;
        }
        at += marker == startOfImage ? 0 : std::max<std::uint64_t>(file.big(at, 2), 2);
    }
    return true;  // beyond all measure
}

/// Frames of a GIF (GIF89a, section 12).
class GifBlocks {
public:
    GifBlocks(HeaderBytes& file, std::uint64_t size) : file_(file), size_(size) {
        std::uint64_t at = 13 + colorTable(10);
        for (int block = 0; block < mostPieces; ++block) {
            const std::uint64_t kind = file_.big(at, 1);
            constexpr std::uint64_t trailer = 0x3B;
            constexpr std::uint64_t frame = 0x2C;
            constexpr std::uint64_t extension = 0x21;
            if (!file_.good() || (kind != frame && kind != extension)) {
                ended_ = file_.good() && kind == trailer;
                return;
            }
            at = kind == frame ? at + 11 + colorTable(at + 9) : at + 2;
            if (!passData(at)) {
                return;
            }
            frames_ += kind == frame ? 1 : 0;
        }
        ended_ = true;  // beyond all measure
    }

    bool hasFrame() const noexcept { return frames_ > 0; }
    bool ended() const noexcept { return ended_; }

private:
    std::uint64_t colorTable(std::uint64_t flagsAt) {
        const std::uint64_t flags = file_.big(flagsAt, 1);
        return (flags & 0x80) == 0 ? 0 : std::uint64_t{3} << ((flags & 7) + 1);
    }

    /// @return  whether all of it is there
    bool passData(std::uint64_t& at) {
        while (at < size_) {
            const std::uint64_t length = file_.big(at, 1);
            at += 1 + length;
            if (length == 0) {
                return file_.good();
            }
        }
        return false;
    }

    HeaderBytes& file_;
    std::uint64_t size_;
    int frames_ = 0;
    bool ended_ = false;
};

bool isGifCutOff(HeaderBytes& file, std::uint64_t size) {
    const GifBlocks blocks(file, size);
    return !blocks.hasFrame() && !blocks.ended();
}

/// ITU-T T.800, A.4.4: a codestream ends with the marker EOC. In a box it may be followed by others.
bool isJpeg2000CutOff(HeaderBytes& file, std::uint64_t size) {
    const auto hasEnd = [&file](std::uint64_t end) {
        constexpr std::uint64_t padding = 16;  // that some writers leave behind it
        for (std::uint64_t back = 2; back <= padding && back <= end; ++back) {
            if (file.holds(end - back, "\xFF\xD9")) {
                return true;
            }
        }
        return false;
    };
    if (file.holds(0, "\xFF")) {
        return !hasEnd(size);
    }
    if (areBoxesCutOff(file, size)) {
        return true;
    }
    std::uint64_t at = 0;
    for (int box = 0; box < mostPieces && at < size; ++box) {
        std::uint64_t length = file.big(at, 4);
        length = length == 1 ? file.big(at + 8, 8) : length;
        if (!file.good() || (length != 0 && length < 8)) {
            return false;
        }
        if (file.holds(at + 4, "jp2c")) {
            return !hasEnd(length == 0 ? size : at + length);
        }
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return false;
}

/// Binary anymaps and float maps: the pixels stand at the end, packed.
bool isAnymapCutOff(HeaderBytes& file, const ImageHeader& header, std::uint64_t size) {
    const bool floats = header.format == ImageFileFormat::portableFloat;
    const bool color = file.holds(0, "P6") || file.holds(0, "PF");
    if (!floats && !color && !file.holds(0, "P5")) {
        return false;  // text, and bits
    }
    const std::uint64_t bytesOfValue = floats ? 4 : header.bits > 8 ? 2 : 1;
    const std::uint64_t bytesOfPixel = (color ? 3 : 1) * bytesOfValue;
    const std::uint64_t pixels = header.pixels();
    return pixels > 0 && pixels < farthest / bytesOfPixel && pixels * bytesOfPixel > size;
}

}  // namespace

bool isCutOff(const ByteSource& source, const ImageHeader& header, std::uint64_t size) {
    HeaderBytes file(source);
    switch (header.format) {
        case ImageFileFormat::jpeg:
            return isJpegCutOff(file, header, size);
        case ImageFileFormat::png:
            return isPngCutOff(file, size);
        case ImageFileFormat::tiff:
            return isTiffCutOff(file, size, header.cameraRaw);
        case ImageFileFormat::heic:
        case ImageFileFormat::avif:
            return areBoxesCutOff(file, size);
        case ImageFileFormat::gif:
            return isGifCutOff(file, size);
        case ImageFileFormat::jpegXl:
            return !file.holds(0, "\xFF") && areBoxesCutOff(file, size);
        case ImageFileFormat::jpeg2000:
            return isJpeg2000CutOff(file, size);
        case ImageFileFormat::webp:
            return file.little(4, 4) + 8 > size || !file.good();
        case ImageFileFormat::bmp: {
            // Files of some writers have 0 there.
            const std::uint64_t whole = file.little(2, 4);
            return !file.good() || whole > size;
        }
        case ImageFileFormat::portable:
        case ImageFileFormat::portableFloat:
            return isAnymapCutOff(file, header, size);
        default:
            return false;
    }
}

FileEnd endOf(const ByteSource& source, const ImageHeader& header, std::uint64_t size) {
    HeaderBytes file(source);
    const auto told = [](bool there) { return there ? FileEnd::there : FileEnd::missing; };
    switch (header.format) {
        case ImageFileFormat::jpeg:
            return told(hasEndOfJpeg(file, size));
        case ImageFileFormat::gif:
            return told(GifBlocks(file, size).ended());
        case ImageFileFormat::jpegXl:
            return file.holds(0, "\xFF") ? FileEnd::untold : FileEnd::there;
        case ImageFileFormat::openExr:
        case ImageFileFormat::radiance:
        case ImageFileFormat::photoshop:
        case ImageFileFormat::sunRaster:
            return FileEnd::untold;
        default:
            return FileEnd::there;
    }
}

}  // namespace likeness
