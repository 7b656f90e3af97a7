// The guided filter at 2 megapixels: beside its literal version, and beside the window means that it is made of.
#include <likeness/filter/guidedfilter.hpp>
#include "reference/filter_reference.hpp"

#include <benchmark/benchmark.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <string>

namespace {

constexpr int radius = 16;
constexpr double regularizer = 1e-4;

cv::Mat photograph() {
    cv::Mat image = cv::imread(std::string(LIKENESS_EXAMPLE_PHOTOGRAPHS) + "/coffee.jpg", cv::IMREAD_COLOR);
    cv::resize(image, image, cv::Size(1732, 1155));
    cv::Mat scaled;
    image.convertTo(scaled, CV_32F, 1.0 / 255.0);
    return scaled;
}

struct Images {
    cv::Mat guide;
    cv::Mat input;
};

Images imagesFor(int guideChannels, int inputChannels, int depth) {
    const cv::Mat color = photograph();
    cv::Mat gray;
    cv::extractChannel(color, gray, 1);
    Images images;
    (guideChannels == 1 ? gray : color).convertTo(images.guide, depth);
    (inputChannels == 1 ? gray : color).convertTo(images.input, depth);
    return images;
}

using Filter = cv::Mat (*)(const Images&);

cv::Mat library(const Images& images) {
    return likeness::guidedFilter(images.guide, images.input, radius, regularizer, -1, likeness::dropAll());
}

cv::Mat literal(const Images& images) {
    return likeness::reference::guidedFilter(images.guide, images.input, radius, regularizer, -1);
}

cv::Mat boxFilters(const Images& images) {
    return likeness::reference::boxFiltersOfGuidedFilter(images.guide, images.input, radius);
}

void run(benchmark::State& state, Filter filter, int guideChannels, int inputChannels, int depth) {
    const Images images = imagesFor(guideChannels, inputChannels, depth);
    if (filter == library && cv::norm(library(images), literal(images), cv::NORM_INF) != 0) {
        state.SkipWithError("the library differs from the literal version");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(filter(images).data);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(images.guide.total()));
}

// clang-format off
#define GUIDED_FILTER_CASES(name, guideChannels, inputChannels, depth)                                              \
    BENCHMARK_CAPTURE(run, name/library, library, guideChannels, inputChannels, depth)->Unit(benchmark::kMillisecond); \
    BENCHMARK_CAPTURE(run, name/literal, literal, guideChannels, inputChannels, depth)->Unit(benchmark::kMillisecond); \
    BENCHMARK_CAPTURE(run, name/box_filters, boxFilters, guideChannels, inputChannels, depth)->Unit(benchmark::kMillisecond)
// clang-format on

GUIDED_FILTER_CASES(mono_guide, 1, 1, CV_32F);
GUIDED_FILTER_CASES(color_guide, 3, 1, CV_32F);
GUIDED_FILTER_CASES(color_guide_color_input, 3, 3, CV_32F);
GUIDED_FILTER_CASES(mono_guide_double, 1, 1, CV_64F);
GUIDED_FILTER_CASES(color_guide_double, 3, 1, CV_64F);

}  // namespace
