#include "fit/monotone_fit.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace likeness {
namespace {

/// Neighbouring points that have one value.
struct Level {
    double low;  ///< least and greatest x
    double high;
    double sum;  ///< of y
    double count;

    double mean() const { return sum / count; }
};

}  // namespace

MonotoneFit monotoneFit(const std::vector<double>& x, const std::vector<double>& y, bool rising) {
    std::vector<std::size_t> order(x.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return x[a] < x[b]; });
    std::vector<Level> levels;
    for (std::size_t k = 0; k < order.size();) {
        Level level{x[order[k]], x[order[k]], 0, 0};
        for (; k < order.size() && x[order[k]] == level.low; ++k) {
            level.sum += y[order[k]];
            level.count += 1;
        }
        levels.push_back(level);
        while (levels.size() > 1) {
            Level& before = levels[levels.size() - 2];
            const Level& last = levels.back();
            if (rising ? before.mean() < last.mean() : before.mean() > last.mean()) {
                break;
            }
            before = {before.low, last.high, before.sum + last.sum, before.count + last.count};
            levels.pop_back();
        }
    }
    MonotoneFit fit;
    fit.levels = levels.size();
    for (const Level& level : levels) {
        fit.x.push_back(level.low);
        fit.y.push_back(level.mean());
        if (level.high > level.low) {
            fit.x.push_back(level.high);
            fit.y.push_back(level.mean());
        }
    }
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double error = y[i] - monotoneValue(fit.x, fit.y, x[i]);
        fit.squares += error * error;
    }
    return fit;
}

double monotoneValue(const std::vector<double>& knotsX, const std::vector<double>& knotsY, double x) {
    if (knotsX.empty() || std::isnan(x)) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    const auto above = std::lower_bound(knotsX.begin(), knotsX.end(), x);
    if (above == knotsX.end()) {
        return knotsY.back();
    }
    const auto k = static_cast<std::size_t>(above - knotsX.begin());
    if (k == 0 || *above == x) {
        return knotsY[k];
    }
    const double share = (x - knotsX[k - 1]) / (knotsX[k] - knotsX[k - 1]);
    return knotsY[k - 1] + share * (knotsY[k] - knotsY[k - 1]);
}

}  // namespace likeness
