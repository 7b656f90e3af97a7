// A photograph as the bins of its pixels, for histograms of its parts.
#pragma once

#include <likeness/color/pixel_weights.hpp>
#include <likeness/comparison/comparison_model.hpp>
#include <likeness/comparison/photograph_comparison.hpp>
#include "comparison/distinct_colors.hpp"
#include "comparison/photograph_counts.hpp"

#include <opencv2/core.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace likeness {

/// Bins of a photograph's pixels by correlate, found once for each of its colours. Histograms of its parts are arrays of
/// counts: for each correlate in turn, one count for each bin that the photograph has, ascending, and one for the pixels
/// that have none.
///
/// Pixels are counted in another form, of which a histogram is made at the end: brightness follows from lightness and
/// colourfulness from chroma, so that few pairs of their bins occur, and a pixel of bytes counts in three places, not
/// five.
class BinnedPhotograph {
public:
    /// @param part        as for `analyze`; not copied where it has bytes: it must live as long as this
    /// @param stepDone    told of the steps of an analysis
    /// @throws std::invalid_argument  as `analyze`
    BinnedPhotograph(const PhotographPart& part, const ComparisonModel& model, const StepDone& stepDone);

    /// What histograms count.
    CountedIn unit() const noexcept { return unit_; }

    /// Of the whole.
    const AppearanceDistributions& distributions() const noexcept { return distributions_; }

    /// How many counts a histogram has.
    std::size_t histogramSize() const noexcept { return begin_.back(); }

    /// The bins of one correlate, ascending.
    const std::vector<int>& binsOf(std::size_t correlate) const noexcept { return bins_[correlate]; }

    /// Where the counts of a correlate begin in a histogram. Behind those of its bins is that of pixels without one.
    std::size_t beginOf(std::size_t correlate) const noexcept { return begin_[correlate]; }

    /// How many counts the form has that pixels are counted in.
    std::size_t countsSize() const noexcept { return packed_.empty() ? histogramSize() : pairs_.size(); }

    /// Adds `times` for each pixel of a part of a row that counts, `times` its weight where weights are counted. Threads
    /// may call it at the same time for different counts.
    /// @tparam Count  of 32 bits for pixels, of 64 for weights
    /// @param times   as unsigned numbers wrap around, -1 takes pixels out
    template <typename Count>
    void add(int row, const cv::Range& columns, Count* counts, Count times) const;

    /// The histogram of counts.
    template <typename Count>
    void expand(const Count* counts, Count* histogram) const;

private:
    using Places = std::array<std::uint32_t, 5>;
    using PackedPlaces = std::array<std::uint16_t, 4>;  // three, in eight bytes

    void pack();
    template <typename OnColor>
    void forEachSlotOf(const std::uint32_t* slots, std::size_t count, const OnColor& onColor) const;
    template <typename OnColor>
    void forEachColor(int row, const cv::Range& columns, const OnColor& onColor) const;

    template <typename BinOf>
    void enter(std::size_t count, BinOf binOf);
    void seeColors(const cv::Mat& photograph, float background, const StepDone& stepDone);
    void seeMaps(const AppearanceMaps& maps, const cv::Mat& indices);
    void seePart(const cv::Mat& photograph, const PixelWeights& weights, const ComparisonModel& model,
                 const StepDone& stepDone);
    template <typename Count>
    void addColor(std::size_t color, Count* counts, Count times) const;

    ColorCounter counter_;
    const std::uint32_t* colorOfSlot_ = nullptr;  // the counter's; null where `indices_` says which colour a pixel has
    cv::Mat photograph_;
    cv::Mat weights_;  // CV_16U; empty where every pixel counts whole
    CountedIn unit_ = CountedIn::pixels;
    cv::Mat indices_;  // CV_32S; empty where there are neither: each pixel is a colour of its own
    int columns_ = 0;
    AppearanceDistributions distributions_;
    std::array<std::vector<int>, 5> bins_;
    std::array<std::size_t, 6> begin_{};
    std::vector<Places> places_;        // of each colour, in a histogram; empty where they are packed
    std::vector<PackedPlaces> packed_;  // of each colour of bytes, in the counts
    std::vector<std::array<std::uint32_t, 2>>
        pairs_;  // where a packed count belongs in a histogram; twice the same: once
};

}  // namespace likeness
