#include "numerics/transcendental_blocks.hpp"

#include "numerics/transcendental_blocks_avx2.hpp"

#include <cmath>

namespace likeness::numerics {
namespace {

bool useAvx2() noexcept {
#ifdef LIKENESS_HAVE_AVX2_BLOCKS
    static const bool supported = __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
    return supported;
#else
    return false;
#endif
}

}  // namespace

#ifdef LIKENESS_HAVE_AVX2_BLOCKS
#define LIKENESS_AVX2(call) avx2::call
#else
#define LIKENESS_AVX2(call) static_cast<void>(0)
#endif

void powBlock(const double* base, double exponent, double* out, std::size_t count) {
    if (useAvx2()) {
        LIKENESS_AVX2(powBlock(base, exponent, out, count));
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = std::pow(base[i], exponent);
    }
}

void exp10Block(const double* exponent, double* out, std::size_t count) {
    if (useAvx2()) {
        LIKENESS_AVX2(exp10Block(exponent, out, count));
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = std::pow(10.0, exponent[i]);
    }
}

void log10Block(const double* value, double* out, std::size_t count) {
    if (useAvx2()) {
        LIKENESS_AVX2(log10Block(value, out, count));
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = std::log10(value[i]);
    }
}

void atan2Block(const double* y, const double* x, double* out, std::size_t count) {
    if (useAvx2()) {
        LIKENESS_AVX2(atan2Block(y, x, out, count));
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = std::atan2(y[i], x[i]);
    }
}

void cosBlock(const double* angle, double* out, std::size_t count) {
    if (useAvx2()) {
        LIKENESS_AVX2(cosBlock(angle, out, count));
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = std::cos(angle[i]);
    }
}

void sinBlock(const double* angle, double* out, std::size_t count) {
    if (useAvx2()) {
        LIKENESS_AVX2(sinBlock(angle, out, count));
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = std::sin(angle[i]);
    }
}

void tanBlock(const double* angle, double* out, std::size_t count) {
    if (useAvx2()) {
        LIKENESS_AVX2(tanBlock(angle, out, count));
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = std::tan(angle[i]);
    }
}

bool roundAll(const double* approximate, float* rounded, std::size_t count) {
    std::size_t done = 0;
    bool decided = true;
    if (useAvx2()) {
        LIKENESS_AVX2(roundAll(approximate, rounded, count, relativeErrorBound, done, decided));
    }
    for (std::size_t i = done; i < count; ++i) {
        const auto low = static_cast<float>(approximate[i] * (1.0 - relativeErrorBound));
        rounded[i] = low;
        decided = decided && low == static_cast<float>(approximate[i] * (1.0 + relativeErrorBound));
    }
    return decided;
}

}  // namespace likeness::numerics
