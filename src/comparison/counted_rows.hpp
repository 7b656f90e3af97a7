// Colours counted while a photograph is decoded.
#pragma once

#include "codecs/image_codecs.hpp"
#include "comparison/modelled_appearance.hpp"

#include <cstddef>
#include <utility>

namespace likeness {

/// Counts the colours of rows that are still in the cache: the photograph itself is not kept.
class CountedRows final : public RowReceiver {
public:
    /// @param counter  of nobody else's while rows come
    explicit CountedRows(ColorCounter& counter) : counter_(counter) {}

    void begin(cv::Size size) override {
        counter_.begin(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height));
    }
    void take(const cv::Mat& rows) override { counter_.add(rows); }

    /// The colours of all rows, once.
    /// @param size  of the photograph, upright
    PhotographColors colors(cv::Size size) {
        DistinctColors counted = counter_.finish();
        return {std::move(counted.bgr), std::move(counted.counts), static_cast<std::int64_t>(size.width) * size.height};
    }

private:
    ColorCounter& counter_;
};

/// The same for one photograph of two, which keeps what was counted.
class CountedPhotographRows final : public RowReceiver {
public:
    void begin(cv::Size size) override { rows_.begin(size); }
    void take(const cv::Mat& rows) override { rows_.take(rows); }

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
    CountedRows rows_{counter_};
    PhotographColors colors_;
};

}  // namespace likeness
