// The estimates beside the published models themselves.
#include "comparison/published_estimate.hpp"

#include <likeness/color/illuminants.hpp>
#include <likeness/color/srgb_companding.hpp>
#include <likeness/comparison/comparison_model.hpp>
#include <likeness/comparison/histogram_similarity.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace likeness {
namespace {

struct Levels {
    Levels() {
        for (int level = 0; level < 256; ++level) {
            linear[level] = sRGBLinearOf(level / 255.0);
        }
    }
    double linear[256];
};

/// Colours on planes of one blue, in steps of 3.
cv::Mat colors() {
    std::vector<cv::Vec3b> list;
    for (const int blue : {0, 1, 2, 9, 64, 130, 200, 255}) {
        for (int green = 0; green < 256; green += 3) {
            for (int red = 0; red < 256; red += 3) {
                list.emplace_back(static_cast<uchar>(blue), static_cast<uchar>(green), static_cast<uchar>(red));
            }
        }
    }
    return cv::Mat(list, true).reshape(3, 1);
}

struct Tally {
    std::int64_t colors = 0;
    std::int64_t uncertain = 0;
    std::int64_t wrong = 0;
};

Tally tallyOf(const PublishedModel& model, const Xyz& pictureWhite, PublishedEstimate::Vectors vectors,
              const cv::Mat& bgr) {
    static const Levels levels;
    const cv::Matx33d matrix = xyzToConditions(model, pictureWhite) * cv::Matx33d(&xyzFromLinearSrgb[0][0]) * 100.0;
    const PublishedEstimate estimate(model, matrix, levels.linear, vectors);
    PublishedEstimate::Bins bins;
    Tally tally;
    tally.colors = bgr.cols;
    for (int first = 0; first < bgr.cols; first += static_cast<int>(PublishedEstimate::blockSize)) {
        const int count = std::min(static_cast<int>(PublishedEstimate::blockSize), bgr.cols - first);
        estimate.bins(bgr.ptr<uchar>(0, first), static_cast<std::size_t>(count), bins);
        for (int i = 0; i < count; ++i) {
            if (bins.certain[i] == 0) {
                ++tally.uncertain;
                continue;
            }
            const auto& color = bgr.at<cv::Vec3b>(0, first + i);
            const cv::Vec3d xyz =
                matrix * cv::Vec3d(levels.linear[color[2]], levels.linear[color[1]], levels.linear[color[0]]);
            const Correlates k = model.correlatesOf({xyz[0], xyz[1], xyz[2]});
            const auto differs = [](double value, std::int32_t bin) {
                return BinCounts::binOf(static_cast<float>(value)) != bin;
            };
            tally.wrong += differs(k.brightness, bins.brightness[i]) || differs(k.lightness, bins.lightness[i]) ||
                           differs(k.chroma, bins.chroma[i]) || differs(k.colorfulness, bins.colorfulness[i]) ||
                           differs(k.saturation, bins.saturation[i]);
        }
    }
    return tally;
}

Xyz illuminant(std::string_view name) {
    const auto* const found = std::find_if(std::begin(standardIlluminants), std::end(standardIlluminants),
                                           [name](const NamedWhite& candidate) { return candidate.name == name; });
    return found->white;
}

constexpr AppearanceModelKind models[] = {AppearanceModelKind::ciecam02, AppearanceModelKind::ciecam16};

TEST(PublishedEstimate, HasTheBinsOfTheModelUnderEveryCondition) {
    const cv::Mat bgr = colors();
    const ViewingConditions conditions[] = {
        {srgbWhite(), 16, 20, dimSurround, false},
        {srgbWhite(), 0.2, 20, darkSurround, false},
        {illuminant("D50"), 127, 20, averageSurround, false},
        {illuminant("A"), 10000, 100, averageSurround, true},
        {illuminant("A"), 2000, 0, dimSurround, false},
    };
    for (const AppearanceModelKind kind : models) {
        for (const ViewingConditions& condition : conditions) {
            const Tally tally =
                tallyOf(PublishedModel(kind, condition), srgbWhite(), PublishedEstimate::Vectors::best, bgr);
            EXPECT_EQ(tally.wrong, 0) << nameOf(kind) << ", " << condition.adaptingLuminance;
            EXPECT_LT(tally.uncertain, tally.colors) << nameOf(kind) << ", " << condition.adaptingLuminance;
        }
    }
}

TEST(PublishedEstimate, SettlesNearlyAllColorsOfADisplay) {
    const cv::Mat bgr = colors();
    for (const AppearanceModelKind kind : models) {
        for (const auto vectors : {PublishedEstimate::Vectors::baseline, PublishedEstimate::Vectors::best}) {
            const Tally tally =
                tallyOf(PublishedModel(kind, conditionPreset("srgb-display").conditions), srgbWhite(), vectors, bgr);
            EXPECT_EQ(tally.wrong, 0) << nameOf(kind);
            EXPECT_LT(tally.uncertain, tally.colors / 25) << nameOf(kind);
        }
    }
}

// Linear floats: with colours that sRGB does not have, brighter ones than its white, and what is no number.
TEST(PublishedEstimate, HasTheBinsOfTheModelForFloats) {
    cv::Mat linear(1, 20000, CV_32FC3);
    cv::RNG(11).fill(linear, cv::RNG::UNIFORM, -0.2, 1.6);
    for (int k = 0; k < 200; ++k) {
        auto& color = linear.at<cv::Vec3f>(0, 100 * k);
        color *= std::pow(10.0F, static_cast<float>(k % 40 - 10));
    }
    linear.at<cv::Vec3f>(0, 7)[2] = std::numeric_limits<float>::quiet_NaN();
    linear.at<cv::Vec3f>(0, 8)[0] = std::numeric_limits<float>::infinity();
    static const Levels levels;
    const cv::Matx33d matrix = cv::Matx33d(&xyzFromLinearSrgb[0][0]) * 100.0;
    for (const AppearanceModelKind kind : models) {
        const PublishedModel model(kind, conditionPreset("srgb-display").conditions);
        for (const auto vectors : {PublishedEstimate::Vectors::baseline, PublishedEstimate::Vectors::best}) {
            const PublishedEstimate estimate(model, matrix, levels.linear, vectors);
            PublishedEstimate::Bins bins;
            int certain = 0;
            for (int first = 0; first + 250 <= linear.cols; first += 250) {
                estimate.bins(linear.ptr<float>(0) + std::ptrdiff_t{3} * first, 250, bins);
                for (int i = 0; i < 250; ++i) {
                    if (bins.certain[i] == 0) {
                        continue;
                    }
                    ++certain;
                    const auto& color = linear.at<cv::Vec3f>(0, first + i);
                    const cv::Vec3d xyz = matrix * cv::Vec3d(color[2], color[1], color[0]);
                    const Correlates k = model.correlatesOf({xyz[0], xyz[1], xyz[2]});
                    EXPECT_EQ(BinCounts::binOf(static_cast<float>(k.brightness)), bins.brightness[i]);
                    EXPECT_EQ(BinCounts::binOf(static_cast<float>(k.lightness)), bins.lightness[i]);
                    EXPECT_EQ(BinCounts::binOf(static_cast<float>(k.chroma)), bins.chroma[i]);
                    EXPECT_EQ(BinCounts::binOf(static_cast<float>(k.colorfulness)), bins.colorfulness[i]);
                    EXPECT_EQ(BinCounts::binOf(static_cast<float>(k.saturation)), bins.saturation[i]);
                }
            }
            EXPECT_GT(certain, linear.cols / 2) << nameOf(kind);
        }
    }
}

TEST(PublishedEstimate, DoesNotServeInTheDark) {
    static const Levels levels;
    ViewingConditions dark;
    dark.adaptingLuminance = 0;
    const PublishedModel model(AppearanceModelKind::ciecam16, dark);
    EXPECT_FALSE(PublishedEstimate(model, cv::Matx33d::eye(), levels.linear).serves());
}

}  // namespace
}  // namespace likeness
