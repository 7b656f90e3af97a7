#include <likeness/color/srgb_companding.hpp>

#include "numerics/transcendental_blocks.hpp"

namespace likeness {

using numerics::blockSize;
using numerics::forEachBlock;
using numerics::powBlock;
using numerics::roundBlock;

// The loops below take both branches with products in place of quotients: what is a little off is settled by
// `roundBlock`, which asks the scalar functions where it could matter. Where the power is not needed its block gets the
// harmless 1.
void sRGBCompandingOfRow(const float* linear, float* encoded, std::size_t count) {
    forEachBlock(count, [&](std::size_t first, std::size_t n) {
        const float* const in = linear + first;
        double value[blockSize] = {};
        for (std::size_t i = 0; i < n; ++i) {
            value[i] = in[i] <= 0.0031308 ? 1.0 : static_cast<double>(in[i]);
        }
        powBlock(value, 0.4166666666666667, value, n);
        for (std::size_t i = 0; i < n; ++i) {
            value[i] = in[i] <= 0.0031308 ? 12.92 * static_cast<double>(in[i]) : 1.055 * value[i] - 0.055;
        }
        roundBlock(value, encoded + first, n, [in](std::size_t i) { return sRGBCompanding(in[i]); });
    });
}

void sRGBInverseCompandingOfRow(const float* encoded, float* linear, std::size_t count) {
    forEachBlock(count, [&](std::size_t first, std::size_t n) {
        const float* const in = encoded + first;
        double value[blockSize] = {};
        for (std::size_t i = 0; i < n; ++i) {
            value[i] = in[i] <= 0.04045 ? 1.0 : (static_cast<double>(in[i]) + 0.055) * (1 / 1.055);
        }
        powBlock(value, 2.4, value, n);
        for (std::size_t i = 0; i < n; ++i) {
            value[i] = in[i] <= 0.04045 ? static_cast<double>(in[i]) * (1 / 12.92) : value[i];
        }
        roundBlock(value, linear + first, n, [in](std::size_t i) { return sRGBInverseCompanding(in[i]); });
    });
}

}  // namespace likeness
