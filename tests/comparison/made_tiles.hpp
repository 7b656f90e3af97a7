// Pairs of photographs made of independent tiles, whose coefficients of the whole population are known.
#pragma once

#include <likeness/comparison/tile_comparison.hpp>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <utility>

namespace likeness::testing {

/// What the levels of tiles are drawn from: bytes of grey.
struct TilePopulation {
    double spread = 25;      ///< half the range of the levels of the tiles, around 110
    double shift = 0;        ///< of the second photograph
    double likeness = 1;     ///< share of a tile's level that the second takes from the first
    double noise = 6;        ///< half the range of the pixels around the level of their tile
    double secondNoise = 6;  ///< likewise in the second
};

/// Two photographs of tiles that are `side` pixels across.
inline std::pair<cv::Mat, cv::Mat> madeTiles(const TilePopulation& population, int across, int side,
                                             std::uint64_t seed) {
    std::mt19937_64 random(seed);
    // Equal on every platform, other than the distributions of the standard library; a sum of three is round enough.
    const auto number = [&random] { return static_cast<double>(random() >> 11U) * 0x1p-52 - 1; };
    const auto round = [&] { return (number() + number() + number()) / 3; };
    cv::Mat first(across * side, across * side, CV_8UC3);
    cv::Mat second(first.size(), CV_8UC3);
    const auto fill = [&](cv::Mat part, double level, double noise) {
        for (int i = 0; i < part.rows; ++i) {
            for (int j = 0; j < part.cols; ++j) {
                const auto grey = cv::saturate_cast<uchar>(level + noise * number());
                part.at<cv::Vec3b>(i, j) = {grey, grey, grey};
            }
        }
    };
    for (int row = 0; row < across; ++row) {
        for (int column = 0; column < across; ++column) {
            const cv::Rect place(column * side, row * side, side, side);
            const double own = round();
            const double other = population.likeness * own + (1 - population.likeness) * round();
            fill(first(place), 110 + population.spread * own, population.noise);
            fill(second(place), 110 + population.shift + population.spread * other, population.secondNoise);
        }
    }
    return {first, second};
}

/// White and background that do not depend on what was drawn.
inline ComparisonModel fixedModel() {
    ComparisonModel model;
    model.white = WhiteResponse::fixed;
    model.background = 20;
    return model;
}

/// How often the intervals hold the coefficients of brightness and of lightness that the whole population has.
struct IntervalCoverage {
    double brightness = 0;
    double lightness = 0;
    double truth = 0;      ///< the coefficient of brightness
    bool allHold = true;   ///< whether every interval held its own coefficient
    double meanWidth = 0;  ///< of brightness
};

inline IntervalCoverage coverageOf(const TilePopulation& population, int across, int repetitions, int resamples) {
    constexpr int side = 8;
    TileOptions options;
    options.model = fixedModel();
    options.layout.count = {2, 2};
    const auto [all, allOther] = madeTiles(population, 200, side, 0);
    const LikenessCoefficients truth = compareTiles(all, allOther, options).coefficients;
    options.layout.count = {across, across};
    options.interval = IntervalOptions();
    options.interval->resamples = resamples;
    IntervalCoverage coverage;
    coverage.truth = static_cast<double>(truth.brightness);
    for (int k = 0; k < repetitions; ++k) {
        const auto [first, second] = madeTiles(population, across, side, static_cast<std::uint64_t>(k) + 1);
        options.interval->seed = static_cast<std::uint64_t>(k);
        const TileComparison comparison = compareTiles(first, second, options);
        const auto holds = [](const CoefficientInterval& interval, float value) {
            return interval.low <= value && value <= interval.high;
        };
        for (std::size_t c = 0; c < correlateNames.size(); ++c) {
            coverage.allHold = coverage.allHold && holds((*comparison.intervals)[c], comparison.coefficients[c]);
        }
        const CoefficientInterval& brightness = comparison.intervals->brightness;
        coverage.brightness += holds(brightness, truth.brightness) ? 1.0 / repetitions : 0;
        coverage.lightness += holds(comparison.intervals->lightness, truth.lightness) ? 1.0 / repetitions : 0;
        coverage.meanWidth += static_cast<double>(brightness.high - brightness.low) / repetitions;
    }
    return coverage;
}

}  // namespace likeness::testing
