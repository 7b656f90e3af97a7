#include "comparison/binned_photograph.hpp"

#include "color/photograph_argument.hpp"
#include "comparison/color_slots.hpp"
#include "comparison/modelled_appearance.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace likeness {
namespace {

/// Finds which bins of one correlate there are, and where each stands among them.
class BinPlaces {
public:
    void note(int bin) {
        if (isDense(bin)) {
            dense_[static_cast<std::size_t>(bin - firstDense)] = 1;
        } else if (bin != noBin) {
            others_.push_back(bin);
            if (others_.size() >= nextThinning_) {
                thin();
                nextThinning_ = std::max(nextThinning_, 2 * others_.size());
            }
        }
    }

    /// Once all are noted.
    std::vector<int> take() {
        thin();
        std::vector<int> bins;
        for (const int bin : others_) {
            if (bin < firstDense) {
                bins.push_back(bin);
            }
        }
        for (int i = 0; i < denseBins; ++i) {
            std::uint32_t& entry = dense_[static_cast<std::size_t>(i)];
            if (entry != 0) {
                entry = static_cast<std::uint32_t>(bins.size());
                bins.push_back(firstDense + i);
            }
        }
        for (const int bin : others_) {
            if (bin > firstDense) {
                bins.push_back(bin);
            }
        }
        bins_ = bins;
        return bins;
    }

    /// The place of a bin that was noted; that behind all of them for none.
    std::uint32_t placeOf(int bin) const {
        if (isDense(bin)) {
            return dense_[static_cast<std::size_t>(bin - firstDense)];
        }
        return static_cast<std::uint32_t>(
            bin == noBin ? bins_.size()
                         : static_cast<std::size_t>(std::lower_bound(bins_.begin(), bins_.end(), bin) - bins_.begin()));
    }

private:
    static bool isDense(int bin) { return bin >= firstDense && bin < firstDense + denseBins; }

    void thin() {
        std::sort(others_.begin(), others_.end());
        others_.erase(std::unique(others_.begin(), others_.end()), others_.end());
    }

    static constexpr int firstDense = -256;
    static constexpr int denseBins = 2048;

    std::array<std::uint32_t, denseBins> dense_{};
    std::vector<int> others_;
    std::size_t nextThinning_ = std::size_t{1} << 16;
    std::vector<int> bins_;
};

}  // namespace

/// @param binOf  (colour, correlate) gives a bin, or `noBin`
template <typename BinOf>
void BinnedPhotograph::enter(std::size_t count, BinOf binOf) {
    std::array<BinPlaces, 5> placesOf;
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t k = 0; k < placesOf.size(); ++k) {
            placesOf[k].note(binOf(i, k));
        }
    }
    for (std::size_t k = 0; k < placesOf.size(); ++k) {
        bins_[k] = placesOf[k].take();
        begin_[k + 1] = begin_[k] + bins_[k].size() + 1;
    }
    places_.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t k = 0; k < placesOf.size(); ++k) {
            places_[i][k] = static_cast<std::uint32_t>(begin_[k]) + placesOf[k].placeOf(binOf(i, k));
        }
    }
}

void BinnedPhotograph::seeColors(const cv::Mat& photograph, float background, const StepDone& stepDone) {
    const DistinctColors colors = counter_.count(photograph, false);
    stepDone();
    const std::vector<ColorBins> bins = binsUnderBackground(colors, background, stepDone);
    CorrelateCounts counts;
    for (std::size_t i = 0; i < bins.size(); ++i) {
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            if (bins[i][k] == noBin) {
                counts[k].addMissing(colors.counts[i]);
            } else {
                counts[k].addToBin(bins[i][k], colors.counts[i]);
            }
        }
    }
    distributions_ = distributionsOf(counts);
    enter(bins.size(), [&bins](std::size_t color, std::size_t k) { return bins[color][k]; });
    pack();
    colorOfSlot_ = counter_.colorsBySlot();
    stepDone();
}

