/// @file
/// How far an observer adapts to the white of a scene. One number or many, in float: from L_A in cd/m2 to D, which
/// is 1 where adaptation is complete.
#pragma once

#include <likeness/export.hpp>

#include <cstddef>

namespace likeness {

/// Degree of adaptation to the white at an adapting luminance L_A in cd/m2, for an average surround (F = 1).
///
/// D = 1 - (1 / 3.6) exp((42 - L_A) / 92), in double, rounded to float. The published model (CIE 159:2004) has
/// -L_A - 42 in the exponent; the other sign is departure 1 and every adapted image depends on it: D(20) is 0.6471822 here,
/// not 0.8584. Not limited: D falls below 0 for L_A below about -75.85 and tends to 1 for large L_A.
LIKENESS_API float computeAdapFactD(float L_A);

/// The same for `count` luminances, to the last bit. `D` may be `L_A`.
LIKENESS_API void computeAdapFactD(const float* L_A, float* D, std::size_t count);

}  // namespace likeness
