// The estimates beside the model itself, for every colour of eight bits.
#include "comparison/correlate_estimate.hpp"

#include <likeness/comparison/histogram_similarity.hpp>
#include <likeness/comparison/metrics.hpp>
#include <likeness/comparison/perceptual_metrics.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace likeness {
namespace {

/// Keeps the maps of achromatic response and of t that the model dumps.
class ResponseMaps final : public Diagnostics {
public:
    bool wantsFiles() const noexcept override { return true; }
    bool wantsMessages() const noexcept override { return false; }
    void writeImage(const std::string& name, const cv::Mat& image) const override {
        if (name == "A_before.jpg") {
            A = image.clone();
        } else if (name == "t_before.jpg") {
            t = image.clone();
        }
    }
    void writeMap(const std::string&, const cv::Mat&, int, int) const override {}
    std::unique_ptr<TextDump> openText(const std::string& name) const override { return dropAll().openText(name); }
    void print(std::string_view) const override {}

    mutable cv::Mat A;
    mutable cv::Mat t;
};

/// The 65,536 colours of one B, and white, which every image of the model shall hold.
cv::Mat colorsOfBlue(int blue) {
    cv::Mat colors(1, 65537, CV_8UC3);
    for (int i = 0; i < 65536; ++i) {
        colors.at<cv::Vec3b>(0, i) =
            cv::Vec3b(static_cast<uchar>(blue), static_cast<uchar>(i / 256), static_cast<uchar>(i % 256));
    }
    colors.at<cv::Vec3b>(0, 65536) = cv::Vec3b::all(255);
    return colors;
}

struct Model {
    Model(cv::Mat colors, float background) {
        cv::Mat normalized(colors.size(), CV_32FC3);
        normImg(colors, normalized);
        cv::Mat adapted(colors.size(), CV_32FC3);
        compute_cat(normalized, adapted);
        for (cv::Mat* const map : {&Q, &J, &C, &M, &s}) {
            *map = cv::Mat(colors.size(), CV_32F);
        }
        perceptualMetricsUnderBackground(adapted, background, Q, J, C, M, s, responses);
    }

    ResponseMaps responses;
    cv::Mat Q, J, C, M, s;
};

/// Greatest errors of the estimates, as shares of what is promised.
struct Errors {
    double achromatic = 0;
    double chromatic = 0;
    std::int64_t wrongBins = 0;
    std::int64_t uncertain = 0;
};

void compare(const cv::Mat& colors, const Model& model, const CorrelateEstimate& estimate, Errors& errors) {
    double white = 0;
    cv::minMaxLoc(model.responses.A, nullptr, &white);
    CorrelateEstimate::Responses responses;
    CorrelateEstimate::Bins bins;
    for (int first = 0; first < colors.cols; first += static_cast<int>(CorrelateEstimate::blockSize)) {
        const int count = std::min(static_cast<int>(CorrelateEstimate::blockSize), colors.cols - first);
        estimate.responses(colors.ptr<uchar>(0, first), static_cast<std::size_t>(count), responses);
        estimate.bins(responses, static_cast<std::size_t>(count), static_cast<float>(white), bins);
        for (int i = 0; i < count; ++i) {
            const int k = first + i;
            if (bins.certain[i] == 0) {
                ++errors.uncertain;
                continue;
            }
            const double A = model.responses.A.at<float>(0, k);
            const double t = model.responses.t.at<float>(0, k);
            errors.achromatic = std::max(
                errors.achromatic, std::abs(responses.achromatic[i] - A) / (A * CorrelateEstimate::achromaticError));
            errors.chromatic = std::max(
                errors.chromatic, std::abs(responses.chromatic[i] - t) / (t * CorrelateEstimate::chromaticError +
                                                                          CorrelateEstimate::chromaticAbsoluteError));
            const bool right = bins.brightness[i] == BinCounts::binOf(model.Q.at<float>(0, k)) &&
                               bins.lightness[i] == BinCounts::binOf(model.J.at<float>(0, k)) &&
                               bins.chroma[i] == BinCounts::binOf(model.C.at<float>(0, k)) &&
                               bins.colorfulness[i] == BinCounts::binOf(model.M.at<float>(0, k)) &&
                               bins.saturation[i] == BinCounts::binOf(model.s.at<float>(0, k));
            errors.wrongBins += right ? 0 : 1;
        }
    }
}

TEST(CorrelateEstimate, KeepsWhatItPromisesForEveryColor) {
    const CorrelateEstimate longest(20.0F);
    const CorrelateEstimate everywhere(20.0F, CorrelateEstimate::Vectors::baseline);
    Errors errors;
    Errors errorsEverywhere;
    for (int blue = 0; blue < 256; ++blue) {
        const cv::Mat colors = colorsOfBlue(blue);
        const Model model(colors, 20.0F);
        compare(colors, model, longest, errors);
        compare(colors, model, everywhere, errorsEverywhere);
    }
    for (const Errors& seen : {errors, errorsEverywhere}) {
        EXPECT_EQ(seen.wrongBins, 0);
        EXPECT_LT(seen.achromatic, 0.5) << "room is left";
        EXPECT_LT(seen.chromatic, 0.5);
        EXPECT_LT(static_cast<double>(seen.uncertain), 0.03 * 16777216) << "or it spares nothing";
    }
}

TEST(CorrelateEstimate, HoldsBeforeEveryWhiteAndBackground) {
    // Darker and darker whites, and the backgrounds of photographs of 2 and 60 megapixels.
    Errors errors;
    for (const float background : {20.0F, backgroundLuminanceOf(2'073'600), backgroundLuminanceOf(60'000'000)}) {
        const CorrelateEstimate estimate(background);
        for (const int greatest : {255, 200, 128, 60, 17, 3, 1}) {
            cv::Mat colors(1, 20000, CV_8UC3);
            cv::RNG random(static_cast<std::uint64_t>(greatest));
            random.fill(colors, cv::RNG::UNIFORM, 0, greatest + 1);
            compare(colors, Model(colors, background), estimate, errors);
        }
    }
    EXPECT_EQ(errors.wrongBins, 0);
    EXPECT_LT(errors.achromatic, 0.5);
    EXPECT_LT(errors.chromatic, 0.5);
}

TEST(CorrelateEstimate, LeavesBlackToTheModel) {
    const CorrelateEstimate estimate(20.0F);
    CorrelateEstimate::Responses responses;
    CorrelateEstimate::Bins bins;
    const uchar black[3] = {0, 0, 0};
    estimate.responses(black, 1, responses);
    for (const float white : {0.0F, responses.achromatic[0], 30.0F}) {
        estimate.bins(responses, 1, white, bins);
        EXPECT_EQ(bins.certain[0], 0) << white;
    }
}

}  // namespace
}  // namespace likeness