void BinnedPhotograph::seeMaps(const AppearanceMaps& maps, const cv::Mat& indices) {
    indices_ = indices;
    PerCorrelate<cv::Mat> rows;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        rows[k] = maps[k].isContinuous() ? maps[k] : maps[k].clone();
    }
    std::array<const float*, 5> values{};
    for (std::size_t k = 0; k < values.size(); ++k) {
        values[k] = rows[k].ptr<float>(0);
    }
    enter(maps.brightness.total(), [&values](std::size_t color, std::size_t k) {
        const float value = values[k][color];
        return std::isnan(value) ? noBin : BinCounts::binOf(value);
    });
}

void BinnedPhotograph::seePart(const cv::Mat& photograph, const PixelWeights& weights, const ComparisonModel& model,
                               const StepDone& stepDone) {
    const PhotographColors colors = countedColors(photograph, weights, counter_);
    stepDone();
    distributions_ = modelledAppearance(colors, {false, model, {}}, stepDone).distributions;
    weights_ = weights.map();
    unit_ = colors.unit;
    cv::Mat indices;
    const AppearanceMaps maps = mapsBesidePart(photograph, colors, model, counter_, indices);
    seeMaps(maps, indices);
    if (photograph.depth() == CV_8U) {
        pack();
    }
}

BinnedPhotograph::BinnedPhotograph(const PhotographPart& part, const ComparisonModel& model, const StepDone& stepDone)
    : photograph_(part.photograph), columns_(part.photograph.cols) {
    const cv::Mat& photograph = part.photograph;
    checkComparisonModel(model);
    part.weights.require("photograph", photograph);
    if (photograph.empty()) {
        enter(0, [](std::size_t, std::size_t) { return noBin; });
        for (int step = 0; step < stepsOfAnalysis; ++step) {
            stepDone();
        }
        return;
    }
    const bool bytes = photograph.type() == CV_8UC3;
    if (bytes && model == ComparisonModel() && part.weights.countAll()) {
        seeColors(photograph, backgroundUnder(model, static_cast<std::int64_t>(photograph.total())), stepDone);
        return;
    }
    const cv::Mat taken = bytes ? photograph : unitPhotograph("photograph", photograph);
    photograph_ = taken;
    if (!part.weights.countAll()) {
        seePart(taken, part.weights, model, stepDone);
        return;
    }
    if (model == ComparisonModel()) {
        CountedAppearance counted = countedAppearance(taken, dropAll(), stepDone);
        distributions_ = std::move(counted.distributions);
        seeMaps(counted.maps, counted.indices);
        return;
    }
    cv::Mat indices;
    const PhotographColors colors = countedColors(taken, counter_, bytes ? nullptr : &indices);
    stepDone();
    ModelledAppearance seen = modelledAppearance(colors, {true, model, {}}, stepDone);
    distributions_ = std::move(seen.distributions);
    seeMaps(seen.maps, indices);
    if (bytes) {
        pack();
        colorOfSlot_ = counter_.colorsBySlot();
    }
}

void BinnedPhotograph::pack() {
    // Of a place, the others that it occurs with, and the counts of these pairs. They are few: see the header.
    std::vector<std::vector<std::pair<std::uint32_t, std::uint16_t>>> partners(histogramSize());
    const auto countOf = [this, &partners](std::uint32_t place, std::uint32_t other) {
        for (const auto& [partner, count] : partners[place]) {
            if (partner == other) {
                return count;
            }
        }
        const auto count = static_cast<std::uint16_t>(pairs_.size());
        partners[place].emplace_back(other, count);
        pairs_.push_back({place, other});
        return count;
    };
    packed_.reserve(places_.size());
    for (const Places& its : places_) {
        packed_.push_back({countOf(its[0], its[1]), countOf(its[2], its[3]), countOf(its[4], its[4]), 0});
        if (pairs_.size() > std::numeric_limits<std::uint16_t>::max()) {  // no model is known to get here
            packed_ = {};
            pairs_ = {};
            return;
        }
    }
    places_ = {};
}

template <typename Count>
void BinnedPhotograph::expand(const Count* counts, Count* histogram) const {
    if (packed_.empty()) {
        std::copy_n(counts, histogramSize(), histogram);
        return;
    }
    std::fill_n(histogram, histogramSize(), Count{0});
    for (std::size_t i = 0; i < pairs_.size(); ++i) {
        const auto [place, other] = pairs_[i];
        histogram[place] += counts[i];
        if (other != place) {
            histogram[other] += counts[i];
        }
    }
}

