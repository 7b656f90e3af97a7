// Colours counted while a photograph is decoded.
#pragma once

#include "codecs/image_codecs.hpp"
#include "comparison/modelled_appearance.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

namespace likeness {

/// Counts the colours of rows that are still in the cache: the photograph itself is not kept.
class CountedRows final : public RowReceiver {
public:
    /// @param counter   of nobody else's while rows come
    /// @param converts  whether colours may come that are to be converted: not where their order counts
    ///                  (`dependsOnOrder`)
    explicit CountedRows(ColorCounter& counter, bool converts = false) : counter_(counter), converts_(converts) {}

    void begin(cv::Size size) override {
        converted_.release();
        counter_.begin(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height));
    }
    void take(const cv::Mat& rows) override { counter_.add(rows); }

    bool converts() const override { return converts_; }

    /// Of each colour once.
    void convert(const std::function<cv::Mat(const cv::Mat&)>& conversion) override {
        counted_ = counter_.finish();
        converted_ = conversion(counted_.bgr);
    }

    /// The colours of all rows, once.
    /// @param size  of the photograph, upright
    PhotographColors colors(cv::Size size) {
        const std::int64_t pixels = static_cast<std::int64_t>(size.width) * size.height;
        if (!converted_.empty()) {
            return {std::move(converted_), std::move(counted_.counts), pixels};
        }
        DistinctColors counted = counter_.finish();
        return {std::move(counted.bgr), std::move(counted.counts), pixels};
    }

private:
    ColorCounter& counter_;
    bool converts_;
    DistinctColors counted_;  // where they are converted
    cv::Mat converted_;
};

/// The same for one photograph of two, which keeps what was counted.
class CountedPhotographRows final : public RowReceiver {
public:
    /// @param converts  as of `CountedRows`
    explicit CountedPhotographRows(bool converts = false) : rows_(counter_, converts) {}

    void begin(cv::Size size) override { rows_.begin(size); }
    void take(const cv::Mat& rows) override { rows_.take(rows); }
    bool converts() const override { return rows_.converts(); }
    void convert(const std::function<cv::Mat(const cv::Mat&)>& conversion) override { rows_.convert(conversion); }

    /// @param rowsOf  size of the photograph whose rows came; empty if it came as an image
    /// @return        valid as long as this object
    SeenPhotograph seen(const cv::Mat& image, cv::Size rowsOf) {
        if (rowsOf.empty()) {
            return {image};
        }
        colors_ = rows_.colors(rowsOf);
        return {{}, &colors_, rowsOf};
    }

private:
    ColorCounter counter_;
    CountedRows rows_;
    PhotographColors colors_;
};

}  // namespace likeness
