// Global adaptation at 2 megapixels beside its literal version.
#include <likeness/adaptation/global_adaptation.hpp>
#include "reference/global_adaptation_reference.hpp"

#include <benchmark/benchmark.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <string>

namespace {

constexpr int width = 1728;
constexpr int height = 1200;  // 2.07 megapixels

/// A photograph whose light has the colour of `white` in B, G, R.
cv::Mat photograph(const char* file, const cv::Scalar& white) {
    cv::Mat image = cv::imread(std::string(LIKENESS_EXAMPLE_PHOTOGRAPHS "/") + file, cv::IMREAD_COLOR);
    cv::resize(image, image, {width, height}, 0, 0, cv::INTER_CUBIC);
    image.convertTo(image, CV_32F, 1.0 / 255.0);
    cv::multiply(image, white, image);
    return image;
}

template <typename Adapt>
void adapt(benchmark::State& state, Adapt&& adapt) {
    const cv::Mat original = photograph("cat.jpg", {0.7, 0.9, 1.0});
    cv::Mat image;
    for (auto _ : state) {
        state.PauseTiming();
        original.copyTo(image);
        state.ResumeTiming();
        adapt(image);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * width * height);
}

cv::Mat sourceWhite() {
    return {1, 1, CV_32FC3, cv::Scalar(0.7, 0.9, 1.0)};
}

cv::Mat targetWhite() {
    return {1, 1, CV_32FC3, cv::Scalar(0.93, 1.0, 1.0)};
}

void catLibrary(benchmark::State& state) {
    cv::Mat source = sourceWhite();
    cv::Mat mask;
    adapt(state, [&](cv::Mat& image) { likeness::CAT(image, source, targetWhite(), 0.8F, mask); });
}

void catLiteral(benchmark::State& state) {
    adapt(state, [](cv::Mat& image) { likeness::reference::CAT(image, sourceWhite(), targetWhite(), 0.8F); });
}

void adaptationLibrary(benchmark::State& state) {
    const cv::Mat target = photograph("coffee.jpg", cv::Scalar::all(1));
    adapt(state,
          [&](cv::Mat& image) { likeness::performIlluminantAdaptation(image, target, 1.0F, likeness::dropAll()); });
}

void adaptationLiteral(benchmark::State& state) {
    const cv::Mat target = photograph("coffee.jpg", cv::Scalar::all(1));
    int adaptations = 0;
    adapt(state, [&](cv::Mat& image) {
        std::string printed;
        adaptations = likeness::reference::performIlluminantAdaptation(image, target, 1.0F, printed);
    });
    state.counters["adaptations"] = adaptations;
}

BENCHMARK(catLibrary)->Name("CAT/library")->Unit(benchmark::kMillisecond);
BENCHMARK(catLiteral)->Name("CAT/literal")->Unit(benchmark::kMillisecond);
BENCHMARK(adaptationLibrary)->Name("performIlluminantAdaptation/library")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(adaptationLiteral)->Name("performIlluminantAdaptation/literal")->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
