// The synthetic exposure stack, response recovery and tone mapping at 2 megapixels, beside their literal versions. The
// image library's own threads are set to 1. Memory in use at its peak: `exposure_bench --memory`.
#include <likeness/adaptation/d65_adaptation.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include <likeness/diagnostics/watch.hpp>
#include <likeness/exposure/durand_tone_mapping.hpp>
#include <likeness/exposure/exposure_stack.hpp>
#include <likeness/exposure/response_recovery.hpp>
#include "diagnostics/step_count.hpp"
#include "exposure/exposure_regions.hpp"
#include "exposure/result_image.hpp"
#include "reference/exposure_reference.hpp"

#include <benchmark/benchmark.h>
#include <omp.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <sys/resource.h>
#include <unistd.h>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

namespace {

constexpr int width = 1728;
constexpr int height = 1200;  // 2.07 megapixels
constexpr int diagonal = 2103;
constexpr float brightness = 12.0F;

struct Pair {
    cv::Mat flash;
    cv::Mat nonFlash;
};

Pair photographs() {
    cv::Mat scene = cv::imread(LIKENESS_EXAMPLE_PHOTOGRAPHS "/coffee.jpg", cv::IMREAD_COLOR);
    cv::resize(scene, scene, {width, height}, 0, 0, cv::INTER_CUBIC);
    scene.convertTo(scene, CV_32F, 1 / 255.0);
    Pair pair;
    cv::multiply(scene, cv::Scalar(1.0, 0.95, 0.9), pair.flash);
    cv::multiply(scene, cv::Scalar(0.25, 0.4, 0.55), pair.nonFlash);
    cv::Mat noise(scene.size(), CV_32FC3);
    cv::RNG(3).fill(noise, cv::RNG::UNIFORM, 0, 0.03);
    pair.nonFlash += noise;
    return pair;
}

/// The working directory of a benchmark, and messages into nothing while it lives.
class Scratch {
public:
    Scratch() : previous_(std::filesystem::current_path()), out_(std::cout.rdbuf(sink_.rdbuf())) {
        std::string path = (std::filesystem::temp_directory_path() / "exposure_bench.").string() + std::string(6, 'X');
        std::filesystem::current_path(::mkdtemp(path.data()));
        sink_.open("/dev/null");
    }
    ~Scratch() {
        std::cout.rdbuf(out_);
        const std::filesystem::path path = std::filesystem::current_path();
        std::filesystem::current_path(previous_);
        std::filesystem::remove_all(path);
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

private:
    std::filesystem::path previous_;
    std::ofstream sink_;
    std::streambuf* out_;
};

const likeness::Diagnostics& receiver(bool dumps) {
    return dumps ? likeness::workingDirectory() : likeness::dropAll();
}

/// Arguments: whether dumps are written, OpenMP threads.
void stackLibrary(benchmark::State& state) {
    const Scratch scratch;
    omp_set_num_threads(static_cast<int>(state.range(1)));
    for (auto step : state) {
        state.PauseTiming();
        Pair pair = photographs();
        state.ResumeTiming();
        likeness::createBrightnessExposures(pair.flash, pair.nonFlash, brightness, 1, "out",
                                            receiver(state.range(0) != 0));
    }
}

void stackLiteral(benchmark::State& state) {
    const Scratch scratch;
    for (auto step : state) {
        state.PauseTiming();
        Pair pair = photographs();
        state.ResumeTiming();
        likeness::reference::createBrightnessExposures(pair.flash, pair.nonFlash, brightness, 1, "out");
    }
}

/// What the regions start from: exposures under D65 made by a gain instead of the appearance model.
struct Exposures {
    Exposures() {
        Pair pair = photographs();
        flash = pair.flash;
        flashXyz = cv::Mat(flash.size(), CV_32FC3);
        likeness::convertBGRToXYZDirect(flash, flashXyz);
        white = cv::Mat(flash.size(), CV_32FC3);
        likeness::convertBGRToXYZDirect(pair.nonFlash, white);
        likeness::convertXYZtoSharpenedBGR(white, white);
        cv::Mat adapted = white.clone();
        likeness::iCAMCATByD65(adapted, white, white);
        for (int i = 0; i < 6; ++i) {
            images.push_back(adapted * (1 + 0.2 * i));
        }
    }

