// A few bytes of each photograph that bound its coefficients with any other from above.
//
// The bins of a correlate fall into groups. By the inequality of Cauchy and Schwarz the sum of sqrt(p q) over the bins of
// a group is at most sqrt(P Q), P and Q being the sums of the group. Of each group sqrt(P) is kept in a byte, rounded up.
#pragma once

#include <likeness/comparison/photograph_comparison.hpp>
#include "archive/histogram_code.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace likeness::archive {

/// Groups of a correlate: an even number.
inline constexpr std::size_t sketchGroups = 16;
inline constexpr std::size_t sketchBytes = correlateNames.size() * sketchGroups;

/// First bins of all groups of a correlate but the first, ascending.
using GroupEdges = PerCorrelate<std::array<int, sketchGroups - 1>>;

/// Edges that give each group about the same share of the photographs' pixels.
class EdgeSample {
public:
    /// @throws HistogramDamage
    void add(std::string_view histograms, std::uint64_t pixels);
    GroupEdges edges() const;

private:
    std::array<std::map<int, double>, correlateNames.size()> sums_;
};

/// sqrt(P) of each group of the five correlates, in units of 1 / 254 and rounded up.
using Sketch = std::array<std::uint8_t, sketchBytes>;

/// @throws HistogramDamage
Sketch sketchOf(std::string_view histograms, std::uint64_t pixels, const GroupEdges& edges);

/// Entries of a block stand eight at a time beside each other: the bytes of entry i are at `sketchPlace(i, ...)`.
inline constexpr std::size_t sketchLanes = 8;

/// Bytes of the sketches of a block.
constexpr std::size_t sketchColumnBytes(std::size_t entries) {
    return (entries + sketchLanes - 1) / sketchLanes * sketchLanes * sketchBytes;
}

/// Place of the byte of a group of an entry: of eight entries stand the first two groups, then the next two.
constexpr std::size_t sketchPlace(std::size_t entry, std::size_t correlate, std::size_t group) {
    return entry / sketchLanes * sketchLanes * sketchBytes + (correlate * sketchGroups + group) / 2 * 2 * sketchLanes +
           entry % sketchLanes * 2 + group % 2;
}

/// A photograph as sketches are held against it.
class SketchQuery {
public:
    SketchQuery(const AppearanceDistributions& distributions, const GroupEdges& edges);

    /// Upper bounds of the five coefficients with eight entries, as `compareDistributions` computes them.
    /// @param bytes   eight sketches
    /// @param bounds  receives those of entry i and correlate k at [k][i]
    void bounds(const std::uint8_t* bytes, std::array<std::array<float, sketchLanes>, 5>& bounds) const;

    /// What no coefficient of the photograph exceeds, whatever the other one is.
    float greatest(std::size_t correlate) const noexcept { return greatest_[correlate]; }

    using Values = std::array<std::int16_t, sketchBytes>;

private:
    Values values_{};
    std::array<float, 5> scale_{};
    std::array<float, 5> greatest_{};
};

/// Sums of products of eight sketches, by correlate and entry.
using SketchSums = std::array<std::array<std::int32_t, sketchLanes>, 5>;
using SketchProducts = void (*)(const std::uint8_t* bytes, const SketchQuery::Values& values, SketchSums& sums);

/// Exact integers: the same from both.
void sketchProducts(const std::uint8_t* bytes, const SketchQuery::Values& values, SketchSums& sums);
#ifdef LIKENESS_HAVE_AVX2_SKETCHES
void sketchProductsAvx2(const std::uint8_t* bytes, const SketchQuery::Values& values, SketchSums& sums);
#endif

}  // namespace likeness::archive
