// Mutation that knows the parts of JPEG and PNG files: what comes out has lengths and checksums that hold, so that readers
// look at what is in the parts. One of eight times bytes are changed wherever they are.
#include "image_mutation.hpp"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string_view>
#include <utility>
#include <vector>

namespace likeness::fuzz {
namespace {

constexpr std::string_view pngSignature{"\x89PNG\r\n\x1a\n", 8};

/// A segment of a JPEG or a chunk of a PNG.
struct Part {
    std::string name;  ///< marker, or type
    std::string content;
    std::string scan;  ///< of a JPEG: the coded data behind the segment
};

unsigned byteAt(std::string_view bytes, std::size_t at) {
    return static_cast<unsigned char>(bytes[at]);
}

std::vector<Part> jpegParts(std::string_view bytes) {
    std::vector<Part> parts;
    for (std::size_t at = 2; at + 4 <= bytes.size() && byteAt(bytes, at) == 0xFF && byteAt(bytes, at + 1) != 0xD9;) {
        const std::size_t length = byteAt(bytes, at + 2) << 8U | byteAt(bytes, at + 3);
        if (length < 2 || at + 2 + length > bytes.size()) {
            break;
        }
        Part part{std::string(bytes.substr(at, 2)), std::string(bytes.substr(at + 4, length - 2)), {}};
        at += 2 + length;
        if (byteAt(part.name, 1) == 0xDA) {
            const std::size_t begin = at;
            // To the next marker that is neither a stuffed byte nor a restart.
            while (at + 1 < bytes.size() && !(byteAt(bytes, at) == 0xFF && byteAt(bytes, at + 1) != 0 &&
                                              (byteAt(bytes, at + 1) & 0xF8U) != 0xD0)) {
                ++at;
            }
            part.scan = bytes.substr(begin, at - begin);
        }
        parts.push_back(std::move(part));
    }
    return parts;
}

std::string jpegOf(const std::vector<Part>& parts) {
    std::string bytes("\xFF\xD8", 2);
    for (const Part& part : parts) {
        const std::size_t length = std::min<std::size_t>(part.content.size(), 65533);
        bytes += part.name;
        bytes += static_cast<char>((length + 2) >> 8U);
        bytes += static_cast<char>(length + 2);
        bytes += part.content.substr(0, length) + part.scan;
    }
    return bytes + std::string("\xFF\xD9", 2);
}

std::uint32_t bigEndian(std::string_view bytes, std::size_t at) {
    return byteAt(bytes, at) << 24U | byteAt(bytes, at + 1) << 16U | byteAt(bytes, at + 2) << 8U |
           byteAt(bytes, at + 3);
}

void putBigEndian(std::string& bytes, std::uint32_t number) {
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
        bytes += static_cast<char>(number >> shift);
    }
}

std::vector<Part> pngParts(std::string_view bytes) {
    std::vector<Part> parts;
    for (std::size_t at = pngSignature.size(); at + 12 <= bytes.size();) {
        const std::uint32_t length = bigEndian(bytes, at);
        if (length > bytes.size() - at - 12) {
            break;
        }
        Part part{std::string(bytes.substr(at + 4, 4)), std::string(bytes.substr(at + 8, length)), {}};
        if (part.name == "IDAT" && !parts.empty() && parts.back().name == "IDAT") {
            parts.back().content += part.content;
        } else {
            parts.push_back(std::move(part));
        }
        at += 12 + length;
    }
    return parts;
}

std::string pngOf(const std::vector<Part>& parts) {
    std::string bytes(pngSignature);
    for (const Part& part : parts) {
        putBigEndian(bytes, static_cast<std::uint32_t>(part.content.size()));
        const std::string named = part.name + part.content;
        bytes += named;
        putBigEndian(bytes, static_cast<std::uint32_t>(
                                ::crc32_z(0, reinterpret_cast<const unsigned char*>(named.data()), named.size())));
    }
    return bytes;
}

void mutate(std::string& text, std::size_t most, const ByteMutation& bytes) {
    const std::size_t room = std::min(most, text.size() + 64);
    if (room == 0) {
        return;
    }
    const std::size_t length = text.size();
    text.resize(std::max(room, length));
    text.resize(bytes(reinterpret_cast<std::uint8_t*>(text.data()), length, text.size()));
}

/// Changes what a compressed chunk holds.
void mutateCompressed(std::string& content, std::size_t most, const ByteMutation& bytes) {
    std::string raw(std::size_t{1} << 18, '\0');
    uLongf length = raw.size();
    if (::uncompress(reinterpret_cast<Bytef*>(raw.data()), &length, reinterpret_cast<const Bytef*>(content.data()),
                     content.size()) != Z_OK) {
        mutate(content, most, bytes);
        return;
    }
    raw.resize(length);
    mutate(raw, most, bytes);
    uLongf packed = ::compressBound(raw.size());
    content.resize(packed);
    ::compress2(reinterpret_cast<Bytef*>(content.data()), &packed, reinterpret_cast<const Bytef*>(raw.data()),
                raw.size(), 1);
    content.resize(packed);
}

}  // namespace

std::string mutatedImage(std::string_view image, std::size_t most, unsigned seed, const ByteMutation& bytes) {
    std::minstd_rand random(seed);
    const auto below = [&](std::size_t count) { return static_cast<std::size_t>(random()) % count; };
    const bool png = image.starts_with(pngSignature);
    std::vector<Part> parts = png                             ? pngParts(image)
                              : image.starts_with("\xFF\xD8") ? jpegParts(image)
                                                              : std::vector<Part>();
    std::string result(image);
    if (parts.empty() || below(8) == 0) {
        mutate(result, most, bytes);
    } else {
        const std::size_t chosen = below(parts.size());
        Part& part = parts[chosen];
        switch (below(8)) {
            case 0:
                parts.insert(parts.begin() + static_cast<std::ptrdiff_t>(below(parts.size())), Part(part));
                break;
            case 1:
                parts.erase(parts.begin() + static_cast<std::ptrdiff_t>(chosen));
                break;
            case 2:
                std::swap(part, parts[below(parts.size())]);
                break;
            default:
                if (png && part.name == "IDAT" && below(4) != 0) {
                    mutateCompressed(part.content, most, bytes);
                } else {
                    mutate(!part.scan.empty() && below(2) == 0 ? part.scan : part.content, most, bytes);
                }
        }
        result = png ? pngOf(parts) : jpegOf(parts);
    }
    if (result.size() > most) {
        result.resize(most);
    }
    return result;
}

}  // namespace likeness::fuzz
