// The inverse appearance model and the brightness increase beside their literal versions, at 2 megapixels. Messages of
// both go to /dev/null; the literal versions always write their files, into a folder of their own.
#include <likeness/likeness.hpp>
#include "reference/inverse_reference.hpp"

#include <benchmark/benchmark.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>
#include <array>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace {

using likeness::Diagnostics;
using likeness::dropAll;
using likeness::workingDirectory;

const cv::Size size(1920, 1080);

/// A folder to work in and a silent standard output while the object lives.
class Apart {
public:
    Apart() : previous_(std::filesystem::current_path()) {
        std::string pattern = (std::filesystem::temp_directory_path() / "likeness-bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("no folder for the dumps");
        }
        folder_ = pattern;
        std::filesystem::current_path(folder_);
        std::fflush(stdout);
        output_ = ::dup(STDOUT_FILENO);
        const int nowhere = ::open("/dev/null", O_WRONLY);
        ::dup2(nowhere, STDOUT_FILENO);
        ::close(nowhere);
    }
    ~Apart() {
        ::dup2(output_, STDOUT_FILENO);
        ::close(output_);
        std::filesystem::current_path(previous_);
        std::filesystem::remove_all(folder_);
    }
    Apart(const Apart&) = delete;
    Apart& operator=(const Apart&) = delete;

private:
    std::filesystem::path previous_;
    std::filesystem::path folder_;
    int output_ = -1;
};

/// A photograph of 2 megapixels, adapted to D65.
cv::Mat photograph() {
    cv::Mat bytes = cv::imread(std::string(LIKENESS_EXAMPLE_PHOTOGRAPHS) + "/coffee.jpg");
    cv::resize(bytes, bytes, size, 0, 0, cv::INTER_CUBIC);
    cv::Mat bgr(size, CV_32FC3);
    cv::Mat adapted(size, CV_32FC3);
    likeness::normImg(bytes, bgr);
    likeness::compute_cat(bgr, adapted);
    return adapted;
}

/// Everything that the operations of the inverse model read, from a photograph.
struct Maps {
    cv::Mat nl{size, CV_32FC3}, hpe{size, CV_32FC3}, bgr{size, CV_32FC3};
    cv::Mat a{size, CV_32F}, b{size, CV_32F}, hue{size, CV_32F}, eccentricity{size, CV_32F}, A{size, CV_32F},
        J{size, CV_32F}, Q{size, CV_32F}, C{size, CV_32F}, t{size, CV_32F}, out{size, CV_32F};
    cv::Mat FL, n, Ncb, z;
    float Aw, Qmax;

    Maps() {
        const auto filled = [](float value) { return cv::Mat(size, CV_32F, cv::Scalar(value)); };
        FL = filled(likeness::computeFl(20));
        n = filled(likeness::computeN(20, 100));
        Ncb = filled(likeness::computeNcb(20, 100));
        z = filled(likeness::computeZ(20, 100));
        const cv::Mat src = photograph() * 100;
        likeness::convertSharpenedBGRtoHPE(src, hpe);
        likeness::computeNonLinearities(hpe, nl, FL);
        likeness::computeAB(nl, a, b);
        likeness::computeHue(a, b, hue, eccentricity);
        Aw = likeness::computeLightness(nl, Ncb, z, J, A, dropAll());
        Qmax = likeness::computeBrightness(J, FL, z, Q, Aw, dropAll());
        likeness::computeChroma(nl, a, b, J, eccentricity, Ncb, n, C, 0.8F, dropAll());
        likeness::chromaAndLightness2t(C, J, n, t, dropAll());
    }
};

template <typename Operation>
void run(benchmark::State& state, Operation operation) {
    Maps maps;
    {
        const Apart apart;
        for ([[maybe_unused]] const auto pass : state) {
            operation(maps);
        }
    }
    state.SetItemsProcessed(state.iterations() * size.area());
}

