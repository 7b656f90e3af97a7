#include "archive/histogram_sketch.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace likeness::archive {
namespace {

constexpr double byteScale = 254;  // sums of floats may exceed 1 a little
constexpr double queryScale = 16384;

/// Beyond the rounding of the sums in double.
constexpr double upwards = 1 + 1e-12;

/// Each is rounded to float.
constexpr double mostOfProbabilities = 1 + 1e-6;

std::size_t groupOf(int bin, const std::array<int, sketchGroups - 1>& edges) {
    return static_cast<std::size_t>(std::upper_bound(edges.begin(), edges.end(), bin) - edges.begin());
}

SketchProducts chosenProducts() {
#ifdef LIKENESS_HAVE_AVX2_SKETCHES
    if (__builtin_cpu_supports("avx2") != 0) {
        return sketchProductsAvx2;
    }
#endif
    return sketchProducts;
}

}  // namespace

void EdgeSample::add(std::string_view histograms, std::uint64_t pixels) {
    HistogramReader reader(histograms, pixels);
    for (auto& sums : sums_) {
        reader.next([&sums](int bin, float probability) { sums[bin] += static_cast<double>(probability); });
    }
}

GroupEdges EdgeSample::edges() const {
    GroupEdges edges;
    for (std::size_t k = 0; k < sums_.size(); ++k) {
        double total = 0;
        for (const auto& [bin, sum] : sums_[k]) {
            total += sum;
        }
        auto& itsEdges = edges[k];
        std::size_t next = 0;
        double before = 0;
        for (const auto& [bin, sum] : sums_[k]) {
            for (; next < itsEdges.size() && before >= total * static_cast<double>(next + 1) / sketchGroups; ++next) {
                itsEdges[next] = bin;
            }
            before += sum;
        }
        const int last = sums_[k].empty() ? 0 : sums_[k].rbegin()->first;
        std::fill(itsEdges.begin() + static_cast<std::ptrdiff_t>(next), itsEdges.end(), last);
    }
    return edges;
}

Sketch sketchOf(std::string_view histograms, std::uint64_t pixels, const GroupEdges& edges) {
    Sketch sketch{};
    HistogramReader reader(histograms, pixels);
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        std::array<double, sketchGroups> sums{};
        std::size_t group = 0;
        const auto& itsEdges = edges[k];
        reader.next([&](int bin, float probability) {
            while (group < itsEdges.size() && bin >= itsEdges[group]) {
                ++group;
            }
            sums[group] += static_cast<double>(probability);
        });
        if (!(std::accumulate(sums.begin(), sums.end(), 0.0) <= mostOfProbabilities)) {
            throw HistogramDamage();
        }
        for (std::size_t g = 0; g < sketchGroups; ++g) {
            const double value = std::ceil(byteScale * std::sqrt(sums[g]) * upwards);
            sketch[k * sketchGroups + g] = static_cast<std::uint8_t>(value);
        }
    }
    return sketch;
}

SketchQuery::SketchQuery(const AppearanceDistributions& distributions, const GroupEdges& edges) {
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        std::array<double, sketchGroups> sums{};
        double total = 0;
        for (const auto& [bin, probability] : distributions[k]) {
            sums[groupOf(bin, edges[k])] += static_cast<double>(probability);
            total += static_cast<double>(probability);
        }
        for (std::size_t g = 0; g < sketchGroups; ++g) {
            const double value = std::ceil(queryScale * std::sqrt(sums[g]) * upwards);
            values_[k * sketchGroups + g] = static_cast<std::int16_t>(std::min(value, 32767.0));
        }
        // The coefficient is summed in float over at most so many bins: product, root and each addition may round up by
        // half a unit in the last place, 2^-24 of the value.
        const double bins = static_cast<double>(distributions[k].size());
        const double rounding = std::exp((bins + 8) * std::ldexp(1.0, -24)) * (1 + 1e-6);
        scale_[k] = static_cast<float>(rounding / (byteScale * queryScale));
        // The other photograph's probabilities add up to 1 but for the rounding of each.
        greatest_[k] = static_cast<float>(std::sqrt(total) * rounding * (1 + 1e-6));
    }
}

void sketchProducts(const std::uint8_t* bytes, const SketchQuery::Values& values, SketchSums& sums) {
    for (std::size_t k = 0; k < sums.size(); ++k) {
        std::array<std::int32_t, sketchLanes> its{};
        for (std::size_t pair = 0; pair < sketchGroups / 2; ++pair) {
            const std::size_t group = k * sketchGroups + 2 * pair;
            const std::uint8_t* const eight = bytes + group * sketchLanes;
            const std::int32_t first = values[group];
            const std::int32_t second = values[group + 1];
            for (std::size_t i = 0; i < sketchLanes; ++i) {
                its[i] += first * std::int32_t{eight[2 * i]} + second * std::int32_t{eight[2 * i + 1]};
            }
        }
        sums[k] = its;
    }
}

void SketchQuery::bounds(const std::uint8_t* bytes, std::array<std::array<float, sketchLanes>, 5>& bounds) const {
    static const SketchProducts products = chosenProducts();
    SketchSums sums;
    products(bytes, values_, sums);
    for (std::size_t k = 0; k < bounds.size(); ++k) {
        for (std::size_t i = 0; i < sketchLanes; ++i) {
            bounds[k][i] = std::min(static_cast<float>(sums[k][i]) * scale_[k], greatest_[k]);
        }
    }
}

}  // namespace likeness::archive
