#include "batch/comparison_remarks.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace likeness {
namespace {

double greatestNanShare(const AppearanceDistributions& distributions) {
    const CorrelateShares& shares = distributions.nanShares;
    return std::max({shares.brightness, shares.lightness, shares.chroma, shares.colorfulness, shares.saturation});
}

}  // namespace

std::string backgroundRemark(std::int64_t first, std::int64_t second) {
    const double one = backgroundLuminanceOf(first);
    const double other = backgroundLuminanceOf(second);
    if (std::abs(one - other) <= tellingBackgroundDifference * std::max(one, other)) {
        return {};
    }
    return fmt::format("the backgrounds that the model assumes differ with the sizes, {:.6g} and {:.6g}", one, other);
}

std::string uncountedRemark(const AppearanceDistributions& distributions) {
    const double share = greatestNanShare(distributions);
    return share == 0 ? std::string()
                      : fmt::format(
                            "{:.2g} % of its pixels hold values that are no numbers, infinite or negative, and "
                            "are not counted",
                            100 * share);
}

std::string blackRemark(const AppearanceDistributions& distributions) {
    return distributions.blackShare == 0
               ? std::string()
               : fmt::format(
                     "{:.3g} % of its pixels have colours outside what the model describes: they count as black",
                     100 * distributions.blackShare);
}

std::string pictureProblem(const std::string& problem, const ComparisonModel& model) {
    return ": " + problem + (model.pictureWhite == PictureWhite::encoding ? "" : "; choose --picture-white encoding");
}

std::string appearanceProblem(const AppearanceDistributions& distributions) {
    return greatestNanShare(distributions) < 1
               ? std::string()
               : " as a photograph: all its pixels hold values that are no numbers, infinite or negative";
}

}  // namespace likeness
