// Structure tensor, optical-flow and brightness alignment at 2 megapixels, beside their literal versions.
#include <likeness/exposure/brightness_alignment.hpp>
#include <likeness/structure/optical_flow_alignment.hpp>
#include <likeness/structure/structure_tensor.hpp>
#include "reference/brightness_alignment_reference.hpp"
#include "reference/structure_reference.hpp"

#include <benchmark/benchmark.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <string>

namespace {

constexpr int width = 1728;
constexpr int height = 1200;  // 2.07 megapixels

cv::Mat photograph(double scale) {
    cv::Mat image = cv::imread(LIKENESS_EXAMPLE_PHOTOGRAPHS "/coffee.jpg", cv::IMREAD_COLOR);
    cv::resize(image, image, {width, height}, 0, 0, cv::INTER_CUBIC);
    image.convertTo(image, CV_32F, scale);
    return image;
}

/// The photograph seen from some pixels further right and below, and a little darker.
cv::Mat movedPhotograph() {
    const cv::Mat move = (cv::Mat_<double>(2, 3) << 1, 0, 3, 0, 1, -2);
    cv::Mat moved;
    cv::warpAffine(photograph(1.0 / 255.0), moved, move, {width, height}, cv::INTER_LINEAR, cv::BORDER_REFLECT_101);
    return moved * 0.8;
}

void perPixel(benchmark::State& state) {
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * width * height);
}

/// The argument is the white's value: on a scale of 255 some pixels are oriented, on one of 1 none.
void structureTensorLibrary(benchmark::State& state) {
    cv::Mat image = photograph(static_cast<double>(state.range(0)) / 255.0);
    cv::Mat out(image.size(), CV_32F);
    for (auto _ : state) {
        likeness::computeStructuralTensor(image, out, 3.0F, likeness::dropAll());
    }
    perPixel(state);
}

/// Wants every map and lets it go.
class LookedAt final : public likeness::Diagnostics {
public:
    bool wantsFiles() const noexcept override { return true; }
    bool wantsMessages() const noexcept override { return true; }
    void writeImage(const std::string& /*name*/, const cv::Mat& image) const override {
        benchmark::DoNotOptimize(image.data);
    }
    void writeMap(const std::string& /*name*/, const cv::Mat& /*map*/, int /*rows*/, int /*cols*/) const override {}
    std::unique_ptr<likeness::TextDump> openText(const std::string& name) const override {
        return likeness::dropAll().openText(name);
    }
    void print(std::string_view /*text*/) const override {}
};

void structureTensorAllMaps(benchmark::State& state) {
    const LookedAt lookedAt;
    cv::Mat image = photograph(static_cast<double>(state.range(0)) / 255.0);
    cv::Mat out(image.size(), CV_32F);
    for (auto _ : state) {
        likeness::computeStructuralTensor(image, out, 3.0F, lookedAt);
    }
    perPixel(state);
}

/// Makes all maps, too, and writes none.
void structureTensorLiteral(benchmark::State& state) {
    const cv::Mat image = photograph(static_cast<double>(state.range(0)) / 255.0);
    for (auto _ : state) {
        benchmark::DoNotOptimize(likeness::reference::computeStructuralTensor(image, 3.0F).out.data);
    }
    perPixel(state);
}

template <typename Align>
void align(benchmark::State& state, Align&& align) {
    cv::Mat moving = movedPhotograph();
    cv::Mat reference = photograph(1.0 / 255.0);
    cv::Mat out;
    for (auto _ : state) {
        align(moving, reference, out);
    }
    perPixel(state);
}

void opticalFlowLibrary(benchmark::State& state) {
    align(state, likeness::calculateOpticalFlow);
}

void opticalFlowLiteral(benchmark::State& state) {
    align(state, likeness::reference::calculateOpticalFlow);
}

/// The image library's flow and remapping alone, on images that are ready for them.
void opticalFlowBare(benchmark::State& state) {
    const cv::Mat moving = movedPhotograph() * 255.0;
    cv::Mat grayMoving;
    cv::Mat grayReference;
    cv::cvtColor(moving, grayMoving, cv::COLOR_BGR2GRAY);
    cv::cvtColor(photograph(1.0), grayReference, cv::COLOR_BGR2GRAY);
    cv::Mat points = likeness::reference::opticalFlow(grayMoving, grayReference);
    points.forEach<cv::Vec2f>([](cv::Vec2f& point, const int* at) {
        point += cv::Vec2f(static_cast<float>(at[1]), static_cast<float>(at[0]));
    });
    cv::Mat out;
    for (auto _ : state) {
        benchmark::DoNotOptimize(likeness::reference::opticalFlow(grayMoving, grayReference).data);
        cv::remap(moving, out, points, cv::noArray(), cv::INTER_NEAREST, cv::BORDER_CONSTANT, cv::Scalar(0));
    }
    perPixel(state);
}

void brightnessLibrary(benchmark::State& state) {
    align(state, [](cv::Mat& nonFlash, cv::Mat& target, cv::Mat& result) {
        likeness::alterNonFlashBrightness(nonFlash, target, result, likeness::dropAll());
    });
}

void brightnessLiteral(benchmark::State& state) {
    align(state, [](cv::Mat& nonFlash, cv::Mat& target, cv::Mat& result) {
        std::string printed;
        likeness::reference::alterNonFlashBrightness(nonFlash, target, result, printed);
    });
}

BENCHMARK(structureTensorLibrary)->Name("structure_tensor/library")->Arg(255)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(structureTensorAllMaps)
    ->Name("structure_tensor/library_all_maps")
    ->Arg(255)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(structureTensorLiteral)->Name("structure_tensor/literal")->Arg(255)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(opticalFlowLibrary)->Name("optical_flow/library")->Unit(benchmark::kMillisecond);
BENCHMARK(opticalFlowBare)->Name("optical_flow/flow_and_remap_alone")->Unit(benchmark::kMillisecond);
BENCHMARK(opticalFlowLiteral)->Name("optical_flow/literal")->Unit(benchmark::kMillisecond);
BENCHMARK(brightnessLibrary)->Name("brightness_alignment/library")->Unit(benchmark::kMillisecond);
BENCHMARK(brightnessLiteral)->Name("brightness_alignment/literal")->Unit(benchmark::kMillisecond);

}  // namespace
