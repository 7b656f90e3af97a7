#include <likeness/exposure/brightening.hpp>

#include <likeness/color/bgr_xyz.hpp>
#include <likeness/exposure/brightness_increase.hpp>
#include "color/photograph_argument.hpp"
#include "exposure/exposure_regions.hpp"

namespace likeness {
namespace {

/// @return  X, Y, Z in memory of its own
cv::Mat checkedXyz(const cv::Mat& photograph, const BrightenOptions& options, int lastPass) {
    requireBrightnessFactor("factor", options.factor, lastPass);
    cv::Mat image = ownUnitPhotograph("photograph", photograph);
    requireBounded("photograph", image);
    convertBGRToXYZDirect(image, image);
    return image;
}

}  // namespace

cv::Mat brighten(const cv::Mat& photograph, const BrightenOptions& options, const Watch& watch) {
    if (photograph.empty()) {
        return {};
    }
    requireBetween("pass", options.pass, 1, brightnessPasses);
    constexpr int steps = 2;
    AdaptedToD65 adapted = adaptedToD65(checkedXyz(photograph, options, options.pass));
    cv::Mat result;
    increaseBrightnessByPasses(
        adapted.image, static_cast<float>(options.factor), {options.pass - 1},
        [&](int, cv::Mat& picture) {
            watch.step(1, steps);
            undoD65OfExposure(picture, adapted.white);
            result = picture;
        },
        watch.receiver());
    watch.step(2, steps);
    return result;
}

std::vector<cv::Mat> brightenInPasses(const cv::Mat& photograph, const BrightenOptions& options, const Watch& watch) {
    std::vector<cv::Mat> pictures;
    brightenInPasses(
        photograph, options, [&pictures](int, const cv::Mat& picture) { pictures.push_back(picture.clone()); }, watch);
    return pictures;
}

void brightenInPasses(const cv::Mat& photograph, const BrightenOptions& options,
                      const std::function<void(int pass, const cv::Mat& picture)>& take, const Watch& watch) {
    if (photograph.empty()) {
        return;
    }
    constexpr int steps = 1 + brightnessPasses;
    AdaptedToD65 adapted = adaptedToD65(checkedXyz(photograph, options, brightnessPasses));
    int done = 0;
    watch.step(++done, steps);
    increaseBrightnessByPasses(
        adapted.image, static_cast<float>(options.factor), everyPass(),
        [&](int pass, cv::Mat& picture) {
            undoD65OfExposure(picture, adapted.white);
            take(pass + 1, picture);
            watch.step(++done, steps);
        },
        watch.receiver());
}

}  // namespace likeness
