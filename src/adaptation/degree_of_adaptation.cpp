#include <likeness/adaptation/degree_of_adaptation.hpp>

#include "numerics/transcendental_blocks.hpp"

#include <cmath>

namespace likeness {
namespace {

constexpr double F = 1.0;

double exponentOf(float L_A) {
    const float e = -(L_A - 42.0F);  // 42 - L_A, departure 1
    return e / 92.0;
}

double degreeFrom(double exponential) {
    return F * (1.0 - exponential * 0.2777777777777778);  // 1 / 3.6
}

}  // namespace

float computeAdapFactD(float L_A) {
    return static_cast<float>(degreeFrom(std::exp(exponentOf(L_A))));
}

void computeAdapFactD(const float* L_A, float* D, std::size_t count) {
    constexpr double log10OfE = 0.43429448190325182765;
    double exponential[numerics::blockSize];
    numerics::forEachBlock(count, [&](std::size_t first, std::size_t n) {
        for (std::size_t k = 0; k < n; ++k) {
            exponential[k] = exponentOf(L_A[first + k]) * log10OfE;
        }
        numerics::exp10Block(exponential, exponential, n);
        for (std::size_t k = 0; k < n; ++k) {
            const float luminance = L_A[first + k];
            // In between, the difference in D is no smaller than 0.39 and keeps the exponential's precision.
            D[first + k] = luminance > -30 && luminance < 1000
                               ? numerics::roundedOr(degreeFrom(exponential[k]),
                                                     [luminance] { return computeAdapFactD(luminance); })
                               : computeAdapFactD(luminance);
        }
    });
}

}  // namespace likeness
