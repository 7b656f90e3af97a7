// Rows of known truth.
#pragma once

#include <likeness/fit/score_model.hpp>
#include "support/built_modules.hpp"

#include <cmath>
#include <random>

namespace likeness::testing {

/// Whether curves can be fitted by this build.
inline bool canFitCurves() {
    return isModuleBuilt("ceres");
}

/// Normal numbers that are the same everywhere.
class Normal {
public:
    explicit Normal(std::uint64_t seed) : engine_(seed) {}

    double uniform() { return (static_cast<double>(engine_() >> 11U) + 0.5) * 0x1p-53; }
    double operator()() {
        return std::sqrt(-2 * std::log(uniform())) * std::cos(2 * 3.14159265358979323846 * uniform());
    }

private:
    std::mt19937_64 engine_;
};

/// Rows of two features with scores from `truth` and normal errors.
template <typename Truth>
ScoredRows madeRows(std::size_t count, double deviation, std::uint64_t seed, const Truth& truth) {
    Normal normal(seed);
    ScoredRows rows;
    rows.features = {"lightness", "chroma"};
    rows.columns.resize(2);
    for (std::size_t i = 0; i < count; ++i) {
        const double x = 0.2 + 0.8 * normal.uniform();
        const double y = 0.2 + 0.8 * normal.uniform();
        rows.columns[0].push_back(x);
        rows.columns[1].push_back(y);
        rows.scores.push_back(truth(x, y) + deviation * normal());
        rows.groups.push_back(i % 10);
    }
    return rows;
}

}  // namespace likeness::testing
