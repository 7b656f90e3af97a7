#include <likeness/filter/smoothing.hpp>

#include <likeness/filter/guidedfilter.hpp>
#include "color/photograph_argument.hpp"
#include "filter/channel_smoothing.hpp"

#include <opencv2/imgproc.hpp>

#include <vector>

namespace likeness {
namespace {

cv::Mat smoothByTransport(const cv::Mat& image, const cv::Mat& guide, int radius, const Watch& watch) {
    constexpr int steps = 2;
    // The variances of this variant are floored on the scale of bytes.
    const GuidedFilterColor filter(guide * 255.0, 2 * radius + 1, 0.0, watch.receiver());
    watch.step(1, steps);
    cv::Mat result = filter.filterColorChannelsMK(image * 255.0) / 255.0;
    watch.step(2, steps);
    return result;
}

}  // namespace

cv::Mat smoothChannels(const cv::Mat& image, const cv::Mat& guide, int radius, double epsilon, const Watch& watch) {
    const int steps = 1 + image.channels();
    const GuidedFilter filter(guide, radius, epsilon, watch.receiver());
    watch.step(1, steps);
    std::vector<cv::Mat> channels;
    cv::split(image, channels);
    int done = 1;
    for (cv::Mat& channel : channels) {
        channel = filter.filter(channel, -1, watch.receiver());
        watch.step(++done, steps);
    }
    cv::Mat result;
    cv::merge(channels, result);
    return result;
}

bool isGray(const cv::Mat& photograph) {
    const cv::Mat unit = photograph.empty() ? cv::Mat() : unitPhotograph("photograph", photograph);
    for (int i = 0; i < unit.rows; ++i) {
        const auto* const row = unit.ptr<cv::Vec3f>(i);
        for (int j = 0; j < unit.cols; ++j) {
            if (row[j][0] != row[j][1] || row[j][1] != row[j][2]) {
                return false;
            }
        }
    }
    return true;
}

cv::Mat smooth(const cv::Mat& photograph, const SmoothOptions& options, const Watch& watch) {
    if (photograph.empty()) {
        return {};
    }
    const cv::Mat image = unitPhotograph("photograph", photograph);
    requireFinite("photograph", image);
    cv::Mat guide = image;
    if (!options.guide.empty()) {
        guide = unitPhotograph("guide", options.guide);
        requireSameSize("photograph", image, "guide", guide);
        requireFinite("guide", guide);
    }
    requireBetween("radius", options.radius, 0, 1000);
    requireBetween("epsilon", options.epsilon, 0, 1e6);
    if (options.variant == SmoothingVariant::gray) {
        cv::Mat gray;
        cv::cvtColor(guide, gray, cv::COLOR_BGR2GRAY);
        return smoothChannels(image, gray, options.radius, options.epsilon, watch);
    }
    if (isGray(guide)) {
        refuseArgument("guide", "it is grey, and this variant goes by its colours");
    }
    return options.variant == SmoothingVariant::color ? smoothChannels(image, guide, options.radius, 0.0, watch)
                                                      : smoothByTransport(image, guide, options.radius, watch);
}

}  // namespace likeness
