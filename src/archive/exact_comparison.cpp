#include "archive/exact_comparison.hpp"

#include <cmath>

namespace likeness {

namespace {

constexpr std::int64_t mostDense = 1 << 16;

}  // namespace

float ComparedOnce::Bins::at(int bin) const {
    const std::int64_t index = std::int64_t{bin} - first;
    if (index >= 0 && index < static_cast<std::int64_t>(values.size())) {
        return values[static_cast<std::size_t>(index)];
    }
    if (!sparse.empty()) {
        const auto found = sparse.find(bin);
        return found == sparse.end() ? 0.0F : found->second;
    }
    return 0.0F;
}

ComparedOnce::ComparedOnce(const AppearanceDistributions& distributions) : hasHue_(distributions.hue.has_value()) {
    for (std::size_t k = 0; k < bins_.size(); ++k) {
        if (k == archive::hueNumber && !hasHue_) {
            break;
        }
        const BinProbabilities& all = k == archive::hueNumber ? *distributions.hue : distributions[k];
        if (all.empty()) {
            continue;
        }
        const std::int64_t span = std::int64_t{all.rbegin()->first} - all.begin()->first + 1;
        if (span > mostDense) {
            bins_[k].sparse = all;
            continue;
        }
        bins_[k].first = all.begin()->first;
        bins_[k].values.assign(static_cast<std::size_t>(span), 0.0F);
        for (const auto& [bin, probability] : all) {
            bins_[k].values[static_cast<std::size_t>(std::int64_t{bin} - bins_[k].first)] = probability;
        }
    }
}

PairCoefficients ComparedOnce::with(std::string_view histograms, std::uint64_t pixels) const {
    PairCoefficients result;
    archive::HistogramReader reader(histograms, pixels);
    // A bin that one of the two lacks adds sqrt(0), which changes no sum of floats: the bits are those of the common bins
    // added up in their order.
    const auto coefficient = [&reader](const Bins& bins, bool& empty) {
        float sum = 0.0F;
        reader.next([&](int bin, float probability) {
            empty = false;
            sum += std::sqrt(bins.at(bin) * probability);
        });
        return sum;
    };
    bool empty = true;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        result.five[k] = coefficient(bins_[k], empty);
    }
    if (hasHue_ && reader.hasHue()) {
        bool noHue = true;
        const float hue = coefficient(bins_[archive::hueNumber], noHue);
        const bool both = noHue && bins_[archive::hueNumber].values.empty();
        result.hue = both ? 1.0F : hue;
    }
    return result;
}

}  // namespace likeness