template <typename Library, typename Literal>
void besides(const std::string& name, Library library, Literal literal) {
    benchmark::RegisterBenchmark((name + "/library").c_str(), [library](benchmark::State& s) {
        run(s, library);
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((name + "/literal").c_str(), [literal](benchmark::State& s) {
        run(s, literal);
    })->Unit(benchmark::kMillisecond);
}

template <typename Operation>
void runIncrease(benchmark::State& state, float factor, Operation operation) {
    cv::Mat src = photograph();
    std::array<cv::Mat, likeness::brightnessPasses> dst;
    for (cv::Mat& image : dst) {
        image.create(size, CV_32FC3);
    }
    {
        const Apart apart;
        for ([[maybe_unused]] const auto pass : state) {
            operation(src, dst.data(), factor);
        }
    }
    state.SetItemsProcessed(state.iterations() * size.area());
}

void registerIncrease(const std::string& name, float factor) {
    const auto add = [factor](const std::string& fullName, auto operation) {
        benchmark::RegisterBenchmark(fullName.c_str(),
                                     [=](benchmark::State& state) { runIncrease(state, factor, operation); })
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
    };
    add(name + "/library",
        [](cv::Mat& src, cv::Mat* dst, float f) { likeness::increaseBrightness(src, dst, f, dropAll()); });
    add(name + "/library with dumps",
        [](cv::Mat& src, cv::Mat* dst, float f) { likeness::increaseBrightness(src, dst, f); });
    add(name + "/literal with dumps", likeness::reference::increaseBrightness);
}

const int registered = [] {
    namespace reference = likeness::reference;
    besides(
        "brightness2Lightness", [](Maps& m) { likeness::brightness2Lightness(m.Q, m.FL, m.out, m.Aw); },
        [](Maps& m) { reference::brightness2Lightness(m.Q, m.FL, m.out, m.Aw); });
    besides(
        "lightness2A", [](Maps& m) { likeness::lightness2A(m.J, m.z, m.out, m.Aw); },
        [](Maps& m) { reference::lightness2A(m.J, m.z, m.out, m.Aw); });
    besides(
        "chromaAndLightness2t", [](Maps& m) { likeness::chromaAndLightness2t(m.C, m.J, m.n, m.out); },
        [](Maps& m) { reference::chromaAndLightness2t(m.C, m.J, m.n, m.out); });
    besides(
        "hue2AB", [](Maps& m) { likeness::hue2AB(m.A, m.hue, m.t, m.eccentricity, m.Ncb, m.a, m.b, 0.8F); },
        [](Maps& m) { reference::hue2AB(m.A, m.hue, m.t, m.eccentricity, m.Ncb, m.a, m.b, 0.8F); });
    besides(
        "AB2NonLinearities", [](Maps& m) { likeness::AB2NonLinearities(m.a, m.b, m.A, m.nl, m.Ncb); },
        [](Maps& m) { reference::AB2NonLinearities(m.a, m.b, m.A, m.nl, m.Ncb); });
    besides(
        "inverseNonLinearities", [](Maps& m) { likeness::inverseNonLinearities(m.nl, m.hpe, m.FL); },
        [](Maps& m) { reference::inverseNonLinearities(m.nl, m.hpe, m.FL); });
    besides(
        "convertHPEtoSharpenedRGB", [](Maps& m) { likeness::convertHPEtoSharpenedRGB(m.hpe, m.bgr); },
        [](Maps& m) { reference::convertHPEtoSharpenedRGB(m.hpe, m.bgr); });
    besides(
        "performGammaCorrectionByStyle",
        [](Maps& m) { likeness::performGammaCorrectionByStyle(m.Q, m.out, 50, m.Qmax); },
        [](Maps& m) { reference::performGammaCorrectionByStyle(m.Q, m.out, 50, m.Qmax); });
    registerIncrease("increaseBrightness, factor 10", 10);
    registerIncrease("increaseBrightness, factor 1", 1);
    return 0;
}();

}  // namespace