/// Both tables are larger than what is near the processor: what is needed of them is asked for ahead of time.
template <typename OnColor>
void BinnedPhotograph::forEachSlotOf(const std::uint32_t* slots, std::size_t count, const OnColor& onColor) const {
    constexpr std::size_t ahead = 24;
    constexpr std::size_t blockSize = 128;
    std::uint32_t colors[blockSize];
    for (std::size_t begin = 0; begin < count; begin += blockSize) {
        const std::size_t block = std::min(blockSize, count - begin);
        const std::uint32_t* const its = slots + begin;
        for (std::size_t i = 0; i < block; ++i) {
            if (begin + i + ahead < count) {
                __builtin_prefetch(colorOfSlot_ + its[i + ahead]);
            }
            colors[i] = colorOfSlot_[its[i]];
            __builtin_prefetch(packed_.empty() ? static_cast<const void*>(places_.data() + colors[i])
                                               : static_cast<const void*>(packed_.data() + colors[i]));
        }
        for (std::size_t i = 0; i < block; ++i) {
            onColor(colors[i]);
        }
    }
}

template <typename OnColor>
void BinnedPhotograph::forEachColor(int row, const cv::Range& columns, const OnColor& onColor) const {
    if (colorOfSlot_ != nullptr) {
        constexpr std::size_t blockSize = 1024;
        std::uint32_t slots[blockSize];
        const uchar* bgr = photograph_.ptr<uchar>(row) + std::ptrdiff_t{3} * columns.start;
        for (auto left = static_cast<std::size_t>(columns.size()); left > 0;) {
            const std::size_t block = std::min(blockSize, left);
            colorSlots(bgr, block, slots);
            forEachSlotOf(slots, block, onColor);
            bgr += 3 * block;
            left -= block;
        }
    } else if (!indices_.empty()) {
        const auto* const indices = indices_.ptr<int>(row);
        for (int j = columns.start; j < columns.end; ++j) {
            onColor(static_cast<std::size_t>(indices[j]));
        }
    } else {
        const std::size_t first = static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_);
        for (int j = columns.start; j < columns.end; ++j) {
            onColor(first + static_cast<std::size_t>(j));
        }
    }
}

template <typename Count>
void BinnedPhotograph::addColor(std::size_t color, Count* counts, Count times) const {
    if (!packed_.empty()) {
        const PackedPlaces its = packed_[color];
        counts[its[0]] += times;
        counts[its[1]] += times;
        counts[its[2]] += times;
        return;
    }
    for (const std::uint32_t place : places_[color]) {
        counts[place] += times;
    }
}

template <typename Count>
void BinnedPhotograph::add(int row, const cv::Range& columns, Count* counts, Count times) const {
    if (!weights_.empty()) {
        const auto* weight = weights_.ptr<ushort>(row) + columns.start;
        const bool weighted = unit_ == CountedIn::weights;
        forEachColor(row, columns, [&](std::size_t color) {
            const Count its = *weight++;
            if (its != 0) {
                addColor(color, counts, weighted ? static_cast<Count>(times * its) : times);
            }
        });
        return;
    }
    if (!packed_.empty()) {
        forEachColor(row, columns, [counts, times, packed = packed_.data()](std::size_t color) {
            const PackedPlaces its = packed[color];
            counts[its[0]] += times;
            counts[its[1]] += times;
            counts[its[2]] += times;
        });
        return;
    }
    forEachColor(row, columns, [this, counts, times](std::size_t color) { addColor(color, counts, times); });
}

template void BinnedPhotograph::add(int, const cv::Range&, std::uint32_t*, std::uint32_t) const;
template void BinnedPhotograph::add(int, const cv::Range&, std::uint64_t*, std::uint64_t) const;
template void BinnedPhotograph::expand(const std::uint32_t*, std::uint32_t*) const;
template void BinnedPhotograph::expand(const std::uint64_t*, std::uint64_t*) const;

}  // namespace likeness
