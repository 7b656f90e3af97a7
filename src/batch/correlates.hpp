// The appearance correlates by name, and where each is found in what the library returns.
#pragma once

#include <likeness/comparison/photograph_comparison.hpp>

#include <array>
#include <string>

namespace likeness {

struct Correlate {
    const char* name;    ///< of the option values, JSON keys and files
    const char* symbol;  ///< of the model
    cv::Mat AppearanceMaps::*map;
};

/// One that the comparison gives a coefficient for.
struct ComparedCorrelate : Correlate {
    BinProbabilities AppearanceDistributions::*distribution;
    float LikenessCoefficients::*coefficient;
};

/// In the order in which the coefficients are printed.
inline constexpr std::array<ComparedCorrelate, 5> comparedCorrelates = {{
    {{"brightness", "Q", &AppearanceMaps::brightness},
     &AppearanceDistributions::brightness,
     &LikenessCoefficients::brightness},
    {{"lightness", "J", &AppearanceMaps::lightness},
     &AppearanceDistributions::lightness,
     &LikenessCoefficients::lightness},
    {{"chroma", "C", &AppearanceMaps::chroma}, &AppearanceDistributions::chroma, &LikenessCoefficients::chroma},
    {{"colorfulness", "M", &AppearanceMaps::colorfulness},
     &AppearanceDistributions::colorfulness,
     &LikenessCoefficients::colorfulness},
    {{"saturation", "s", &AppearanceMaps::saturation},
     &AppearanceDistributions::saturation,
     &LikenessCoefficients::saturation},
}};

inline constexpr Correlate hueCorrelate = {"hue", "h", &AppearanceMaps::hueDegrees};

/// "brightness Q", as legends and headings have it.
inline std::string labelOf(const Correlate& correlate) {
    return std::string(correlate.name) + ' ' + correlate.symbol;
}

}  // namespace likeness
