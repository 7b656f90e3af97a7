// What the estimates of correlates share (comparison/correlate_estimate.hpp, comparison/published_estimate.hpp).
#pragma once

#include "comparison/vector_powers.hpp"

#include <cmath>
#include <cstdint>

// The loops of the estimates are plain C++ that compilers turn into vector instructions; where this is defined, a second
// version of the same loops is for processors with longer vectors. Their last bits differ, by less than the margins.
#if defined(__x86_64__) && defined(__GNUC__)
#define LIKENESS_HAVE_AVX2_ESTIMATES
#endif

namespace likeness {

/// Whether this processor runs the second version.
inline bool haveAvx2() noexcept {
#ifdef LIKENESS_HAVE_AVX2_ESTIMATES
    return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
#else
    return false;
#endif
}

/// A row of a matrix of linear or sharpened R, G, B.
struct EstimateRow {
    float red, green, blue;
};

LIKENESS_ALWAYS_INLINE float times(const EstimateRow& row, float red, float green, float blue) {
    return row.red * red + row.green * green + row.blue * blue;
}

/// Response of a cone to `scaled` >= 0, F_L x / 100, without the offset of 0.1.
LIKENESS_ALWAYS_INLINE float compressedCone(float scaled) {
    const float power = exp2Of(0.42F * log2Of(scaled + 1e-30F));
    return 400.0F * power / (power + 27.13F);
}

/// The bin of a value below `limit` and whether its neighbour is out of reach of the error.
LIKENESS_ALWAYS_INLINE std::int32_t estimatedBin(float value, float error, int limit, bool& certain) {
    const float shifted = value + 0.5F;
    const bool small = value < static_cast<float>(limit - 1);
    const auto bin = static_cast<std::int32_t>(small ? shifted : 0.0F);
    const float above = shifted - static_cast<float>(bin);
    certain = certain & small & (above > error) & (above < 1.0F - error);
    return bin;
}

/// The chromatic radius with its eccentricity, 4 e sqrt(a^2 + b^2) where cos(h + 2) is taken apart, and what divides it.
struct EstimatedChromaticity {
    float eccentricRadius;
    float divisor;
    float achromatic;  ///< 2 rho + gamma + beta / 20
};

LIKENESS_ALWAYS_INLINE EstimatedChromaticity estimatedChromaticity(float rho, float gamma, float beta) {
    const float a = rho - gamma * (12.0F / 11) + beta * (1.0F / 11);
    const float b = (rho + gamma - 2.0F * beta) * (1.0F / 9);
    constexpr float cosine = -0.4161468365F;  // of 2
    constexpr float sine = 0.9092974268F;
    return {3.8F * std::sqrt(a * a + b * b) + (a * cosine - b * sine), rho + gamma + 1.05F * beta + 0.305F,
            2.0F * rho + gamma + beta * 0.05F};
}

}  // namespace likeness
