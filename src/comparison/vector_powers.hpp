// Logarithm and power of two in float, in plain C++ that compilers turn into vector instructions. Their last bits
// depend on the processor: they are for estimates with margins.
#pragma once

#include <bit>
#include <cstdint>

#define LIKENESS_ALWAYS_INLINE [[gnu::always_inline]] inline

namespace likeness {

/// Binary logarithm of a positive, normal number: the exponent, and of the rest m in [sqrt(1/2), sqrt(2)) the series of
/// 2 artanh((m - 1) / (m + 1)). Absolute error below 1e-7 beside the rounding of the sum.
LIKENESS_ALWAYS_INLINE float log2Of(float x) {
    constexpr std::int32_t halfRootBits = 0x3f3504f3;  // sqrt(1/2)
    const auto bits = std::bit_cast<std::int32_t>(x);
    const std::int32_t exponent = (bits - halfRootBits) >> 23;
    const auto m = std::bit_cast<float>(bits - (exponent << 23));
    const float q = (m - 1.0F) / (m + 1.0F);
    const float q2 = q * q;
    constexpr float unit = 2.885390082F;  // 2 / ln 2
    const float series = unit + q2 * (unit / 3 + q2 * (unit / 5 + q2 * (unit / 7 + q2 * (unit / 9))));
    return static_cast<float>(exponent) + q * series;
}

/// 2^x for |x| < 100: a power of two, and for the rest in [-1/2, 1/2] the exponential series.
LIKENESS_ALWAYS_INLINE float exp2Of(float x) {
    constexpr float toInteger = 12582912.0F;  // 1.5 * 2^23: adding it rounds to an integer
    const float shifted = x + toInteger;
    const auto power = std::bit_cast<std::int32_t>(shifted) - std::bit_cast<std::int32_t>(toInteger);
    const float f = (x - (shifted - toInteger)) * 0.6931471806F;
    const float series =
        1.0F + f * (1.0F + f * (1.0F / 2 + f * (1.0F / 6 + f * (1.0F / 24 + f * (1.0F / 120 + f * (1.0F / 720))))));
    return std::bit_cast<float>(std::bit_cast<std::int32_t>(series) + (power << 23));
}

}  // namespace likeness
