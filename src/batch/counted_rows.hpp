// Colours counted while a photograph is decoded.
#pragma once

#include "codecs/image_codecs.hpp"
#include "comparison/modelled_appearance.hpp"
#include "photofile/photograph_reader.hpp"

#include <cstddef>
#include <utility>

namespace likeness {

/// Counts the colours of rows that are still in the cache: the photograph itself is not kept.
class CountedRows final : public RowReceiver {
public:
    /// @param counter  of nobody else's while rows come
    explicit CountedRows(ColorCounter& counter) : counter_(counter) {}

    void begin(cv::Size size) override { counter_.begin(static_cast<std::size_t>(size.area())); }
    void take(const cv::Mat& rows) override { counter_.add(rows); }

    /// Of a photograph that was read, once.
    PhotographColors colorsOf(const PhotographRead& photograph) {
        if (photograph.rowsOf.empty()) {
            return countedColors(photograph.bgr, counter_);
        }
        DistinctColors counted = counter_.finish();
        return {std::move(counted.bgr), std::move(counted.counts), photograph.rowsOf};
    }

private:
    ColorCounter& counter_;
};

/// The same for one photograph of two, which keeps what was counted.
class CountedPhotographRows final : public RowReceiver {
public:
    void begin(cv::Size size) override { rows_.begin(size); }
    void take(const cv::Mat& rows) override { rows_.take(rows); }

    /// @return  valid as long as this object
    SeenPhotograph seen(const PhotographRead& photograph) {
        if (photograph.rowsOf.empty()) {
            return {photograph.bgr, nullptr};
        }
        colors_ = rows_.colorsOf(photograph);
        return {{}, &colors_};
    }

private:
    ColorCounter counter_;
    CountedRows rows_{counter_};
    PhotographColors colors_;
};

}  // namespace likeness
