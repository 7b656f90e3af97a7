// Colour space conversions and white estimates at 2 megapixels, each beside its literal version.
#include <likeness/color/lab.hpp>
#include <likeness/color/lms_lalphabeta.hpp>
#include <likeness/color/opponent.hpp>
#include <likeness/color/pixel_matrix.hpp>
#include <likeness/color/white_point.hpp>
#include <likeness/color/yuv.hpp>
#include "reference/color_space_reference.hpp"

#include <benchmark/benchmark.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cstring>
#include <limits>
#include <string>

namespace {

/// One operation, prepared: `run` reads `input` and overwrites `output`.
using Operation = void (*)(cv::Mat& input, cv::Mat& output);

cv::Mat photograph() {
    cv::Mat image = cv::imread(std::string(LIKENESS_EXAMPLE_PHOTOGRAPHS) + "/coffee.jpg", cv::IMREAD_COLOR);
    cv::resize(image, image, cv::Size(1732, 1155));
    cv::Mat scaled;
    image.convertTo(scaled, CV_32F, 1.0 / 255.0);
    return scaled;
}

cv::Mat whiteColor() {
    return {1, 1, CV_32FC3, cv::Scalar(0.9, 0.95, 1.0)};
}

cv::Mat sameImage(cv::Mat bgr) {
    return bgr;
}

cv::Mat logLms(cv::Mat bgr) {
    cv::Mat lms(bgr.size(), CV_32FC3);
    likeness::convertBGRtoLMS(bgr, lms);
    return lms;
}

cv::Mat lalphabeta(cv::Mat bgr) {
    cv::Mat lab(bgr.size(), CV_32FC3);
    likeness::convertLMStoLab(logLms(bgr), lab);
    return lab;
}

cv::Mat linearLms(cv::Mat bgr) {
    cv::Mat lms(bgr.size(), CV_32FC3);
    likeness::convertLabtoLMS(lalphabeta(bgr), lms);
    return lms;
}

cv::Mat lab(cv::Mat bgr) {
    cv::Mat white = whiteColor();
    cv::Mat result(bgr.size(), CV_32FC3);
    likeness::convertBGRToLab(bgr, white, result);
    return result;
}

bool sameBits(const cv::Mat& a, const cv::Mat& b) {
    return std::memcmp(a.data, b.data, a.total() * a.elemSize()) == 0;
}

void compare(benchmark::State& state, Operation operation, Operation literal, cv::Mat (*inputFrom)(cv::Mat), int type) {
    const cv::Mat prepared = inputFrom(photograph());
    cv::Mat input = prepared.clone();
    cv::Mat output(input.size(), type, cv::Scalar::all(0));
    if (operation != literal) {
        cv::Mat expected = output.clone();
        cv::Mat other = prepared.clone();
        operation(input, output);
        literal(other, expected);
        if (!sameBits(output, expected)) {
            state.SkipWithError("the library differs from the literal version");
            return;
        }
    }
    for (auto _ : state) {
        operation(input, output);
        benchmark::DoNotOptimize(output.data);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(input.total()));
}

// The conversion to L*a*b* leaves linear values behind: each run gets the photograph anew, in both versions.
template <void (*convert)(cv::Mat&, cv::Mat&, cv::Mat&)>
void toLab(cv::Mat& bgr, cv::Mat& output) {
    cv::Mat white = whiteColor();
    static cv::Mat overwritten;
    bgr.copyTo(overwritten);
    convert(overwritten, white, output);
}

template <void (*convert)(const cv::Mat&, const cv::Mat&, cv::Mat&)>
void fromLab(cv::Mat& labImage, cv::Mat& output) {
    convert(labImage, whiteColor(), output);
}

template <void (*apply)(const cv::Mat&, cv::Mat&, const cv::Mat&, int, int)>
void matrix(cv::Mat& input, cv::Mat& output) {
    apply(input, output, likeness::yuvFromRgb(), input.rows, input.cols);
}

template <void (*convert)(const cv::Mat&, cv::Mat&)>
void fromConst(cv::Mat& input, cv::Mat& output) {
    convert(input, output);
}

cv::Mat unknownWhite() {
    return {1, 1, CV_32FC3, cv::Scalar::all(std::numeric_limits<double>::quiet_NaN())};
}

void grayWorld(cv::Mat& input, cv::Mat& output) {
    cv::Mat white = output(cv::Rect(0, 0, 1, 1));
    cv::Mat previous = unknownWhite();
    cv::Mat mask;
    likeness::computeWhitePointFromGrayWorld(input, white, previous, mask, likeness::dropAll());
}

void grayWorldLiteral(cv::Mat& input, cv::Mat& output) {
    cv::Mat white = output(cv::Rect(0, 0, 1, 1));
    cv::Mat previous = unknownWhite();
    std::string printed;
    likeness::reference::computeWhitePointFromGrayWorld(input, white, previous, printed);
}

namespace r = likeness::reference;

// clang-format off
#define COLOR_CASES(name, library, literal, inputFrom, type)                                                           \
    BENCHMARK_CAPTURE(compare, name/library, library, literal, inputFrom, type)->Unit(benchmark::kMillisecond);         \
    BENCHMARK_CAPTURE(compare, name/literal, literal, literal, inputFrom, type)->Unit(benchmark::kMillisecond)

COLOR_CASES(bgr_to_lms, likeness::convertBGRtoLMS, r::convertBGRtoLMS, sameImage, CV_32FC3);
COLOR_CASES(lms_to_lalphabeta, fromConst<likeness::convertLMStoLab>, fromConst<r::convertLMStoLab>, logLms, CV_32FC3);
COLOR_CASES(lalphabeta_to_lms, fromConst<likeness::convertLabtoLMS>, fromConst<r::convertLabtoLMS>, lalphabeta, CV_32FC3);
COLOR_CASES(lms_to_bgr, fromConst<likeness::convertLMStoBGR>, fromConst<r::convertLMStoBGR>, linearLms, CV_32FC3);
COLOR_CASES(conversion, matrix<likeness::conversion>, matrix<r::conversion>, sameImage, CV_32FC3);
COLOR_CASES(bgr_to_opponent, likeness::convertToSimpleOpponentSpace, r::convertToSimpleOpponentSpace, sameImage, CV_32FC2);
COLOR_CASES(bgr_to_yuv, fromConst<likeness::convertBGRtoYUV>, fromConst<r::convertBGRtoYUV>, sameImage, CV_32FC3);
COLOR_CASES(bgr_to_lab, toLab<likeness::convertBGRToLab>, toLab<r::convertBGRToLab>, sameImage, CV_32FC3);
COLOR_CASES(lab_to_bgr, fromLab<likeness::convertLabToBGR>, fromLab<r::convertLabToBGR>, lab, CV_32FC3);
COLOR_CASES(gray_world_white, grayWorld, grayWorldLiteral, sameImage, CV_32FC3);
// clang-format on

}  // namespace
