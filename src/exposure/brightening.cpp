#include <likeness/exposure/brightening.hpp>

#include <likeness/color/bgr_xyz.hpp>
#include <likeness/exposure/brightness_increase.hpp>
#include "color/photograph_argument.hpp"
#include "exposure/exposure_regions.hpp"

#include <sstream>

namespace likeness {
namespace {

/// Pictures adapted to D65, and the white that they come back under.
struct Brightened {
    std::vector<cv::Mat> pictures;
    cv::Mat white;
};

Brightened brightened(const cv::Mat& photograph, const BrightenOptions& options, int lastPass, const Watch& watch) {
    requireBrightnessFactor("factor", options.factor, lastPass);
    Brightened result;
    result.white = ownUnitPhotograph("photograph", photograph);
    requireBounded("photograph", result.white);
    convertBGRToXYZDirect(result.white, result.white);
    result.pictures = exposuresOf(result.white, static_cast<float>(options.factor), watch.receiver());
    return result;
}

}  // namespace

cv::Mat brighten(const cv::Mat& photograph, const BrightenOptions& options, const Watch& watch) {
    if (photograph.empty()) {
        return {};
    }
    requireBetween("pass", options.pass, 1, brightnessPasses);
    constexpr int steps = 2;
    const Brightened made = brightened(photograph, options, options.pass, watch);
    watch.step(1, steps);
    cv::Mat picture = made.pictures[static_cast<std::size_t>(options.pass - 1)];
    leaveD65(picture, made.white);
    watch.step(2, steps);
    return picture;
}

std::vector<cv::Mat> brightenInPasses(const cv::Mat& photograph, const BrightenOptions& options, const Watch& watch) {
    if (photograph.empty()) {
        return {};
    }
    constexpr int steps = 1 + brightnessPasses;
    Brightened made = brightened(photograph, options, brightnessPasses, watch);
    int done = 1;
    watch.step(done, steps);
    for (cv::Mat& picture : made.pictures) {
        leaveD65(picture, made.white);
        watch.step(++done, steps);
    }
    return made.pictures;
}

}  // namespace likeness
