// This file alone is compiled for AVX2 and FMA. It includes no header that brings inline functions of the project or
// of the C++ library: the linker could keep their AVX2 copies for the whole program.
#include "numerics/transcendental_blocks_avx2.hpp"

#include <sleef.h>

#include <immintrin.h>
#include <math.h>

namespace likeness::numerics::avx2 {
namespace {

constexpr std::size_t lanes = 4;

// Lanes outside [smallest, largest] in magnitude, and NaN.
inline __m256d outside(__m256d value, double smallest, double largest) {
    const __m256d magnitude = _mm256_andnot_pd(_mm256_set1_pd(-0.0), value);
    const __m256d inside = _mm256_and_pd(_mm256_cmp_pd(magnitude, _mm256_set1_pd(smallest), _CMP_GE_OQ),
                                         _mm256_cmp_pd(magnitude, _mm256_set1_pd(largest), _CMP_LE_OQ));
    return _mm256_xor_pd(inside, _mm256_castsi256_pd(_mm256_set1_epi64x(-1)));
}

// Stores the vector result; where a lane is marked, what the standard library's function gives instead.
template <typename Scalar>
inline void store(double* out, __m256d result, __m256d marked, __m256d first, __m256d second, Scalar scalar) {
    const int mask = _mm256_movemask_pd(marked);
    _mm256_storeu_pd(out, result);
    if (mask == 0) {
        return;
    }
    double a[lanes];
    double b[lanes];
    _mm256_storeu_pd(a, first);
    _mm256_storeu_pd(b, second);
    for (std::size_t lane = 0; lane < lanes; ++lane) {
        if ((mask >> lane & 1) != 0) {
            out[lane] = scalar(a[lane], b[lane]);
        }
    }
}

// Angles up to this size are reduced without loss by SLEEF's 3.5 ulp functions.
constexpr double largestAngle = 1e6;

template <typename Vector, typename Scalar>
inline void ofAngle(const double* angle, double* out, std::size_t count, Vector vector, Scalar scalar) {
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const __m256d v = _mm256_loadu_pd(angle + i);
        store(out + i, vector(v), outside(v, 1e-150, largestAngle), v, v, [&](double a, double) { return scalar(a); });
    }
    for (; i < count; ++i) {
        out[i] = scalar(angle[i]);
    }
}

// The polynomials below are the series of the functions, as far as double goes in the reduced range: the first omitted
// terms are below 2^-50 of the result.

// c[0] + c[1] x + c[2] x^2 + ..., the even and the odd powers side by side: half as long a chain of dependent steps.
template <std::size_t terms>
inline __m256d polynomial(const double (&c)[terms], __m256d x) {
    const __m256d square = _mm256_mul_pd(x, x);
    constexpr std::size_t lastEven = (terms - 1) / 2 * 2;
    constexpr std::size_t lastOdd = (terms - 2) / 2 * 2 + 1;
    __m256d even = _mm256_set1_pd(c[lastEven]);
    for (std::size_t k = lastEven; k > 0; k -= 2) {
        even = _mm256_fmadd_pd(even, square, _mm256_set1_pd(c[k - 2]));
    }
    __m256d odd = _mm256_set1_pd(c[lastOdd]);
    for (std::size_t k = lastOdd; k > 1; k -= 2) {
        odd = _mm256_fmadd_pd(odd, square, _mm256_set1_pd(c[k - 2]));
    }
    return _mm256_fmadd_pd(odd, x, even);
}

constexpr double log10Of2 = 0.3010299956639812;
constexpr double log2Of10 = 3.321928094887362;
constexpr double log2Of10Rest = 1.661617516973592e-16;

// Logarithm to base 2 of positive normal numbers: x = 2^k m with m in [sqrt 1/2, sqrt 2) and
// log2 m = 2 / ln 2 (s + s^3 / 3 + s^5 / 5 + ...) with s = (m - 1) / (m + 1).
inline __m256d log2Of(__m256d x) {
    static constexpr double series[] = {
        2.8853900817779268, 0.9617966939259756,  0.5770780163555853,  0.4121985831111324, 0.3205988979753252,
        0.2623081892525388, 0.22195308321368667, 0.19235933878519512, 0.16972882833987804};  // 2 / ln 2 / (2 n + 1)
    const __m256i rootOfHalf = _mm256_set1_epi64x(0x3FE6A09E667F3BCD);
    const __m256i one = _mm256_set1_epi64x(0x3FF0000000000000);
    const __m256i mantissa = _mm256_set1_epi64x(0x000FFFFFFFFFFFFF);
    const __m256i shifted = _mm256_add_epi64(_mm256_castpd_si256(x), _mm256_sub_epi64(one, rootOfHalf));
    const __m256d m = _mm256_castsi256_pd(_mm256_add_epi64(_mm256_and_si256(shifted, mantissa), rootOfHalf));
    // A small integer in the last bits of 2^52 is a double after a subtraction.
    const __m256d twoTo52 = _mm256_set1_pd(0x1p52);
    const __m256d biased =
        _mm256_castsi256_pd(_mm256_or_si256(_mm256_srli_epi64(shifted, 52), _mm256_castpd_si256(twoTo52)));
    const __m256d k = _mm256_sub_pd(biased, _mm256_set1_pd(0x1p52 + 1023));
    const __m256d unit = _mm256_set1_pd(1.0);
    const __m256d s = _mm256_div_pd(_mm256_sub_pd(m, unit), _mm256_add_pd(m, unit));
    return _mm256_fmadd_pd(polynomial(series, _mm256_mul_pd(s, s)), s, k);
}

// 2^(x + small) for |x| up to 1000 and a `small` that is lost in x: 2^k times the exponential series of the rest.
inline __m256d exp2Of(__m256d x, __m256d small) {
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
    const __m256d shifter = _mm256_set1_pd(0x1.8p52);
    const __m256d shifted = _mm256_add_pd(x, shifter);
    const __m256d rest = _mm256_add_pd(_mm256_sub_pd(x, _mm256_sub_pd(shifted, shifter)), small);
    const __m256i exponent = _mm256_slli_epi64(_mm256_castpd_si256(shifted), 52);
    return _mm256_castsi256_pd(_mm256_add_epi64(_mm256_castpd_si256(polynomial(series, rest)), exponent));
}

}  // namespace

