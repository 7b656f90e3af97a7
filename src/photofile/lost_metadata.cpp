#include "photofile/lost_metadata.hpp"

#include "photofile/header_bytes.hpp"

#include <string_view>

namespace likeness {
namespace {

using namespace std::literals;

/// Segments hold 64 KiB. What is longer is cut into several: Exif data one after the other, XMP in packets that it names
/// itself (Adobe, "XMP Specification Part 3", 1.1.3.1).
std::string lostOfJpeg(HeaderBytes& file) {
    constexpr unsigned app1 = 0xE1;
    int exif = 0;
    bool extended = false;
    forEachJpegSegment(file, [&](const JpegSegment& segment) {
        if (segment.marker == app1) {
            exif += file.holds(segment.content, "Exif\0\0"sv) ? 1 : 0;
            extended = extended || file.holds(segment.content, "http://ns.adobe.com/xmp/extension/");
        }
        return true;
    });
    return exif > 1   ? "its Exif data stand in several segments"
           : extended ? "its XMP data stand in several segments"
                      : "";
}

/// Boxes "brob" hold the content of others, compressed (ISO/IEC 18181-2, 9.8).
std::string lostOfJpegXl(HeaderBytes& file) {
    std::uint64_t at = 0;
    constexpr int mostBoxes = 1 << 12;
    for (int box = 0; box < mostBoxes && file.good(); ++box) {
        std::uint64_t size = file.big(at, 4);
        std::uint64_t header = 8;
        if (size == 1) {
            size = file.big(at + 8, 8);
            header = 16;
        }
        if (file.holds(at + 4, "brob") && (file.holds(at + header, "Exif") || file.holds(at + header, "xml "))) {
            return "its Exif or XMP data are compressed";
        }
        if (size < header || size > std::numeric_limits<std::uint64_t>::max() / 4) {
            break;
        }
        at += size;
    }
    return "";
}

}  // namespace

std::string lostMetadata(const ByteSource& source, const ImageHeader& header) {
    HeaderBytes file(source);
    if (header.format == ImageFileFormat::jpeg) {
        return lostOfJpeg(file);
    }
    return header.format == ImageFileFormat::jpegXl && file.holds(4, "JXL ") ? lostOfJpegXl(file) : "";
}

}  // namespace likeness
