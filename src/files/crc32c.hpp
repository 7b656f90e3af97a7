#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace likeness {

/// CRC-32C (polynomial 0x1EDC6F41 of Castagnoli, reflected; RFC 3720, appendix B.4): it notices every error of up to five
/// bits in a text of up to 655 bytes, of up to three in a longer one, and every burst of up to 32.
/// @param before  the value of what stands before the bytes, so that a text may come in pieces
constexpr std::uint32_t crc32c(std::string_view bytes, std::uint32_t before = 0) noexcept {
    constexpr auto table = [] {
        std::array<std::uint32_t, 256> entries{};
        for (std::uint32_t k = 0; k < entries.size(); ++k) {
            std::uint32_t value = k;
            for (int bit = 0; bit < 8; ++bit) {
                value = value >> 1U ^ ((value & 1U) != 0 ? 0x82F63B78U : 0U);
            }
            entries[k] = value;
        }
        return entries;
    }();
    std::uint32_t value = ~before;
    for (const char c : bytes) {
        value = value >> 8U ^ table[(value ^ static_cast<unsigned char>(c)) & 0xFFU];
    }
    return ~value;
}

}  // namespace likeness
