#include "photofile/stored_orientation.hpp"

#include "codecs/exif_orientation.hpp"
#include "photofile/header_bytes.hpp"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace likeness {
namespace {

using namespace std::string_view_literals;

constexpr std::uint64_t mostExifBytes = std::uint64_t{1} << 20;
constexpr auto exifMark = "Exif\0\0"sv;

/// @param length  of the Exif data, which may begin with the mark that they have in a JPEG
std::optional<int> orientationAt(HeaderBytes& file, std::uint64_t at, std::uint64_t length) {
    if (file.holds(at, exifMark)) {
        at += exifMark.size();
        length -= std::min<std::uint64_t>(length, exifMark.size());
    }
    const std::vector<unsigned char> exif = file.bytes(at, static_cast<std::size_t>(std::min(length, mostExifBytes)));
    return exif.size() == length ? exifOrientation(exif.data(), exif.size()) : std::nullopt;
}

std::optional<int> ofJpeg(HeaderBytes& file) {
    std::optional<int> found = 0;
    forEachJpegSegment(file, [&](const JpegSegment& segment) {
        constexpr unsigned app1 = 0xE1;
        if (segment.marker != app1 || !file.holds(segment.content, exifMark)) {
            return true;
        }
        found = orientationAt(file, segment.content, segment.length);
        return false;
    });
    return found;
}

std::optional<int> ofPng(HeaderBytes& file) {
    std::uint64_t at = 8;
    for (int chunk = 0; chunk < 1 << 16; ++chunk) {
        const std::uint64_t length = file.big(at, 4);
        if (!file.good()) {
            break;
        }
        if (file.holds(at + 4, "eXIf")) {
            return orientationAt(file, at + 8, length);
        }
        at += length + 12;
    }
    return 0;
}

/// Chunks of a RIFF file.
std::optional<int> ofWebp(HeaderBytes& file) {
    std::uint64_t at = 12;
    for (int chunk = 0; chunk < 1 << 12; ++chunk) {
        const std::uint64_t length = file.little(at + 4, 4);
        if (!file.good()) {
            break;
        }
        if (file.holds(at, "EXIF")) {
            return orientationAt(file, at + 8, length);
        }
        at += 8 + length + (length & 1);
    }
    return 0;
}

std::optional<int> ofJpeg2000(HeaderBytes& file) {
    std::optional<int> found = 0;
    forEachBox(file, 0, wholeFile, [&](const Box& box) {
        constexpr auto custom = "JpgTiffExif->JP2"sv;
        constexpr auto other = "\x05\x37\xCD\xAB\x9D\x0C\x44\x31\xA7\x2A\xFA\x56\x1F\x2A\x11\x3E"sv;
        if (!file.holds(box.at + 4, "uuid") || !(file.holds(box.content, custom) || file.holds(box.content, other))) {
            return true;
        }
        const std::uint64_t exif = box.content + custom.size();
        found = box.end == wholeFile || box.end < exif ? std::nullopt : orientationAt(file, exif, box.end - exif);
        return false;
    });
    return found;
}

/// The corners of a picture, row by row, by the number that they have as stored.
using Corners = std::array<int, 4>;

/// As they are seen under the orientations 1 to 8.
constexpr std::array<Corners, 8> cornersOf = {
    {{0, 1, 2, 3}, {1, 0, 3, 2}, {3, 2, 1, 0}, {2, 3, 0, 1}, {0, 2, 1, 3}, {2, 0, 3, 1}, {3, 1, 2, 0}, {1, 3, 0, 2}}};

Corners moved(const Corners& corners, int orientation) {
    Corners result{};
    for (std::size_t k = 0; k < result.size(); ++k) {
        const int from = cornersOf[static_cast<std::size_t>(orientation) - 1][k];
        result[k] = corners[static_cast<std::size_t>(from)];
    }
    return result;
}

/// What a property of a picture does, as an orientation; 1 for nothing.
int orientationOfProperty(HeaderBytes& file, const Box& box) {
    if (file.holds(box.at + 4, "irot")) {
        constexpr std::array<int, 4> leftTurns = {1, 8, 3, 6};
        return leftTurns[file.big(box.content, 1) & 3];
    }
    if (file.holds(box.at + 4, "imir")) {
        constexpr int upsideDown = 4;
        constexpr int leftForRight = 2;
        return (file.big(box.content, 1) & 1) == 0 ? upsideDown : leftForRight;
    }
    return 1;
}

/// The properties of a file of pictures, and which of them a picture has.
class Properties {
public:
    explicit Properties(HeaderBytes& file) : file_(file) {
        forEachBox(file_, 0, wholeFile, [this](const Box& box) {
            if (!file_.holds(box.at + 4, "meta")) {
                return true;
            }
            readMeta(box);
            return false;
        });
    }

