/// @file
/// CIE L*a*b* of single colours, in double, and the colour difference CIEDE2000.
///
/// The exact constants of CIE 015:2018, 8.2.1 (knee at (24/116)^3): the curves meet, unlike the rounded ones of the
/// images' color/lab.hpp. X, Y, Z on the scale Y = 100; values outside 0..white are taken as they are.
#pragma once

#include <likeness/color/tristimulus.hpp>
#include <likeness/export.hpp>

namespace likeness {

/// L*, a*, b*; L* = 100 for the white.
struct CieLab {
    double lightness = 0;  ///< L*
    double a = 0;          ///< a*, towards red
    double b = 0;          ///< b*, towards yellow
};

/// @param white  every component > 0; not checked
LIKENESS_API CieLab labFromXyz(const Xyz& xyz, const Xyz& white);

/// The way back.
LIKENESS_API Xyz xyzFromLab(const CieLab& lab, const Xyz& white);

/// Parametric factors k_L, k_C, k_H of CIEDE2000; 1 under reference conditions.
struct Ciede2000Factors {
    double lightness = 1;  ///< k_L
    double chroma = 1;     ///< k_C
    double hue = 1;        ///< k_H
};

/// Colour difference CIEDE2000 (CIE 142-2001), at least 0 and the same in both directions. Made for differences up to
/// about 5; where the hues are opposite it is not continuous.
/// @see Sharma, Wu, Dalal, "The CIEDE2000 color-difference formula", Color Research and Application 30, 2005
LIKENESS_API double ciede2000(const CieLab& first, const CieLab& second, const Ciede2000Factors& factors = {});

}  // namespace likeness
