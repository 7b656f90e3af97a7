#include "photofile/profile_tagging.hpp"

#include "photofile/image_header.hpp"

#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <stdexcept>
#include <string_view>

namespace likeness {
namespace {

using namespace std::string_view_literals;

using Bytes = std::vector<unsigned char>;

void append(Bytes& bytes, std::string_view text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
}

constexpr std::size_t behindPngHeader = 8 + 12 + 13;  ///< signature and chunk IHDR

void appendNumber(Bytes& bytes, std::uint64_t value, std::size_t size, bool bigEndian = true) {
    for (std::size_t k = 0; k < size; ++k) {
        const std::size_t shift = 8 * (bigEndian ? size - 1 - k : k);
        bytes.push_back(static_cast<unsigned char>(value >> shift));
    }
}

void insertAt(Bytes& bytes, std::size_t place, const Bytes& inserted) {
    if (place > bytes.size()) {
        throw std::logic_error("the image library wrote a file that cannot be given a profile");
    }
    bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(place), inserted.begin(), inserted.end());
}

void appendChunk(Bytes& bytes, std::string_view type, const Bytes& data) {
    appendNumber(bytes, data.size(), 4);
    const std::size_t begin = bytes.size();
    append(bytes, type);
    bytes.insert(bytes.end(), data.begin(), data.end());
    appendNumber(bytes, ::crc32(0, bytes.data() + begin, static_cast<uInt>(bytes.size() - begin)), 4);
}

Bytes deflated(const Bytes& data) {
    uLongf size = ::compressBound(static_cast<uLong>(data.size()));
    Bytes result(size);
    if (::compress2(result.data(), &size, data.data(), static_cast<uLong>(data.size()), Z_BEST_COMPRESSION) != Z_OK) {
        throw std::bad_alloc();
    }
    result.resize(size);
    return result;
}

}  // namespace

void tagJpeg(Bytes& jpeg, const ColorProfile& profile) {
    constexpr std::string_view name = "ICC_PROFILE\0"sv;
    constexpr std::size_t mostInChunk = 0xFFFF - 2 - name.size() - 2;
    const Bytes& icc = profile.icc();
    const std::size_t chunks = (icc.size() + mostInChunk - 1) / mostInChunk;
    if (chunks > 255) {
        throw ProfileProblem(" '" + profile.description() + "' is too large for a JPEG");
    }
    Bytes segments;
    for (std::size_t k = 0; k < chunks; ++k) {
        const std::size_t first = k * mostInChunk;
        const std::size_t count = std::min(mostInChunk, icc.size() - first);
        append(segments, "\xFF\xE2"sv);
        appendNumber(segments, 2 + name.size() + 2 + count, 2);
        append(segments, name);
        appendNumber(segments, k + 1, 1);
        appendNumber(segments, chunks, 1);
        segments.insert(segments.end(), icc.begin() + static_cast<std::ptrdiff_t>(first),
                        icc.begin() + static_cast<std::ptrdiff_t>(first + count));
    }
    // JFIF stands first where it stands.
    const bool jfif = jpeg.size() > 6 && jpeg[2] == 0xFF && jpeg[3] == 0xE0;
    insertAt(jpeg, jfif ? 4 + (static_cast<std::size_t>(jpeg[4]) << 8 | jpeg[5]) : 2, segments);
}

void tagPng(Bytes& png, const ColorProfile& profile) {
    Bytes chunks;
    if (profile.isSrgb()) {
        constexpr unsigned char relativeColorimetric = 1;
        appendChunk(chunks, "sRGB", {relativeColorimetric});
        Bytes gamma;
        appendNumber(gamma, 45455, 4);  // what PNG, third edition, 11.3.2.5, has beside it for older readers
        appendChunk(chunks, "gAMA", gamma);
    } else {
        Bytes data;
        append(data, "ICC profile\0\0"sv);  // a name, its end, and the method of compression
        const Bytes packed = deflated(profile.icc());
        data.insert(data.end(), packed.begin(), packed.end());
        appendChunk(chunks, "iCCP", data);
    }
    insertAt(png, behindPngHeader, chunks);
}

void addToPng(Bytes& png, std::string_view type, const Bytes& data) {
    Bytes chunk;
    appendChunk(chunk, type, data);
    insertAt(png, behindPngHeader, chunk);
}

