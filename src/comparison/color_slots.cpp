#include "comparison/color_slots.hpp"

#include <array>

#if defined(__x86_64__) && defined(__GNUC__)
#define LIKENESS_HAVE_AVX2_SLOTS
#include <immintrin.h>
#endif

namespace likeness {
namespace {

/// Spreads the bits of a channel to every third bit.
constexpr std::uint32_t spreadBits(std::uint32_t channel) {
    std::uint32_t spread = 0;
    for (unsigned bit = 0; bit < 8; ++bit) {
        spread |= (channel >> bit & 1U) << (3 * bit);
    }
    return spread;
}

/// By channel and value.
constexpr auto spreadTables = [] {
    std::array<std::array<std::uint32_t, 256>, 3> tables{};
    for (std::uint32_t c = 0; c < 3; ++c) {
        for (std::uint32_t value = 0; value < 256; ++value) {
            tables[c][value] = spreadBits(value) << c;
        }
    }
    return tables;
}();

/// The nibbles of B, G and R, a byte each, of twelve interleaved bits.
constexpr auto nibblesTable = [] {
    std::array<std::uint32_t, 4096> table{};
    for (std::uint32_t bits = 0; bits < table.size(); ++bits) {
        for (unsigned bit = 0; bit < 12; ++bit) {
            table[bits] |= (bits >> bit & 1U) << (8 * (bit % 3) + bit / 3);
        }
    }
    return table;
}();

void slotsByTable(const uchar* pixels, std::size_t count, std::uint32_t* slots, ChannelOrder order) {
    const std::size_t blue = order == ChannelOrder::bgr ? 0 : 2;
    const std::size_t red = 2 - blue;
    for (std::size_t i = 0; i < count; ++i, pixels += 3) {
        slots[i] = spreadTables[0][pixels[blue]] | spreadTables[1][pixels[1]] | spreadTables[2][pixels[red]];
    }
}

#ifdef LIKENESS_HAVE_AVX2_SLOTS

/// Interleaves the low nibbles of the three lower bytes of each 32-bit element.
__attribute__((target("avx2"))) inline __m256i interleaveNibbles(__m256i nibbles) {
    // Of the spread nibble, bits 0, 3 and 6 are in one byte, and bit 9, seen as bit 1, in another.
    const __m256i lowByte =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 8, 9, 64, 65, 72, 73, 0, 1, 8, 9, 64, 65, 72, 73));
    const __m256i highByte = _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 2, 2, 2, 2, 2, 2, 2, 2));
    // Times 1, 2 and 4 moves the channels' bits beside each other; a sum puts them together.
    const __m256i weights = _mm256_set1_epi32(0x00040201);
    const __m256i ones = _mm256_set1_epi16(1);
    const auto low = _mm256_madd_epi16(_mm256_maddubs_epi16(_mm256_shuffle_epi8(lowByte, nibbles), weights), ones);
    const auto high = _mm256_madd_epi16(_mm256_maddubs_epi16(_mm256_shuffle_epi8(highByte, nibbles), weights), ones);
    return _mm256_add_epi32(low, _mm256_slli_epi32(high, 8));
}

/// @return  how many were done: the rest is too close to the end for whole vectors
__attribute__((target("avx2"))) std::size_t slotsByShuffle(const uchar* pixels, std::size_t count, std::uint32_t* slots,
                                                           ChannelOrder order) {
    // Four pixels of twelve bytes in each half, each as B, G, R and a zero.
    const __m256i apart = _mm256_broadcastsi128_si256(
        order == ChannelOrder::bgr ? _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1)
                                   : _mm_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1));
    const __m256i lowNibble = _mm256_set1_epi8(15);
    std::size_t i = 0;
    for (; i + 10 <= count; i += 8, pixels += 24) {  // reads 28 bytes
        const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixels));
        const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixels + 12));
        const __m256i eight =
            _mm256_shuffle_epi8(_mm256_inserti128_si256(_mm256_castsi128_si256(first), second, 1), apart);
        const __m256i low = interleaveNibbles(_mm256_and_si256(eight, lowNibble));
        const __m256i high = interleaveNibbles(_mm256_and_si256(_mm256_srli_epi16(eight, 4), lowNibble));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(slots + i), _mm256_or_si256(low, _mm256_slli_epi32(high, 12)));
    }
    return i;
}

#endif

}  // namespace

void colorSlots(const uchar* pixels, std::size_t count, std::uint32_t* slots, ChannelOrder order) {
    std::size_t done = 0;
#ifdef LIKENESS_HAVE_AVX2_SLOTS
    static const bool supported = __builtin_cpu_supports("avx2") != 0;
    if (supported) {
        done = slotsByShuffle(pixels, count, slots, order);
    }
#endif
    slotsByTable(pixels + 3 * done, count - done, slots + done, order);
}

cv::Vec3b colorOfSlot(std::uint32_t slot) noexcept {
    const std::uint32_t nibbles = nibblesTable[slot >> 12U] << 4U | nibblesTable[slot & 0xfffU];
    return {static_cast<uchar>(nibbles), static_cast<uchar>(nibbles >> 8U), static_cast<uchar>(nibbles >> 16U)};
}

}  // namespace likeness
