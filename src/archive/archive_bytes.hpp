// Numbers in files: little endian, at any address. docs/archive-format.md has the layout that they make.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace likeness::archive {

static_assert(std::endian::native == std::endian::little, "archives are mapped as they are");

/// Appends the bytes of a number.
template <typename Number>
void put(std::string& bytes, Number number) {
    char raw[sizeof number];
    std::memcpy(raw, &number, sizeof number);
    bytes.append(raw, sizeof number);
}

/// The number at a place; the bytes reach so far.
template <typename Number>
Number numberAt(const char* bytes) {
    Number number{};
    std::memcpy(&number, bytes, sizeof number);
    return number;
}

/// Appends a whole number in groups of 7 bits, the least first; the eighth bit says that another follows.
inline void putVarint(std::string& bytes, std::uint64_t number) {
    for (; number >= 128; number >>= 7U) {
        bytes += static_cast<char>((number & 127U) | 128U);
    }
    bytes += static_cast<char>(number);
}

/// 0, -1, 1, -2, ... as 0, 1, 2, 3, ...
constexpr std::uint64_t zigzag(std::int64_t number) noexcept {
    return static_cast<std::uint64_t>(number) << 1U ^ static_cast<std::uint64_t>(number >> 63U);
}

/// The inverse.
constexpr std::int64_t fromZigzag(std::uint64_t number) noexcept {
    return static_cast<std::int64_t>(number >> 1U ^ (~(number & 1U) + 1U));
}

/// CRC-32 as in zlib (polynomial 0xEDB88320 of ISO 3309).
std::uint32_t checksum(std::string_view bytes, std::uint32_t before = 0) noexcept;

}  // namespace likeness::archive
