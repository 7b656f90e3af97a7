#include "color/srgb_companding.hpp"

#include "numerics/transcendental_blocks.hpp"

namespace likeness {

using numerics::blockSize;
using numerics::forEachBlock;
using numerics::powBlock;
using numerics::roundedOr;

// The loops below know which values take the power from the scalar functions' own thresholds; where the power is not
// needed its block gets the harmless 1.

void sRGBCompandingOfRow(const float* linear, float* encoded, std::size_t count) {
    forEachBlock(count, [&](std::size_t first, std::size_t n) {
        const float* const in = linear + first;
        float* const out = encoded + first;
        double power[blockSize] = {};
        for (std::size_t i = 0; i < n; ++i) {
            power[i] = in[i] <= 0.0031308 ? 1.0 : static_cast<double>(in[i]);
        }
        powBlock(power, 0.4166666666666667, power, n);
        for (std::size_t i = 0; i < n; ++i) {
            const float v = in[i];
            out[i] = v <= 0.0031308 ? sRGBCompanding(v)
                                    : roundedOr(1.055 * power[i] - 0.055, [v] { return sRGBCompanding(v); });
        }
    });
}

void sRGBInverseCompandingOfRow(const float* encoded, float* linear, std::size_t count) {
    forEachBlock(count, [&](std::size_t first, std::size_t n) {
        const float* const in = encoded + first;
        float* const out = linear + first;
        double power[blockSize] = {};
        for (std::size_t i = 0; i < n; ++i) {
            power[i] = in[i] <= 0.04045 ? 1.0 : (static_cast<double>(in[i]) + 0.055) / 1.055;
        }
        powBlock(power, 2.4, power, n);
        for (std::size_t i = 0; i < n; ++i) {
            const float v = in[i];
            out[i] =
                v <= 0.04045 ? sRGBInverseCompanding(v) : roundedOr(power[i], [v] { return sRGBInverseCompanding(v); });
        }
    });
}

}  // namespace likeness