void powBlock(const double* base, double exponent, double* out, std::size_t count) {
    // Logarithms and powers in turn: one long chain of dependent steps per number would leave the processor waiting.
    constexpr std::size_t piece = 16 * lanes;
    double logarithms[piece];
    const __m256d e = _mm256_set1_pd(exponent);
    const std::size_t inVectors = count / lanes * lanes;
    for (std::size_t first = 0; first < inVectors; first += piece) {
        const std::size_t n = inVectors - first < piece ? inVectors - first : piece;
        const double* const b = base + first;
        for (std::size_t i = 0; i < n; i += lanes) {
            _mm256_storeu_pd(logarithms + i, _mm256_mul_pd(e, log2Of(_mm256_loadu_pd(b + i))));
        }
        for (std::size_t i = 0; i < n; i += lanes) {
            const __m256d v = _mm256_loadu_pd(b + i);
            // 2^(e * log2(v)): the error of the product is magnified by its size, so large products are left to pow.
            const __m256d logarithm = _mm256_loadu_pd(logarithms + i);
            const __m256d special =
                _mm256_or_pd(_mm256_cmp_pd(v, _mm256_set1_pd(1e-300), _CMP_NGE_UQ), outside(logarithm, 0.0, 23.0));
            store(out + first + i, exp2Of(logarithm, _mm256_setzero_pd()), special, v, e,
                  [](double x, double y) { return pow(x, y); });
        }
    }
    for (std::size_t i = inVectors; i < count; ++i) {
        out[i] = pow(base[i], exponent);
    }
}

void exp10Block(const double* exponent, double* out, std::size_t count) {
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const __m256d e = _mm256_loadu_pd(exponent + i);
        // The product with log2 10 in two parts: for large exponents the rounding of one would show.
        const __m256d product = _mm256_mul_pd(e, _mm256_set1_pd(log2Of10));
        const __m256d lost =
            _mm256_fmadd_pd(e, _mm256_set1_pd(log2Of10Rest), _mm256_fmsub_pd(e, _mm256_set1_pd(log2Of10), product));
        store(out + i, exp2Of(product, lost), outside(e, 0.0, 300.0), e, e,
              [](double x, double) { return pow(10.0, x); });
    }
    for (; i < count; ++i) {
        out[i] = pow(10.0, exponent[i]);
    }
}

void log10Block(const double* value, double* out, std::size_t count) {
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const __m256d v = _mm256_loadu_pd(value + i);
        const __m256d special = _mm256_or_pd(_mm256_cmp_pd(v, _mm256_set1_pd(1e-300), _CMP_NGE_UQ),
                                             _mm256_cmp_pd(v, _mm256_set1_pd(1e300), _CMP_NLE_UQ));
        store(out + i, _mm256_mul_pd(log2Of(v), _mm256_set1_pd(log10Of2)), special, v, v,
              [](double x, double) { return log10(x); });
    }
    for (; i < count; ++i) {
        out[i] = log10(value[i]);
    }
}

void atan2Block(const double* y, const double* x, double* out, std::size_t count) {
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const __m256d vy = _mm256_loadu_pd(y + i);
        const __m256d vx = _mm256_loadu_pd(x + i);
        const __m256d special = _mm256_or_pd(outside(vy, 1e-140, 1e140), outside(vx, 1e-140, 1e140));
        store(out + i, Sleef_atan2d4_u35avx2(vy, vx), special, vy, vx, [](double a, double b) { return atan2(a, b); });
    }
    for (; i < count; ++i) {
        out[i] = atan2(y[i], x[i]);
    }
}

void cosBlock(const double* angle, double* out, std::size_t count) {
    ofAngle(
        angle, out, count, [](__m256d v) { return Sleef_cosd4_u35avx2(v); }, [](double a) { return cos(a); });
}

void sinBlock(const double* angle, double* out, std::size_t count) {
    ofAngle(
        angle, out, count, [](__m256d v) { return Sleef_sind4_u35avx2(v); }, [](double a) { return sin(a); });
}

void tanBlock(const double* angle, double* out, std::size_t count) {
    ofAngle(
        angle, out, count, [](__m256d v) { return Sleef_tand4_u35avx2(v); }, [](double a) { return tan(a); });
}

void roundAll(const double* approximate, float* rounded, std::size_t count, double bound, std::size_t& done,
              bool& decided) {
    const __m256d below = _mm256_set1_pd(1.0 - bound);
    const __m256d above = _mm256_set1_pd(1.0 + bound);
    __m128 unsure = _mm_setzero_ps();
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const __m256d v = _mm256_loadu_pd(approximate + i);
        const __m128 low = _mm256_cvtpd_ps(_mm256_mul_pd(v, below));
        const __m128 high = _mm256_cvtpd_ps(_mm256_mul_pd(v, above));
        _mm_storeu_ps(rounded + i, low);
        unsure = _mm_or_ps(unsure, _mm_cmp_ps(low, high, _CMP_NEQ_UQ));  // NaN too
    }
    done = i;
    decided = _mm_movemask_ps(unsure) == 0;
}

}  // namespace likeness::numerics::avx2
