// This file alone is compiled for AVX2. What it takes from the templates works on a type of its own, so that the linker
// cannot keep a copy with AVX2 for the whole program.
#include "transport/symmetric_map_avx2.hpp"

#include "transport/symmetric_map.hpp"

#include <immintrin.h>

namespace likeness::avx2 {
namespace {

/// Which lanes: all bits of a lane or none.
struct Choice {
    __m256d lanes;
};

struct Lanes {
    __m256d lanes = _mm256_setzero_pd();

    Lanes() = default;
    Lanes(__m256d values) : lanes(values) {}  // NOLINT(google-explicit-constructor): as the operators below give it
    Lanes(double value) : lanes(_mm256_set1_pd(value)) {}  // NOLINT(google-explicit-constructor)
};

inline Lanes operator+(Lanes a, Lanes b) {
    return _mm256_add_pd(a.lanes, b.lanes);
}
inline Lanes operator-(Lanes a, Lanes b) {
    return _mm256_sub_pd(a.lanes, b.lanes);
}
inline Lanes operator*(Lanes a, Lanes b) {
    return _mm256_mul_pd(a.lanes, b.lanes);
}
inline Lanes operator/(Lanes a, Lanes b) {
    return _mm256_div_pd(a.lanes, b.lanes);
}
inline Lanes operator-(Lanes a) {
    return _mm256_xor_pd(a.lanes, _mm256_set1_pd(-0.0));
}
inline Lanes& operator+=(Lanes& a, Lanes b) {
    return a = a + b;
}
inline Lanes& operator-=(Lanes& a, Lanes b) {
    return a = a - b;
}

inline Choice operator<=(Lanes a, Lanes b) {
    return {_mm256_cmp_pd(a.lanes, b.lanes, _CMP_LE_OQ)};
}
inline Choice operator<(Lanes a, Lanes b) {
    return {_mm256_cmp_pd(a.lanes, b.lanes, _CMP_LT_OQ)};
}
inline Choice operator>(Lanes a, Lanes b) {
    return {_mm256_cmp_pd(a.lanes, b.lanes, _CMP_GT_OQ)};
}
inline Choice operator&(Choice a, Choice b) {
    return {_mm256_and_pd(a.lanes, b.lanes)};
}
inline Choice operator!(Choice a) {
    return {_mm256_xor_pd(a.lanes, _mm256_castsi256_pd(_mm256_set1_epi64x(-1)))};
}

inline bool noneOf(Choice choice) {
    return _mm256_movemask_pd(choice.lanes) == 0;
}
inline Lanes chosen(Choice choice, Lanes yes, Lanes no) {
    return _mm256_blendv_pd(no.lanes, yes.lanes, choice.lanes);
}
inline Lanes rootOf(Lanes value) {
    return _mm256_sqrt_pd(value.lanes);
}
inline Lanes magnitudeOf(Lanes value) {
    return _mm256_andnot_pd(_mm256_set1_pd(-0.0), value.lanes);
}
inline Lanes withSignOf(Lanes magnitude, Lanes sign) {
    const __m256d signBit = _mm256_set1_pd(-0.0);
    return _mm256_or_pd(_mm256_andnot_pd(signBit, magnitude.lanes), _mm256_and_pd(signBit, sign.lanes));
}

using Matrices = SquareMatrix<3, Lanes>;

constexpr int rowOf[] = {0, 0, 0, 1, 1, 2};
constexpr int colOf[] = {0, 1, 2, 1, 2, 2};

/// @param finite  loses the lanes with an element that is not finite
Matrices read(const SymmetricLanes& elements, Choice& finite) {
    Matrices matrices;
    for (int k = 0; k < 6; ++k) {
        const Lanes values = _mm256_loadu_pd(elements[k]);
        finite = finite & (values * 0.0 <= Lanes());
        matrices[rowOf[k]][colOf[k]] = matrices[colOf[k]][rowOf[k]] = values;
    }
    return matrices;
}

}  // namespace

unsigned transportMaps(const SymmetricLanes& source, const SymmetricLanes& target, SymmetricLanes& map) noexcept {
    Choice stands = Lanes() <= Lanes();
    Matrices s = read(source, stands);
    Matrices t = read(target, stands);
    raiseVariances(s);
    CovarianceFactor<3, Lanes> b;
    stands = stands & factorTriangular(s, b);
    if (noneOf(stands)) {
        return 0;
    }
    // Where a lane is left to others, nothing may keep the rotations of the rest from ending.
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            b.factor[i][j] = chosen(stands, b.factor[i][j], Lanes());
            t[i][j] = chosen(stands, t[i][j], Lanes());
        }
    }
    const Matrices maps = mapFromFactor(b, t);
    for (int k = 0; k < 6; ++k) {
        _mm256_storeu_pd(map[k], maps[rowOf[k]][colOf[k]].lanes);
    }
    return static_cast<unsigned>(_mm256_movemask_pd(stands.lanes));
}

}  // namespace likeness::avx2
