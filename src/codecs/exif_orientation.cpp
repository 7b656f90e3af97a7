#include "codecs/exif_orientation.hpp"

#include <array>
#include <cstdint>

namespace likeness {
namespace {

class TiffBytes {
public:
    TiffBytes(const unsigned char* bytes, std::size_t size, bool littleEndian) noexcept
        : bytes_(bytes), size_(size), littleEndian_(littleEndian) {}

    bool holds(std::uint64_t offset, std::uint64_t count) const noexcept {
        return offset <= size_ && count <= size_ - offset;
    }
    /// What is read must be held.
    std::uint32_t word(std::size_t offset) const noexcept { return number(offset, 2); }
    std::uint32_t doubleWord(std::size_t offset) const noexcept { return number(offset, 4); }

private:
    std::uint32_t number(std::size_t offset, std::size_t count) const noexcept {
        std::uint32_t value = 0;
        for (std::size_t k = 0; k < count; ++k) {
            value = value << 8U | bytes_[offset + (littleEndian_ ? count - 1 - k : k)];
        }
        return value;
    }

    const unsigned char* bytes_;
    std::size_t size_;
    bool littleEndian_;
};

/// How many rationals the image library reads for a tag, whatever type the file gives it.
std::uint32_t rationalsOf(std::uint32_t tag) noexcept {
    switch (tag) {
        case 0x011A:  // XResolution
        case 0x011B:  // YResolution
            return 1;
        case 0x013E:  // WhitePoint
            return 2;
        case 0x0211:  // YCbCrCoefficients
            return 3;
        case 0x013F:  // PrimaryChromaticities
        case 0x0214:  // ReferenceBlackWhite
            return 6;
        default:
            return 0;
    }
}

/// Whether the values of a directory's entry lie within the data.
bool isWellFormed(const TiffBytes& tiff, std::size_t entry) noexcept {
    constexpr std::array<std::uint32_t, 13> sizes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};  // of TIFF 6.0's types
    const std::uint32_t tag = tiff.word(entry);
    const std::uint32_t type = tiff.word(entry + 2);
    const std::uint32_t count = tiff.doubleWord(entry + 4);
    if (type == 0 || type >= sizes.size()) {
        return false;
    }
    const std::uint32_t rationals = rationalsOf(tag);
    if (rationals > 0 && (type != 5 || count < rationals)) {
        return false;
    }
    const std::uint64_t bytes = std::uint64_t{count} * sizes[type];
    return bytes <= 4 || tiff.holds(tiff.doubleWord(entry + 8), bytes);
}

}  // namespace

std::optional<int> exifOrientation(const unsigned char* tiff, std::size_t size) noexcept {
    constexpr std::uint32_t orientationTag = 0x0112;
    constexpr std::uint32_t shortType = 3;
    constexpr std::size_t entrySize = 12;
    if (size < 8) {
        return std::nullopt;
    }
    const bool littleEndian = tiff[0] == 'I' && tiff[1] == 'I';
    const bool bigEndian = tiff[0] == 'M' && tiff[1] == 'M';
    const TiffBytes bytes(tiff, size, littleEndian);
    const bool marked = bytes.word(2) == 42;
    if (!littleEndian && !bigEndian) {
        // Something else, such as an XMP packet, which stands in the same segment.
        return marked ? std::nullopt : std::optional<int>(0);
    }
    const std::uint64_t directory = bytes.doubleWord(4);
    if (!marked || !bytes.holds(directory, 2)) {
        return std::nullopt;
    }
    const std::size_t entries = bytes.word(directory);
    for (std::size_t k = 0; k < entries; ++k) {
        const std::size_t entry = directory + 2 + k * entrySize;
        if (!bytes.holds(entry, entrySize) || !isWellFormed(bytes, entry)) {
            return std::nullopt;
        }
        if (bytes.word(entry) == orientationTag) {
            const std::uint32_t value = bytes.word(entry + 8);
            const bool usual = bytes.word(entry + 2) == shortType && bytes.doubleWord(entry + 4) == 1;
            return usual && value >= 1 && value <= 8 ? std::optional<int>(static_cast<int>(value)) : std::nullopt;
        }
    }
    return 0;
}

void applyOrientation(int orientation, cv::Mat& image) {
    constexpr int aboutBoth = -1;
    constexpr int aboutHorizontal = 0;
    constexpr int aboutVertical = 1;
    if (orientation >= 5) {
        cv::transpose(image, image);
    }
    switch (orientation) {
        case 2:
        case 6:
            cv::flip(image, image, aboutVertical);
            break;
        case 3:
        case 7:
            cv::flip(image, image, aboutBoth);
            break;
        case 4:
        case 8:
            cv::flip(image, image, aboutHorizontal);
            break;
        default:
            break;
    }
}

}  // namespace likeness
