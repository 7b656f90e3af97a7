// Transcendental functions of whole blocks of numbers, for results that are stored as float.
//
// A float result is decided by the first 24 bits of its double. So a block function may deliver a double that is
// slightly off, as long as the error is bounded: where both ends of the error interval round to the same float, that
// float is what the standard library's function would have given; in the few other places (about one in 2^18) the
// caller asks the standard library itself. The stored results are therefore the same bits on every machine, with
// vector instructions and without (Ziv, "Fast evaluation of elementary mathematical functions with correctly rounded
// last bit", ACM TOMS 17(3), 1991).
#pragma once

#include "numerics/block_functions.hpp"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace likeness::numerics {

/// Elements that a caller should hand over at once: large enough to hide the call, small enough for the first-level
/// cache with several such blocks in use.
inline constexpr std::size_t blockSize = 256;

/// Bound on the relative error of everything derived from a block function's result by a few double operations.
/// The functions themselves stay below a quarter of it.
inline constexpr double relativeErrorBound = 0x1p-44;

/// out[i] = base[i] ^ exponent. Negative, zero, infinite, NaN and very large or small cases are the standard library's.
/// `out` may be `base`.
void powBlock(const double* base, double exponent, double* out, std::size_t count);

/// out[i] = 10 ^ exponent[i]. NaN and exponents beyond 300 in magnitude are the standard library's. `out` may be
/// `exponent`.
void exp10Block(const double* exponent, double* out, std::size_t count);

/// out[i] = the decimal logarithm of value[i]. Negative, zero, infinite, NaN and very small or large values are the
/// standard library's. `out` may be `value`.
void log10Block(const double* value, double* out, std::size_t count);

/// out[i] = the angle of the vector (x[i], y[i]) in radians, in (-pi, pi]. `out` may be `y` or `x`.
void atan2Block(const double* y, const double* x, double* out, std::size_t count);

/// out[i] = cos(angle[i]), with an absolute (not relative) error below 2^-46. `out` may be `angle`.
void cosBlock(const double* angle, double* out, std::size_t count);

/// out[i] = tan(angle[i]). `out` may be `angle`.
void tanBlock(const double* angle, double* out, std::size_t count);

/// out[i] = sin(angle[i]), with an absolute (not relative) error below 2^-46. `out` may be `angle`.
void sinBlock(const double* angle, double* out, std::size_t count);

/// Rounds `approximate` to float where its error cannot change the result, and otherwise rounds what `exact()` gives:
/// the literal evaluation. NaN always goes to `exact()`.
template <typename Exact>
inline float roundedOr(double approximate, Exact&& exact) {
    const auto low = static_cast<float>(approximate * (1.0 - relativeErrorBound));
    const auto high = static_cast<float>(approximate * (1.0 + relativeErrorBound));
    return low == high ? low : static_cast<float>(exact());
}

/// rounded[i] = approximate[i] rounded to float.
/// @return  whether no value's error can have changed its rounding
bool roundAll(const double* approximate, float* rounded, std::size_t count);

/// out[i] = approximate[i] rounded to float where its error cannot change the result, and otherwise what exact(i)
/// gives, for at most `blockSize` values. `exact` may read what `out` overwrites: nothing is written before it was
/// asked.
template <typename Exact>
inline void roundBlock(const double* approximate, float* out, std::size_t count, Exact&& exact) {
    float rounded[blockSize];
    if (!roundAll(approximate, rounded, count)) {
        for (std::size_t i = 0; i < count; ++i) {
            rounded[i] = roundedOr(approximate[i], [&] { return exact(i); });
        }
    }
    std::copy_n(rounded, count, out);
}

/// Calls body(first, count) for consecutive pieces of at most `blockSize` of `total` elements.
template <typename Body>
inline void forEachBlock(std::size_t total, Body&& body) {
    for (std::size_t first = 0; first < total; first += blockSize) {
        body(first, std::min(blockSize, total - first));
    }
}

/// The sets of functions that this processor can run, the fastest, which is used, first; the standard library's last.
std::vector<const BlockFunctions*> blockFunctions();

}  // namespace likeness::numerics
