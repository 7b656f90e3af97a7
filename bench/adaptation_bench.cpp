// Two-scale and local adaptation at 2 megapixels, beside their literal versions.
#include <likeness/adaptation/local_adaptation.hpp>
#include <likeness/adaptation/two_scale_adaptation.hpp>
#include "reference/local_adaptation_reference.hpp"
#include "reference/two_scale_reference.hpp"

#include <benchmark/benchmark.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <filesystem>
#include <string>

namespace {

constexpr int width = 1728;
constexpr int height = 1200;  // 2.07 megapixels

cv::Mat photograph(const char* name, cv::Size size = {width, height}) {
    cv::Mat image = cv::imread(std::string(LIKENESS_EXAMPLE_PHOTOGRAPHS "/") + name, cv::IMREAD_COLOR);
    cv::resize(image, image, size, 0, 0, cv::INTER_AREA);
    image.convertTo(image, CV_32F, 1.0 / 255.0);
    return image;
}

cv::Mat smoothed(const cv::Mat& image) {
    cv::Mat result;
    cv::boxFilter(image, result, -1, {33, 33});
    return result;
}

/// A folder for files that nobody keeps.
class DumpFolder {
public:
    DumpFolder() : path_(std::filesystem::temp_directory_path() / "likeness_adaptation_bench") {
        std::filesystem::create_directories(path_);
    }
    ~DumpFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    DumpFolder(const DumpFolder&) = delete;
    DumpFolder& operator=(const DumpFolder&) = delete;

    std::string path() const { return path_.string(); }

private:
    std::filesystem::path path_;
};

void perPixel(benchmark::State& state) {
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * width * height);
}

/// Times work(image) on a photograph that is restored, untimed, before each repetition.
template <typename Work>
void onFreshPhotograph(benchmark::State& state, Work&& work) {
    const cv::Mat before = photograph("cat.jpg");
    cv::Mat image(before.size(), before.type());
    for (auto _ : state) {
        state.PauseTiming();
        before.copyTo(image);
        state.ResumeTiming();
        work(image);
    }
    perPixel(state);
}

void tint(benchmark::State& state, const likeness::Diagnostics& diagnostics) {
    cv::Mat white = smoothed(photograph("cat.jpg"));
    cv::Mat target = photograph("coffee.jpg");
    cv::Mat unread;
    onFreshPhotograph(state,
                      [&](cv::Mat& image) { likeness::biCAT(image, white, unread, target, unread, diagnostics); });
}

void biCATLibrary(benchmark::State& state) {
    tint(state, likeness::dropAll());
}

void biCATLibraryWithDumps(benchmark::State& state) {
    const DumpFolder folder;
    tint(state, likeness::DirectoryDiagnostics(folder.path(), likeness::DirectoryDiagnostics::Messages::dropped));
}

void biCATLiteral(benchmark::State& state) {
    const DumpFolder folder;
    const cv::Mat white = smoothed(photograph("cat.jpg"));
    const cv::Mat target = photograph("coffee.jpg");
    std::string printed;
    onFreshPhotograph(
        state, [&](cv::Mat& image) { likeness::reference::biCAT(image, white, target, folder.path(), printed); });
}

struct RegressionScene {
    explicit RegressionScene(cv::Size size)
        : guidance(photograph("cat.jpg", size)),
          whiteGuidance(smoothed(guidance)),
          input(photograph("coffee.jpg", size)),
          spare(input.clone()),
          whiteInput(smoothed(input)),
          weightMap(size, CV_32F, cv::Scalar(1)) {}

    cv::Mat guidance;
    cv::Mat whiteGuidance;
    cv::Mat input;
    cv::Mat spare;
    cv::Mat whiteInput;
    cv::Mat weightMap;
};

/// Nearly all of the literal version's time goes into bilateral filters as wide as 1/25 of the diagonal; it is timed on
/// a smaller image, and both are counted per pixel.
constexpr int regressionWidth = 432;
constexpr int regressionHeight = 300;

void regression(benchmark::State& state, cv::Size size, const likeness::Diagnostics& diagnostics) {
    RegressionScene s(size);
    for (auto _ : state) {
        likeness::biCATRegression(s.guidance, s.whiteGuidance, s.input, s.spare, s.whiteInput, s.weightMap, 500,
                                  diagnostics);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * size.area());
}

void regressionLibrary(benchmark::State& state) {
    regression(state, {width, height}, likeness::dropAll());
}

void regressionLibrarySmall(benchmark::State& state) {
    regression(state, {regressionWidth, regressionHeight}, likeness::dropAll());
}

void regressionLibraryWithDumps(benchmark::State& state) {
    const DumpFolder folder;
    regression(state, {regressionWidth, regressionHeight},
               likeness::DirectoryDiagnostics(folder.path(), likeness::DirectoryDiagnostics::Messages::dropped));
}

void regressionLiteral(benchmark::State& state) {
    const DumpFolder folder;
    RegressionScene s({regressionWidth, regressionHeight});
    std::string printed;
    for (auto _ : state) {
        likeness::reference::biCATRegression(s.guidance, s.whiteGuidance, s.input, s.spare, s.whiteInput, s.weightMap,
                                             500, folder.path(), printed);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * regressionWidth * regressionHeight);
}

/// The diagonal of the image, 2103, gives a filter of 21 pixels.
constexpr int diagonal = 2103;

