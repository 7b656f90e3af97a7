// This file alone is compiled for AVX2 and FMA. It includes no header that brings inline functions of the project or
// of the C++ library: the linker could keep their AVX2 copies for the whole program.
#include "numerics/transcendental_blocks_avx2.hpp"

#include <immintrin.h>
#include <math.h>
#include <sleef.h>

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

}  // namespace

void powBlock(const double* base, double exponent, double* out, std::size_t count) {
    const __m256d e = _mm256_set1_pd(exponent);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const __m256d b = _mm256_loadu_pd(base + i);
        // exp(e * log(b)): the error of the product is magnified by its size, so large products are left to pow.
        const __m256d logarithm = _mm256_mul_pd(e, Sleef_logd4_u35avx2(b));
        const __m256d special =
            _mm256_or_pd(_mm256_cmp_pd(b, _mm256_set1_pd(1e-300), _CMP_NGE_UQ), outside(logarithm, 0.0, 16.0));
        store(out + i, Sleef_expd4_u10avx2(logarithm), special, b, e, [](double x, double y) { return pow(x, y); });
    }
    for (; i < count; ++i) {
        out[i] = pow(base[i], exponent);
    }
}

void exp10Block(const double* exponent, double* out, std::size_t count) {
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const __m256d e = _mm256_loadu_pd(exponent + i);
        store(out + i, Sleef_exp10d4_u10avx2(e), outside(e, 0.0, 300.0), e, e,
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
        store(out + i, Sleef_log10d4_u10avx2(v), special, v, v, [](double x, double) { return log10(x); });
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

}  // namespace likeness::numerics::avx2
