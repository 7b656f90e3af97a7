// Colour transfer at 2 megapixels, and the guided filter's transport variant at half a megapixel, beside their literal
// versions. Messages are dropped; the literal version's go to a stream that keeps nothing.
#include <likeness/filter/guidedfilter.hpp>
#include <likeness/transport/closed_form_map.hpp>
#include <likeness/transport/optimal_transport.hpp>
#include "reference/transport_reference.hpp"

#include <benchmark/benchmark.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <iostream>
#include <string>

namespace {

cv::Mat photograph(const std::string& name, cv::Size size) {
    cv::Mat image = cv::imread(std::string(LIKENESS_EXAMPLE_PHOTOGRAPHS) + "/" + name, cv::IMREAD_COLOR);
    cv::resize(image, image, size);
    image.convertTo(image, CV_32F);
    return image;
}

/// In the library's L*a*b*.
cv::Mat labPhotograph(const std::string& name) {
    cv::Mat lab;
    cv::cvtColor(photograph(name, {1732, 1155}) / 255.0, lab, cv::COLOR_BGR2Lab);
    return lab;
}

/// Standard output without a buffer to write to, for as long as the object lives.
class SilentOutput {
public:
    SilentOutput() : buffer_(std::cout.rdbuf(nullptr)) {}
    ~SilentOutput() {
        std::cout.rdbuf(buffer_);
        std::cout.clear();
    }
    SilentOutput(const SilentOutput&) = delete;
    SilentOutput& operator=(const SilentOutput&) = delete;

private:
    std::streambuf* buffer_;
};

struct Outputs {
    cv::Mat result, inpCovInv, inpMeanRow, tarCov2, tarMeanRow, transportMat;

    Outputs(cv::Size size, int dims)
        : result(size, CV_32FC(dims)),
          inpCovInv(3, 3, CV_32F),
          inpMeanRow(1, 3, CV_32F),
          tarCov2(2, 2, CV_32F),
          tarMeanRow(1, 3, CV_32F),
          transportMat(dims, dims, CV_32F) {}
};

using Transfer = void (*)(const cv::Mat&, const cv::Mat&, Outputs&, int dims);

void library(const cv::Mat& input, const cv::Mat& target, Outputs& out, int dims) {
    likeness::applyOptimalTransport(input, target, out.result, out.inpCovInv, out.inpMeanRow, out.tarCov2,
                                    out.tarMeanRow, out.transportMat, 0.5F, dims, likeness::dropAll());
}

void literal(const cv::Mat& input, const cv::Mat& target, Outputs& out, int dims) {
    const SilentOutput silent;
    likeness::reference::applyOptimalTransport(input, target, out.result, out.inpMeanRow, out.tarMeanRow,
                                               out.transportMat, 0.5F, dims);
}

void runTransfer(benchmark::State& state, Transfer transfer, int dims) {
    const cv::Mat input = labPhotograph("coffee.jpg");
    const cv::Mat target = labPhotograph("rocket.jpg");
    Outputs out(input.size(), dims);
    if (transfer == library) {
        Outputs expected(input.size(), dims);
        literal(input, target, expected, dims);
        library(input, target, out, dims);
        if (cv::norm(out.result, expected.result, cv::NORM_INF) > 1e-2) {
            state.SkipWithError("the library differs from the literal version");
            return;
        }
    }
    for (auto _ : state) {
        transfer(input, target, out, dims);
        benchmark::DoNotOptimize(out.result.data);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(input.total()));
}

void runFilter(benchmark::State& state, bool useLibrary) {
    constexpr int windowSide = 9;
    const cv::Size size(866, 577);
    const cv::Mat guide = photograph("coffee.jpg", size);
    const cv::Mat input = photograph("rocket.jpg", size);
    for (auto _ : state) {
        const cv::Mat result =
            useLibrary
                ? likeness::GuidedFilterColor(guide, windowSide, 0, likeness::dropAll()).filterColorChannelsMK(input)
                : likeness::reference::filterColorChannelsMK(guide, input, windowSide);
        benchmark::DoNotOptimize(result.data);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(guide.total()));
}

void runMap(benchmark::State& state, bool useLibrary) {
    const cv::Mat source = (cv::Mat_<float>(3, 3) << 90, 20, -5, 20, 60, 12, -5, 12, 40);
    const cv::Mat target = (cv::Mat_<float>(3, 3) << 30, -8, 2, -8, 80, 16, 2, 16, 20);
    cv::Mat map(3, 3, CV_32F);
    for (auto _ : state) {
        useLibrary ? likeness::closedFormMatrix(source, target, map, 3)
                   : likeness::reference::closedFormMatrix(source, target, map, 3);
        benchmark::DoNotOptimize(map.data);
    }
}

// clang-format off
BENCHMARK_CAPTURE(runTransfer, applyOptimalTransport2/library, library, 2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(runTransfer, applyOptimalTransport2/literal, literal, 2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(runTransfer, applyOptimalTransport3/library, library, 3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(runTransfer, applyOptimalTransport3/literal, literal, 3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(runFilter, filterColorChannelsMK/library, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(runFilter, filterColorChannelsMK/literal, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(runMap, closedFormMatrix/library, true);
BENCHMARK_CAPTURE(runMap, closedFormMatrix/literal, false);
// clang-format on

}  // namespace
