// This file alone is compiled for AVX2 and FMA; see `transcendental_lanes.hpp` for what it may include.
#include "numerics/transcendental_lanes.hpp"

#include <sleef.h>

#include <immintrin.h>

namespace likeness::numerics {
namespace {

struct Vectors {
    static constexpr const char* name = "avx2";
    static constexpr size_t count = 4;
    using Number = __m256d;
    using Integer = __m256i;

    static Number load(const double* from) { return _mm256_loadu_pd(from); }
    static void store(double* to, Number v) { _mm256_storeu_pd(to, v); }
    static Number set(double value) { return _mm256_set1_pd(value); }
    static Number add(Number a, Number b) { return _mm256_add_pd(a, b); }
    static Number subtract(Number a, Number b) { return _mm256_sub_pd(a, b); }
    static Number multiply(Number a, Number b) { return _mm256_mul_pd(a, b); }
    static Number divide(Number a, Number b) { return _mm256_div_pd(a, b); }
    static Number multiplyAdd(Number a, Number b, Number c) { return _mm256_fmadd_pd(a, b, c); }
    static Number multiplySubtract(Number a, Number b, Number c) { return _mm256_fmsub_pd(a, b, c); }

    static Integer bitsOf(Number v) { return _mm256_castpd_si256(v); }
    static Number numberOf(Integer v) { return _mm256_castsi256_pd(v); }
    static Integer integer(long long value) { return _mm256_set1_epi64x(value); }
    static Integer addBits(Integer a, Integer b) { return _mm256_add_epi64(a, b); }
    static Integer subtractBits(Integer a, Integer b) { return _mm256_sub_epi64(a, b); }
    static Integer andBits(Integer a, Integer b) { return _mm256_and_si256(a, b); }
    static Integer orBits(Integer a, Integer b) { return _mm256_or_si256(a, b); }
    template <int bits>
    static Integer shiftLeft(Integer v) {
        return _mm256_slli_epi64(v, bits);
    }
    template <int bits>
    static Integer shiftRight(Integer v) {
        return _mm256_srli_epi64(v, bits);
    }

    static unsigned maskOf(Number lanes) { return static_cast<unsigned>(_mm256_movemask_pd(lanes)); }
    static unsigned notBelow(Number v, double least) { return maskOf(_mm256_cmp_pd(v, set(least), _CMP_GE_OQ)); }
    static unsigned within(Number v, double least, double most) {
        const Number magnitude = _mm256_andnot_pd(set(-0.0), v);
        return maskOf(_mm256_and_pd(_mm256_cmp_pd(magnitude, set(least), _CMP_GE_OQ),
                                    _mm256_cmp_pd(magnitude, set(most), _CMP_LE_OQ)));
    }
    /// Rounds v `below` to float; whether v `above` rounds to the same, which NaN does not.
    static bool roundBetween(Number v, double below, double above, float* rounded) {
        const __m128 low = _mm256_cvtpd_ps(multiply(v, set(below)));
        _mm_storeu_ps(rounded, low);
        return _mm_movemask_ps(_mm_cmp_ps(low, _mm256_cvtpd_ps(multiply(v, set(above))), _CMP_NEQ_UQ)) == 0;
    }

    static Number cosine(Number v) { return Sleef_cosd4_u35avx2(v); }
    static Number sine(Number v) { return Sleef_sind4_u35avx2(v); }
    static Number tangent(Number v) { return Sleef_tand4_u35avx2(v); }
    static Number arcTangent2(Number y, Number x) { return Sleef_atan2d4_u35avx2(y, x); }
};

}  // namespace

const BlockFunctions avx2Functions = lanes::functionsOf<Vectors>;

}  // namespace likeness::numerics
