#include "diagnostics/number_text.hpp"

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>

#include <charconv>

namespace {

constexpr int count = 1 << 16;

// Brightness and lightness as they occur in photographs.
cv::Mat numbers() {
    cv::Mat values(1, count, CV_32F);
    cv::RNG(1).fill(values, cv::RNG::UNIFORM, 0.0F, 120.0F);
    return values;
}

template <typename Write>
void textOf(benchmark::State& state, Write write) {
    const cv::Mat values = numbers();
    const float* const value = values.ptr<float>(0);
    char text[likeness::numberTextCapacity];
    for ([[maybe_unused]] const auto pass : state) {
        for (int i = 0; i < count; ++i) {
            benchmark::DoNotOptimize(write(text, value[i]));
        }
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void library(benchmark::State& state) {
    textOf(state, likeness::writeNumber);
}

void standardLibrary(benchmark::State& state) {
    textOf(state, [](char* out, float value) {
        return std::to_chars(out, out + likeness::numberTextCapacity, value, std::chars_format::general, 6).ptr;
    });
}

BENCHMARK(library)->Name("number text/library");
BENCHMARK(standardLibrary)->Name("number text/to_chars");

}  // namespace