void correctedNonFlashLibrary(benchmark::State& state) {
    cv::Mat white = smoothed(photograph("cat.jpg"));
    onFreshPhotograph(state, [&white](cv::Mat& image) {
        likeness::computeCorrectedNonFlash(&image, white, white, 0, diagonal, likeness::dropAll());
    });
}

void correctedNonFlashLiteral(benchmark::State& state) {
    const DumpFolder folder;
    cv::Mat white = smoothed(photograph("cat.jpg"));
    onFreshPhotograph(state, [&](cv::Mat& image) {
        likeness::reference::computeCorrectedNonFlash(&image, white, white, 0, diagonal, folder.path());
    });
}

template <typename Adapt>
void locally(benchmark::State& state, Adapt&& adapt) {
    cv::Mat white = smoothed(photograph("cat.jpg"));
    cv::Mat target(1, 1, CV_32FC3, cv::Scalar(1.08, 1.03, 0.95));
    onFreshPhotograph(state, [&](cv::Mat& image) { adapt(image, white, target); });
}

void iCAMCATLibrary(benchmark::State& state) {
    locally(state, [](cv::Mat& image, cv::Mat& white, cv::Mat& target) {
        likeness::iCAMCAT(image, white, target, white, white, 0.7F, false);
    });
}

void iCAMCATLiteral(benchmark::State& state) {
    locally(state, [](cv::Mat& image, const cv::Mat& white, const cv::Mat& target) {
        likeness::reference::iCAMCAT(image, white, target, 0.7F, false);
    });
}

void iCAMCATLocalLibrary(benchmark::State& state) {
    cv::Mat mask(height, width, CV_8U, cv::Scalar(1));
    locally(state, [&mask](cv::Mat& image, cv::Mat& white, cv::Mat& target) {
        likeness::iCAMCATLocal(image, white, target, white, white, mask, 0.7F, false);
    });
}

void iCAMCATLocalLiteral(benchmark::State& state) {
    const cv::Mat mask(height, width, CV_8U, cv::Scalar(1));
    locally(state, [&mask](cv::Mat& image, const cv::Mat& white, const cv::Mat& target) {
        likeness::reference::iCAMCATLocal(image, white, target, mask, 0.7F, false);
    });
}

void equivalenceLibrary(benchmark::State& state) {
    locally(state, [](cv::Mat& image, cv::Mat& white, cv::Mat& /*target*/) {
        benchmark::DoNotOptimize(likeness::areImgsEqualivalent(image, white));
    });
}

void equivalenceLiteral(benchmark::State& state) {
    locally(state, [](const cv::Mat& image, const cv::Mat& white, const cv::Mat& /*target*/) {
        benchmark::DoNotOptimize(likeness::reference::areImgsEqualivalent(image, white));
    });
}

void localPhotographLibrary(benchmark::State& state) {
    locally(state, [](cv::Mat& image, cv::Mat& white, cv::Mat& /*target*/) {
        likeness::performLocalCAMCA(image, white, 0.7F, likeness::dropAll());
    });
}

void localPhotographLiteral(benchmark::State& state) {
    const DumpFolder folder;
    std::string printed;
    locally(state, [&](cv::Mat& image, const cv::Mat& white, const cv::Mat& /*target*/) {
        likeness::reference::performLocalCAMCA(image, white, 0.7F, folder.path(), printed);
    });
}

// The literal versions write their files.
BENCHMARK(biCATLibrary)->Name("bicat/library")->Unit(benchmark::kMillisecond);
BENCHMARK(biCATLibraryWithDumps)->Name("bicat/library_with_dumps")->Unit(benchmark::kMillisecond);
BENCHMARK(biCATLiteral)->Name("bicat/literal")->Unit(benchmark::kMillisecond);
BENCHMARK(regressionLibrary)->Name("bicat_regression/library")->Unit(benchmark::kMillisecond);
BENCHMARK(regressionLibrarySmall)->Name("bicat_regression/library_small")->Unit(benchmark::kMillisecond);
BENCHMARK(regressionLibraryWithDumps)->Name("bicat_regression/library_small_with_dumps")->Unit(benchmark::kMillisecond);
BENCHMARK(regressionLiteral)->Name("bicat_regression/literal_small")->Unit(benchmark::kMillisecond);
BENCHMARK(correctedNonFlashLibrary)->Name("corrected_non_flash/library")->Unit(benchmark::kMillisecond);
BENCHMARK(correctedNonFlashLiteral)->Name("corrected_non_flash/literal")->Unit(benchmark::kMillisecond);
BENCHMARK(iCAMCATLibrary)->Name("icamcat/library")->Unit(benchmark::kMillisecond);
BENCHMARK(iCAMCATLiteral)->Name("icamcat/literal")->Unit(benchmark::kMillisecond);
BENCHMARK(iCAMCATLocalLibrary)->Name("icamcat_local/library")->Unit(benchmark::kMillisecond);
BENCHMARK(iCAMCATLocalLiteral)->Name("icamcat_local/literal")->Unit(benchmark::kMillisecond);
BENCHMARK(equivalenceLibrary)->Name("white_equivalence/library")->Unit(benchmark::kMillisecond);
BENCHMARK(equivalenceLiteral)->Name("white_equivalence/literal")->Unit(benchmark::kMillisecond);
BENCHMARK(localPhotographLibrary)->Name("local_photograph/library")->Unit(benchmark::kMillisecond);
BENCHMARK(localPhotographLiteral)->Name("local_photograph/literal")->Unit(benchmark::kMillisecond);

}  // namespace