void tagTiff(Bytes& tiff, const ColorProfile& profile) {
    constexpr unsigned interColorProfile = 34675;
    constexpr unsigned undefinedType = 7;
    if (!addToTiff(tiff, interColorProfile, undefinedType, profile.icc())) {
        throw ProfileProblem(" '" + profile.description() + "' has no room in a TIFF of this size");
    }
}

void tagWebp(Bytes& webp, const ColorProfile& profile) {
    constexpr std::size_t behindName = 12;
    constexpr std::size_t extendedSize = 18;
    constexpr unsigned char hasProfile = 0x20;
    constexpr unsigned char hasAlpha = 0x10;
    const auto holds = [&webp](std::string_view text) {
        return webp.size() >= behindName + text.size() &&
               std::equal(text.begin(), text.end(), webp.begin() + behindName);
    };
    Bytes chunks;
    if (!holds("VP8X"sv)) {
        const ImageHeader header = readImageHeader([&webp](std::uint64_t offset, unsigned char* to, std::size_t count) {
            const std::size_t there = offset >= webp.size() ? 0 : std::min(count, webp.size() - std::size_t{offset});
            std::copy_n(webp.begin() + static_cast<std::ptrdiff_t>(there == 0 ? 0 : offset), there, to);
            return there;
        });
        append(chunks, "VP8X"sv);
        appendNumber(chunks, 10, 4, false);
        appendNumber(chunks, header.alpha ? hasAlpha : 0U, 4, false);
        appendNumber(chunks, header.width - 1, 3, false);
        appendNumber(chunks, header.height - 1, 3, false);
        insertAt(webp, behindName, chunks);
        chunks.clear();
    }
    const Bytes& icc = profile.icc();
    append(chunks, "ICCP"sv);
    appendNumber(chunks, icc.size(), 4, false);
    chunks.insert(chunks.end(), icc.begin(), icc.end());
    chunks.resize(chunks.size() + chunks.size() % 2);
    insertAt(webp, behindName + extendedSize, chunks);
    webp[behindName + 8] |= hasProfile;
    Bytes size;
    appendNumber(size, webp.size() - 8, 4, false);
    std::copy(size.begin(), size.end(), webp.begin() + 4);
}

bool addToTiff(Bytes& tiff, unsigned tag, unsigned type, const Bytes& data) {
    constexpr std::size_t entrySize = 12;
    const auto fail = [] { throw std::logic_error("the image library wrote a TIFF that cannot be given a tag"); };
    if (tiff.size() < 8) {
        fail();
    }
    const bool bigEndian = tiff[0] == 'M';
    const auto number = [&](std::size_t at, std::size_t size) {
        if (at + size > tiff.size()) {
            fail();
        }
        std::uint64_t value = 0;
        for (std::size_t k = 0; k < size; ++k) {
            value = value << 8 | tiff[at + (bigEndian ? k : size - 1 - k)];
        }
        return static_cast<std::size_t>(value);
    };
    const std::size_t directory = number(4, 4);
    const std::size_t count = number(directory, 2);
    const std::size_t next = number(directory + 2 + count * entrySize, 4);
    const auto startAtWord = [&tiff] {
        tiff.resize(tiff.size() + tiff.size() % 2);
        return tiff.size();
    };
    if (tiff.size() + data.size() > 0xFFFFFFFF - 1024 * 1024) {
        return false;
    }
    const std::size_t dataAt = startAtWord();
    tiff.insert(tiff.end(), data.begin(), data.end());
    const std::size_t newDirectory = startAtWord();

    Bytes entry;
    appendNumber(entry, tag, 2, bigEndian);
    appendNumber(entry, type, 2, bigEndian);
    appendNumber(entry, data.size(), 4, bigEndian);
    appendNumber(entry, dataAt, 4, bigEndian);
    std::size_t before = 0;  // entries stand in the order of their tags
    while (before < count && number(directory + 2 + before * entrySize, 2) < tag) {
        ++before;
    }
    Bytes written;
    appendNumber(written, count + 1, 2, bigEndian);
    const auto at = [&](std::size_t k) {
        return tiff.begin() + static_cast<std::ptrdiff_t>(directory + 2 + k * entrySize);
    };
    written.insert(written.end(), at(0), at(before));
    written.insert(written.end(), entry.begin(), entry.end());
    written.insert(written.end(), at(before), at(count));
    appendNumber(written, next, 4, bigEndian);
    tiff.insert(tiff.end(), written.begin(), written.end());
    Bytes place;
    appendNumber(place, newDirectory, 4, bigEndian);
    std::copy(place.begin(), place.end(), tiff.begin() + 4);
    return true;
}

}  // namespace likeness
