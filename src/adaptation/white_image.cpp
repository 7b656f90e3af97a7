#include <likeness/adaptation/white_image.hpp>

#include <likeness/filter/guidedfilter.hpp>
#include "color/photograph_argument.hpp"
#include "filter/bilateral_filter.hpp"
#include "filter/channel_smoothing.hpp"
#include "numerics/argument_check.hpp"

#include <opencv2/imgproc.hpp>

namespace likeness {
namespace {

constexpr int whiteRadius = 16;
constexpr double whiteEpsilon = 0.0001;

}  // namespace

// The radius is not read (departure 10): one white image serves callers that ask for very different ones.
void computeWhiteImg(cv::Mat& img, cv::Mat& white, int /*radius*/, const Diagnostics& diagnostics) {
    requireElement("computeWhiteImg", img.type(), {{"img", img}});
    white = guidedFilter(img, img, whiteRadius, whiteEpsilon, -1, diagnostics);
}

void computeWhiteImgVs2(cv::Mat& img, cv::Mat& white, float sigma, int d) {
    requireElement("computeWhiteImgVs2", img.type(), {{"img", img}});
    bilateralFilter(img, white, d, static_cast<double>(sigma), static_cast<double>(d));
}

cv::Mat localWhite(const cv::Mat& photograph, const LocalWhiteOptions& options, const Watch& watch) {
    requireAboveZero("sigma", options.sigma, 100);
    requireBetween("diameter", options.diameter, 1, 255);
    if (photograph.empty()) {
        return {};
    }
    cv::Mat unit = unitPhotograph("photograph", photograph);
    if (options.filter == WhiteFilter::bilateral) {
        requireBounded("photograph", unit);
        cv::Mat white;
        computeWhiteImgVs2(unit, white, static_cast<float>(options.sigma), options.diameter);
        watch.step(1, 1);
        return white;
    }
    requireFinite("photograph", unit);
    return smoothChannels(unit, unit, whiteRadius, whiteEpsilon, watch);
}

}  // namespace likeness