    cv::Mat flash;
    cv::Mat flashXyz;
    cv::Mat white;
    std::vector<cv::Mat> images;
};

/// Both regions alone. Arguments: whether dumps are written, OpenMP threads, rounds of tinting.
void regionsLibrary(benchmark::State& state) {
    const Scratch scratch;
    omp_set_num_threads(static_cast<int>(state.range(1)));
    const likeness::Diagnostics& diagnostics = receiver(state.range(0) != 0);
    cv::Mat mask;
    const likeness::Watch nobody;
    // What the given operation does with each tinted picture.
    const auto writeTinted = [](int round, int exposure, cv::Mat& bgr) {
        cv::Mat bytes;
        bgr.convertTo(bytes, CV_8U, 255);
        likeness::writeResultImage("out" + std::to_string(round) + "_0" + std::to_string(exposure) + "_final.jpg",
                                   bytes);
    };
    for (auto step : state) {
        state.PauseTiming();
        Exposures exposures;
        const likeness::SharpenedPhotograph flash =
            likeness::sharpened(exposures.flash, exposures.flashXyz, diagonal, diagnostics);
        state.ResumeTiming();
        likeness::StepCount steps(nobody, 0);
        likeness::unadaptExposures(exposures.images, exposures.white, {}, steps, diagnostics);
        likeness::tintTowardsExposures(flash, exposures.images, mask, diagonal, static_cast<int>(state.range(2)), "out",
                                       writeTinted, steps, diagnostics);
    }
}

void regionsLiteral(benchmark::State& state) {
    const Scratch scratch;
    for (auto step : state) {
        state.PauseTiming();
        Exposures exposures;
        state.ResumeTiming();
        likeness::reference::unadaptExposures(exposures.images.data(), exposures.white);
        likeness::reference::tintTowardsExposures(exposures.flash, exposures.flashXyz, exposures.images.data(), 1,
                                                  "out");
    }
}

/// What the stack spends in the image library's recovery, merging and fusion, tone mapping and writing.
void recoveryAndFusion(benchmark::State& state) {
    const Scratch scratch;
    const cv::Mat flash = photographs().flash;
    std::vector<cv::Mat> images(6);
    std::vector<float> times(6);
    for (std::size_t i = 0; i < 6; ++i) {
        times[i] = static_cast<float>(1 << i) / 512;
        flash.convertTo(images[i], CV_8U, 40.0 * static_cast<double>(i + 1));
    }
    for (auto step : state) {
        const cv::Mat response = likeness::recoverResponse(images, times);
        likeness::mergeAndFuse(images, times, response, "out", likeness::dropAll());
    }
}

template <void (*toneMap)(const cv::Mat&, cv::Mat&)>
void toneMapping(benchmark::State& state) {
    const cv::Mat radiance = photographs().flash;
    cv::Mat mapped;
    for (auto step : state) {
        toneMap(radiance, mapped);
    }
}

void toneMapLibrary(const cv::Mat& radiance, cv::Mat& mapped) {
    likeness::toneMapDurand(radiance, mapped);
}
void toneMapLiteral(const cv::Mat& radiance, cv::Mat& mapped) {
    likeness::reference::toneMapDurand(radiance, mapped);
}

/// Peak of the resident memory of one run of the full pipeline, less what the photographs and the program take.
int reportMemory(int threads) {
    const auto peak = [] {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return static_cast<double>(usage.ru_maxrss) / 1024;
    };
    omp_set_num_threads(threads);
    Pair pair = photographs();
    const double before = peak();
    {
        const Scratch scratch;
        likeness::createBrightnessExposures(pair.flash, pair.nonFlash, brightness, 2, "out");
    }
    std::cout << "peak of resident memory, MiB: " << peak() << " (before the call " << before << ")\n";
    return 0;
}

}  // namespace

BENCHMARK(regionsLibrary)
    ->Name("regions/library")
    ->ArgNames({"dumps", "threads", "rounds"})
    ->ArgsProduct({{0, 1}, {1, 2}, {1, 2}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(regionsLiteral)->Name("regions/literal")->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(stackLibrary)
    ->Name("stack/library")
    ->ArgNames({"dumps", "threads"})
    ->ArgsProduct({{0, 1}, {1, 2}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(stackLiteral)->Name("stack/literal")->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(recoveryAndFusion)->Name("recovery_and_fusion")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(toneMapping<toneMapLibrary>)->Name("tone_mapping/library")->Unit(benchmark::kMillisecond);
BENCHMARK(toneMapping<toneMapLiteral>)->Name("tone_mapping/literal")->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    cv::setNumThreads(1);
    if (argc > 1 && std::strcmp(argv[1], "--memory") == 0) {
        return reportMemory(argc > 2 ? std::atoi(argv[2]) : 1);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