    int orientation() const {
        Corners corners = cornersOf.front();
        for (const std::uint64_t number : numbers_) {
            if (number >= 1 && number <= properties_.size()) {
                corners = moved(corners, orientationOfProperty(file_, properties_[number - 1]));
            }
        }
        const auto* const found = std::find(cornersOf.begin(), cornersOf.end(), corners);
        return static_cast<int>(found - cornersOf.begin()) + 1;
    }

private:
    static constexpr std::uint64_t fullBox = 4;  // a version and flags before the content

    void readMeta(const Box& meta) {
        std::uint64_t primary = 0;
        std::optional<Box> associations;
        forEachBox(file_, meta.content + fullBox, meta.end, [&](const Box& box) {
            if (file_.holds(box.at + 4, "pitm")) {
                primary = file_.big(box.content + fullBox, file_.big(box.content, 1) == 0 ? 2 : 4);
            } else if (file_.holds(box.at + 4, "iprp")) {
                forEachBox(file_, box.content, box.end, [&](const Box& inner) {
                    if (file_.holds(inner.at + 4, "ipco")) {
                        forEachBox(file_, inner.content, inner.end, [this](const Box& property) {
                            properties_.push_back(property);
                            return true;
                        });
                    } else if (file_.holds(inner.at + 4, "ipma")) {
                        associations = inner;
                    }
                    return true;
                });
            }
            return true;
        });
        if (associations) {
            readAssociations(*associations, primary);
        }
    }

    void readAssociations(const Box& box, std::uint64_t item) {
        const std::size_t idBytes = file_.big(box.content, 1) < 1 ? 2 : 4;
        const std::size_t numberBytes = (file_.big(box.content + 1, 3) & 1) != 0 ? 2 : 1;
        const std::uint64_t count = std::min(file_.big(box.content + fullBox, 4), std::uint64_t{1} << 12);
        std::uint64_t at = box.content + fullBox + 4;
        for (std::uint64_t k = 0; k < count && at < box.end && file_.good(); ++k) {
            const bool wanted = file_.big(at, idBytes) == item;
            const std::uint64_t of = file_.big(at + idBytes, 1);
            at += idBytes + 1;
            for (std::uint64_t n = 0; wanted && n < of; ++n) {
                const std::uint64_t essential = numberBytes == 2 ? 0x8000 : 0x80;
                numbers_.push_back(file_.big(at + n * numberBytes, numberBytes) & (essential - 1));
            }
            at += of * numberBytes;
        }
    }

    HeaderBytes& file_;
    std::vector<Box> properties_;
    std::vector<std::uint64_t> numbers_;  ///< of the properties that the main picture has, from 1 on
};

}  // namespace

std::optional<int> storedOrientation(const ByteSource& source, ImageFileFormat format) {
    HeaderBytes file(source);
    switch (format) {
        case ImageFileFormat::jpeg:
            return ofJpeg(file);
        case ImageFileFormat::png:
            return ofPng(file);
        case ImageFileFormat::webp:
            return ofWebp(file);
        case ImageFileFormat::jpeg2000:
            return ofJpeg2000(file);
        case ImageFileFormat::heic:
        case ImageFileFormat::avif: {
            const int found = Properties(file).orientation();
            return found == 1 ? 0 : found;
        }
        default:
            return 0;
    }
}

}  // namespace likeness
