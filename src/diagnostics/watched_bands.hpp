// Bands of rows of an image, shared out over threads, with a caller who watches.
#pragma once

#include <likeness/diagnostics/watch.hpp>
#include "numerics/parallel.hpp"

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstddef>

namespace likeness {

/// Calls body(rows) for bands of `bandHeight` rows that cover an image of `size`, several at the same time, and reports
/// each as a step of `stepsBefore` + the number of bands. The caller hears of them, in order, from its own thread.
template <typename Body>
void forEachBand(cv::Size size, int bandHeight, const Watch& watch, int stepsBefore, const Body& body) {
    constexpr int together = 16;
    const int bands = (size.height + bandHeight - 1) / bandHeight;
    const std::size_t pixels = static_cast<std::size_t>(bandHeight) * static_cast<std::size_t>(size.width);
    const std::size_t grain = numerics::pixelsWorthAThread / std::max<std::size_t>(1, pixels);
    for (int begin = 0; begin < bands; begin += together) {
        const int end = std::min(begin + together, bands);
        numerics::inParallel(static_cast<std::size_t>(end - begin), grain, [&](std::size_t from, std::size_t to) {
            for (std::size_t k = from; k < to; ++k) {
                const int first = (begin + static_cast<int>(k)) * bandHeight;
                body(cv::Range(first, std::min(first + bandHeight, size.height)));
            }
        });
        for (int k = begin; k < end; ++k) {
            watch.step(stepsBefore + k + 1, stepsBefore + bands);
        }
    }
}

}  // namespace likeness
