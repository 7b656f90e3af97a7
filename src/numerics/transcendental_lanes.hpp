// The block functions for vectors of some length: templates on `V`, which gives the length and the instructions.
//
// A source that is compiled for one instruction set includes this file and hands its own type to it. Nothing else is
// included here that brings inline functions of the project or of the C++ library: the linker could keep their copies
// for the whole program.
#pragma once

#include "numerics/block_functions.hpp"

#include <math.h>
#include <stddef.h>

namespace likeness::numerics::lanes {

// What a `V` has: `count`, the types `Number` (doubles) and `Integer` (their 64 bits); load, store, set, add, subtract,
// multiply, divide, multiplyAdd (a b + c), multiplySubtract (a b - c), bitsOf and numberOf, integer, addBits,
// subtractBits, andBits, orBits, shiftLeft, shiftRight; within(v, least, most), a bit for each lane whose magnitude lies
// there, NaN in none; the functions cosine, sine, tangent, arcTangent2 to 3.5 units of the last place; roundBetween.

template <typename V>
inline constexpr unsigned allLanes = (1U << V::count) - 1;

/// Stores the vector result; where a lane is marked, what the standard library's function gives instead.
template <typename V, typename Scalar>
inline void store(double* out, typename V::Number result, unsigned marked, typename V::Number first,
                  typename V::Number second, Scalar scalar) {
    V::store(out, result);
    if (marked == 0) {
        return;
    }
    double a[V::count];
    double b[V::count];
    V::store(a, first);
    V::store(b, second);
    for (size_t lane = 0; lane < V::count; ++lane) {
        if ((marked >> lane & 1U) != 0) {
            out[lane] = scalar(a[lane], b[lane]);
        }
    }
}

/// Calls whole(in1, in2, out) for each full vector, and for the rest of the elements as one that is filled up.
template <typename V, typename Whole>
inline void forEachVector(const double* in1, const double* in2, double* out, size_t count, Whole whole) {
    size_t i = 0;
    for (; i + V::count <= count; i += V::count) {
        whole(in1 + i, in2 + i, out + i);
    }
    if (i < count) {
        double a[V::count];
        double b[V::count];
        double result[V::count];
        for (size_t lane = 0; lane < V::count; ++lane) {
            a[lane] = i + lane < count ? in1[i + lane] : 1.0;
            b[lane] = i + lane < count ? in2[i + lane] : 1.0;
        }
        whole(a, b, result);
        for (size_t lane = 0; i + lane < count; ++lane) {
            out[i + lane] = result[lane];
        }
    }
}

// Angles up to this size are reduced without loss by SLEEF's 3.5 ulp functions.
inline constexpr double largestAngle = 1e6;

template <typename V, typename Vector, typename Scalar>
inline void ofAngle(const double* angle, double* out, size_t count, Vector vector, Scalar scalar) {
    forEachVector<V>(angle, angle, out, count, [&](const double* in, const double*, double* to) {
        const auto v = V::load(in);
        store<V>(to, vector(v), ~V::within(v, 1e-150, largestAngle) & allLanes<V>, v, v,
                 [&](double a, double) { return scalar(a); });
    });
}

// The polynomials below are the series of the functions, as far as double goes in the reduced range: the first omitted
// terms are below 2^-50 of the result.

/// c[0] + c[1] x + c[2] x^2 + ..., the even and the odd powers side by side: half as long a chain of dependent steps.
template <typename V, size_t terms>
inline typename V::Number polynomial(const double (&c)[terms], typename V::Number x) {
    const auto square = V::multiply(x, x);
    constexpr size_t lastEven = (terms - 1) / 2 * 2;
    constexpr size_t lastOdd = (terms - 2) / 2 * 2 + 1;
    auto even = V::set(c[lastEven]);
    for (size_t k = lastEven; k > 0; k -= 2) {
        even = V::multiplyAdd(even, square, V::set(c[k - 2]));
    }
    auto odd = V::set(c[lastOdd]);
    for (size_t k = lastOdd; k > 1; k -= 2) {
        odd = V::multiplyAdd(odd, square, V::set(c[k - 2]));
    }
    return V::multiplyAdd(odd, x, even);
}

inline constexpr double log10Of2 = 0.3010299956639812;
inline constexpr double log2Of10 = 3.321928094887362;
inline constexpr double log2Of10Rest = 1.661617516973592e-16;

/// Logarithm to base 2 of positive normal numbers: x = 2^k m with m in [sqrt 1/2, sqrt 2) and
/// log2 m = 2 / ln 2 (s + s^3 / 3 + s^5 / 5 + ...) with s = (m - 1) / (m + 1).
template <typename V>
inline typename V::Number log2Of(typename V::Number x) {
    static constexpr double series[] = {
        2.8853900817779268, 0.9617966939259756,  0.5770780163555853,  0.4121985831111324, 0.3205988979753252,
        0.2623081892525388, 0.22195308321368667, 0.19235933878519512, 0.16972882833987804};  // 2 / ln 2 / (2 n + 1)
    const auto rootOfHalf = V::integer(0x3FE6A09E667F3BCD);
    const auto one = V::integer(0x3FF0000000000000);
    const auto mantissa = V::integer(0x000FFFFFFFFFFFFF);
    const auto shifted = V::addBits(V::bitsOf(x), V::subtractBits(one, rootOfHalf));
    const auto m = V::numberOf(V::addBits(V::andBits(shifted, mantissa), rootOfHalf));
    // A small integer in the last bits of 2^52 is a double after a subtraction.
    const auto biased = V::numberOf(V::orBits(V::template shiftRight<52>(shifted), V::bitsOf(V::set(0x1p52))));
    const auto k = V::subtract(biased, V::set(0x1p52 + 1023));
    const auto unit = V::set(1.0);
    const auto s = V::divide(V::subtract(m, unit), V::add(m, unit));
    return V::multiplyAdd(polynomial<V>(series, V::multiply(s, s)), s, k);
}

/// 2^(x + small) for |x| up to 1000 and a `small` that is lost in x: 2^k times the exponential series of the rest.
template <typename V>
inline typename V::Number exp2Of(typename V::Number x, typename V::Number small) {
    static constexpr double series[] = {1.0,
                                        0.6931471805599453,
                                        0.24022650695910072,
                                        0.05550410866482158,
                                        0.009618129107628477,
                                        0.0013333558146428443,
                                        0.0001540353039338161,
                                        1.5252733804059841e-05,
                                        1.321548679014431e-06,
                                        1.01780860092397e-07,
                                        7.054911620801123e-09,
                                        4.4455382718708116e-10,
                                        2.5678435993488206e-11};  // (ln 2)^n / n!
    // Adding 1.5 * 2^52 rounds to an integer, which then stands in the last bits.
    const auto shifter = V::set(0x1.8p52);
    const auto shifted = V::add(x, shifter);
    const auto rest = V::add(V::subtract(x, V::subtract(shifted, shifter)), small);
    const auto exponent = V::template shiftLeft<52>(V::bitsOf(shifted));
    return V::numberOf(V::addBits(V::bitsOf(polynomial<V>(series, rest)), exponent));
}

template <typename V>
void powBlock(const double* base, double exponent, double* out, size_t count) {
    // Logarithms and powers in turn: one long chain of dependent steps per number would leave the processor waiting.
    constexpr size_t piece = 16 * V::count;
    double logarithms[piece];
    const auto e = V::set(exponent);
    for (size_t first = 0; first < count; first += piece) {
        const size_t n = count - first < piece ? count - first : piece;
        const double* const b = base + first;
        forEachVector<V>(b, b, logarithms, n, [&](const double* in, const double*, double* to) {
            V::store(to, V::multiply(e, log2Of<V>(V::load(in))));
        });
        forEachVector<V>(b, logarithms, out + first, n, [&](const double* in, const double* logarithmsIn, double* to) {
            const auto v = V::load(in);
            // 2^(e * log2(v)): the error of the product is magnified by its size, so large products are left to pow.
            const auto logarithm = V::load(logarithmsIn);
            const unsigned ordinary =
                V::notBelow(v, 1e-300) & V::within(v, 1e-300, 1e300) & V::within(logarithm, 0.0, 23.0);
            store<V>(to, exp2Of<V>(logarithm, V::set(0.0)), ~ordinary & allLanes<V>, v, e,
                     [](double x, double y) { return pow(x, y); });
        });
    }
}

template <typename V>
void exp10Block(const double* exponent, double* out, size_t count) {
    forEachVector<V>(exponent, exponent, out, count, [](const double* in, const double*, double* to) {
        const auto e = V::load(in);
        // The product with log2 10 in two parts: for large exponents the rounding of one would show.
        const auto product = V::multiply(e, V::set(log2Of10));
        const auto lost = V::multiplyAdd(e, V::set(log2Of10Rest), V::multiplySubtract(e, V::set(log2Of10), product));
        store<V>(to, exp2Of<V>(product, lost), ~V::within(e, 0.0, 300.0) & allLanes<V>, e, e,
                 [](double x, double) { return pow(10.0, x); });
    });
}

template <typename V>
void log10Block(const double* value, double* out, size_t count) {
    forEachVector<V>(value, value, out, count, [](const double* in, const double*, double* to) {
        const auto v = V::load(in);
        const unsigned ordinary = V::notBelow(v, 1e-300) & V::within(v, 1e-300, 1e300);
        store<V>(to, V::multiply(log2Of<V>(v), V::set(log10Of2)), ~ordinary & allLanes<V>, v, v,
                 [](double x, double) { return log10(x); });
    });
}

template <typename V>
void atan2Block(const double* y, const double* x, double* out, size_t count) {
    forEachVector<V>(y, x, out, count, [](const double* inY, const double* inX, double* to) {
        const auto vy = V::load(inY);
        const auto vx = V::load(inX);
        const unsigned ordinary = V::within(vy, 1e-140, 1e140) & V::within(vx, 1e-140, 1e140);
        store<V>(to, V::arcTangent2(vy, vx), ~ordinary & allLanes<V>, vy, vx,
                 [](double a, double b) { return atan2(a, b); });
    });
}

template <typename V>
void cosBlock(const double* angle, double* out, size_t count) {
    ofAngle<V>(angle, out, count, V::cosine, [](double a) { return cos(a); });
}

template <typename V>
void sinBlock(const double* angle, double* out, size_t count) {
    ofAngle<V>(angle, out, count, V::sine, [](double a) { return sin(a); });
}

template <typename V>
void tanBlock(const double* angle, double* out, size_t count) {
    ofAngle<V>(angle, out, count, V::tangent, [](double a) { return tan(a); });
}

/// The remaining elements are done one by one.
template <typename V>
bool roundAll(const double* approximate, float* rounded, size_t count, double bound) {
    bool decided = true;
    size_t i = 0;
    for (; i + V::count <= count; i += V::count) {
        decided = V::roundBetween(V::load(approximate + i), 1.0 - bound, 1.0 + bound, rounded + i) && decided;
    }
    for (; i < count; ++i) {
        rounded[i] = static_cast<float>(approximate[i] * (1.0 - bound));
        decided = decided && rounded[i] == static_cast<float>(approximate[i] * (1.0 + bound));
    }
    return decided;
}

/// Those of one `V`.
template <typename V>
inline constexpr BlockFunctions functionsOf = {V::name,     powBlock<V>, exp10Block<V>, log10Block<V>, atan2Block<V>,
                                               cosBlock<V>, sinBlock<V>, tanBlock<V>,   roundAll<V>};

}  // namespace likeness::numerics::lanes
