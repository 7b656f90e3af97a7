/// @file
/// Whites by name, chromaticity or temperature. Single colours on the scale Y = 100 (color/tristimulus.hpp), CIE 1931
/// observer.
#pragma once

#include <likeness/color/tristimulus.hpp>
#include <likeness/export.hpp>

#include <array>
#include <string_view>

namespace likeness {

/// A white with its name.
struct NamedWhite {
    std::string_view name;  ///< such as "D65"
    Xyz white;              ///< Y = 100
};

/// CIE illuminants A, D50, D55, D65 (ASTM E308, table 5, 1931 observer, 5 nm) and the equal-energy illuminant E.
// clang-format off
inline constexpr std::array<NamedWhite, 5> standardIlluminants = {{
    {"A",   {109.850, 100, 35.585}},
    {"D50", {96.422,  100, 82.521}},
    {"D55", {95.682,  100, 92.149}},
    {"D65", {95.047,  100, 108.883}},
    {"E",   {100,     100, 100}},
}};
// clang-format on

/// A phase of daylight (CIE 015:2018, 4.1.2).
/// @param kelvin  4000 to 25000; D65 is the one of 6504 K, since a constant of radiation was revised
/// @throws std::invalid_argument  outside
LIKENESS_API Chromaticity daylightChromaticity(double kelvin);

/// A black body: Krystek's rational functions, within 6e-5 of the locus in the u, v plane of CIE 1960.
/// @param kelvin  1000 to 15000
/// @throws std::invalid_argument  outside
/// @see Krystek, "An algorithm to calculate correlated colour temperature", Color Research and Application 10, 1985
LIKENESS_API Chromaticity planckianChromaticity(double kelvin);

}  // namespace likeness
