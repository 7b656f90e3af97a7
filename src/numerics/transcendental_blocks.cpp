#include "numerics/transcendental_blocks.hpp"

#include <cmath>

namespace likeness::numerics {
namespace {

template <double (*function)(double)>
void each(const double* argument, double* out, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = function(argument[i]);
    }
}

void pow(const double* base, double exponent, double* out, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = std::pow(base[i], exponent);
    }
}

double powerOf10(double exponent) {
    return std::pow(10.0, exponent);
}

void atan2(const double* y, const double* x, double* out, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = std::atan2(y[i], x[i]);
    }
}

bool roundAll(const double* approximate, float* rounded, std::size_t count, double bound) {
    bool decided = true;
    for (std::size_t i = 0; i < count; ++i) {
        rounded[i] = static_cast<float>(approximate[i] * (1.0 - bound));
        decided = decided && rounded[i] == static_cast<float>(approximate[i] * (1.0 + bound));
    }
    return decided;
}

const BlockFunctions scalarFunctions = {
    "scalar", pow, each<powerOf10>, each<std::log10>, atan2, each<std::cos>, each<std::sin>, each<std::tan>, roundAll};

const BlockFunctions& fastest() {
    static const BlockFunctions& functions = *blockFunctions().front();
    return functions;
}

}  // namespace

std::vector<const BlockFunctions*> blockFunctions() {
    std::vector<const BlockFunctions*> sets;
#ifdef LIKENESS_HAVE_VECTOR_BLOCKS
    if (__builtin_cpu_supports("avx512f") != 0) {
        sets.push_back(&avx512Functions);
    }
    if (__builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0) {
        sets.push_back(&avx2Functions);
    }
#endif
    sets.push_back(&scalarFunctions);
    return sets;
}

void powBlock(const double* base, double exponent, double* out, std::size_t count) {
    fastest().pow(base, exponent, out, count);
}

void exp10Block(const double* exponent, double* out, std::size_t count) {
    fastest().exp10(exponent, out, count);
}

void log10Block(const double* value, double* out, std::size_t count) {
    fastest().log10(value, out, count);
}

void atan2Block(const double* y, const double* x, double* out, std::size_t count) {
    fastest().atan2(y, x, out, count);
}

void cosBlock(const double* angle, double* out, std::size_t count) {
    fastest().cos(angle, out, count);
}

void sinBlock(const double* angle, double* out, std::size_t count) {
    fastest().sin(angle, out, count);
}

void tanBlock(const double* angle, double* out, std::size_t count) {
    fastest().tan(angle, out, count);
}

bool roundAll(const double* approximate, float* rounded, std::size_t count) {
    return fastest().roundAll(approximate, rounded, count, relativeErrorBound);
}

}  // namespace likeness::numerics
