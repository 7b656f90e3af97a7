// The appearance correlates by name, and where each is found in what the library returns.
#pragma once

#include <likeness/comparison/photograph_comparison.hpp>

#include <array>
#include <string>

namespace likeness {

/// By the name of the option values, JSON keys and files.
struct Correlate : CorrelateName {
    cv::Mat AppearanceMaps::*map;
};

/// One that the comparison gives a coefficient for.
struct ComparedCorrelate : Correlate {
    BinProbabilities AppearanceDistributions::*distribution;
    float LikenessCoefficients::*coefficient;
};

/// `correlateNames[k]`.
constexpr ComparedCorrelate comparedCorrelate(std::size_t k) {
    return {{correlateNames[k], correlateFields<cv::Mat>[k]},
            correlateFields<BinProbabilities>[k],
            correlateFields<float>[k]};
}

/// In the order in which the coefficients are printed.
inline constexpr std::array<ComparedCorrelate, correlateNames.size()> comparedCorrelates = {
    comparedCorrelate(0), comparedCorrelate(1), comparedCorrelate(2), comparedCorrelate(3), comparedCorrelate(4)};

inline constexpr Correlate hueCorrelate = {hueName, &AppearanceMaps::hueDegrees};

/// "brightness Q", as legends and headings have it.
inline std::string labelOf(const Correlate& correlate) {
    return std::string(correlate.name) + ' ' + correlate.symbol;
}

}  // namespace likeness
