// This file alone is compiled for AVX-512; see `transcendental_lanes.hpp` for what it may include.
#include "numerics/transcendental_lanes.hpp"

#include <sleef.h>

#include <immintrin.h>

namespace likeness::numerics {
namespace {

struct Vectors {
    static constexpr const char* name = "avx512f";
    static constexpr size_t count = 8;
    using Number = __m512d;
    using Integer = __m512i;

    static Number load(const double* from) { return _mm512_loadu_pd(from); }
    static void store(double* to, Number v) { _mm512_storeu_pd(to, v); }
    static Number set(double value) { return _mm512_set1_pd(value); }
    static Number add(Number a, Number b) { return _mm512_add_pd(a, b); }
    static Number subtract(Number a, Number b) { return _mm512_sub_pd(a, b); }
    static Number multiply(Number a, Number b) { return _mm512_mul_pd(a, b); }
    static Number divide(Number a, Number b) { return _mm512_div_pd(a, b); }
    static Number multiplyAdd(Number a, Number b, Number c) { return _mm512_fmadd_pd(a, b, c); }
    static Number multiplySubtract(Number a, Number b, Number c) { return _mm512_fmsub_pd(a, b, c); }

    static Integer bitsOf(Number v) { return _mm512_castpd_si512(v); }
    static Number numberOf(Integer v) { return _mm512_castsi512_pd(v); }
    static Integer integer(long long value) { return _mm512_set1_epi64(value); }
    static Integer addBits(Integer a, Integer b) { return _mm512_add_epi64(a, b); }
    static Integer subtractBits(Integer a, Integer b) { return _mm512_sub_epi64(a, b); }
    static Integer andBits(Integer a, Integer b) { return _mm512_and_si512(a, b); }
    static Integer orBits(Integer a, Integer b) { return _mm512_or_si512(a, b); }
    template <int bits>
    static Integer shiftLeft(Integer v) {
        return _mm512_slli_epi64(v, bits);
    }
    template <int bits>
    static Integer shiftRight(Integer v) {
        return _mm512_srli_epi64(v, bits);
    }

    static unsigned notBelow(Number v, double least) { return _mm512_cmp_pd_mask(v, set(least), _CMP_GE_OQ); }
    static unsigned within(Number v, double least, double most) {
        const Number magnitude = _mm512_abs_pd(v);
        return _mm512_mask_cmp_pd_mask(_mm512_cmp_pd_mask(magnitude, set(least), _CMP_GE_OQ), magnitude, set(most),
                                       _CMP_LE_OQ);
    }
    /// Rounds v `below` to float; whether v `above` rounds to the same, which NaN does not.
    static bool roundBetween(Number v, double below, double above, float* rounded) {
        const __m256 low = _mm512_cvtpd_ps(multiply(v, set(below)));
        const __m256 high = _mm512_cvtpd_ps(multiply(v, set(above)));
        _mm256_storeu_ps(rounded, low);
        return _mm256_movemask_ps(_mm256_cmp_ps(low, high, _CMP_NEQ_UQ)) == 0;
    }

    static Number cosine(Number v) { return Sleef_cosd8_u35avx512f(v); }
    static Number sine(Number v) { return Sleef_sind8_u35avx512f(v); }
    static Number tangent(Number v) { return Sleef_tand8_u35avx512f(v); }
    static Number arcTangent2(Number y, Number x) { return Sleef_atan2d8_u35avx512f(y, x); }
};

}  // namespace

const BlockFunctions avx512Functions = lanes::functionsOf<Vectors>;

}  // namespace likeness::numerics
