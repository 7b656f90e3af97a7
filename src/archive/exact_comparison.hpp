// The coefficients of one photograph with many entries of archives: the bits of `compareDistributions`.
#pragma once

#include <likeness/archive/archive_search.hpp>
#include <likeness/comparison/photograph_comparison.hpp>
#include "archive/histogram_code.hpp"

#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

namespace likeness {

/// A photograph that others are held against. Immutable.
class ComparedOnce {
public:
    explicit ComparedOnce(const AppearanceDistributions& distributions);

    /// @param histograms  encoded, of a photograph of so many pixels
    /// @throws HistogramDamage
    PairCoefficients with(std::string_view histograms, std::uint64_t pixels) const;

private:
    /// Probabilities by bin: those of a range of bins as they are, 0 for empty bins; others one by one.
    struct Bins {
        int first = 0;
        std::vector<float> values;
        BinProbabilities sparse;

        float at(int bin) const;
    };

    std::array<Bins, 6> bins_;
    bool hasHue_;
};

}  // namespace likeness
