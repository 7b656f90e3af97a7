#include "photofile/cut_off.hpp"

#include "photofile/header_bytes.hpp"

#include <algorithm>
#include <limits>

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

/// TIFF 6.0, section 8: where the strips, or the tiles, of the first directory are, and how long.
bool isTiffCutOff(HeaderBytes& file, std::uint64_t size) {
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
            return isTiffCutOff(file, size);
        case ImageFileFormat::heic:
        case ImageFileFormat::avif:
            return areBoxesCutOff(file, size);
        case ImageFileFormat::jpegXl:
        case ImageFileFormat::jpeg2000:
            return !file.holds(0, "\xFF") && areBoxesCutOff(file, size);
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

}  // namespace likeness
