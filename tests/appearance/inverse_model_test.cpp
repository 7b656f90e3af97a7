#include <likeness/appearance/inverse_model.hpp>

#include <likeness/appearance/appearance_correlates.hpp>
#include <likeness/appearance/cone_responses.hpp>
#include <likeness/appearance/viewing_conditions.hpp>
#include <likeness/comparison/metrics.hpp>
#include "reference/inverse_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <string>

namespace likeness {
namespace {

using testing::contentOf;
using testing::floatImages;
using testing::NamedImage;
using testing::printedBy;
using testing::ScratchDirectory;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
const std::string nanResponse = "Error in the inverse non-linearities! Some of the obtained values are nan.\n";
const std::string nanPower = "Nan values in the gamma correction!\n";

cv::Mat filled(cv::Size size, float value) {
    return {size, CV_32F, cv::Scalar(value)};
}
cv::Mat map(std::initializer_list<float> values) {
    cv::Mat row(1, static_cast<int>(values.size()), CV_32F);
    std::copy(values.begin(), values.end(), row.ptr<float>(0));
    return row;
}

/// A map that varies, or one of a single value as callers fill the viewing conditions.
cv::Mat condition(cv::Size size, bool varying, float low, float high, std::uint64_t seed) {
    return varying ? testing::randomImage(size, 1, low, high, seed) : filled(size, low);
}

/// The image's values at other places, so that special values of several maps meet.
cv::Mat turned(const cv::Mat& image, int axis) {
    cv::Mat out;
    cv::flip(image, out, axis);
    return out;
}

/// Runs both versions, each in a folder of its own, and compares what they print and the file that they write.
template <typename Library, typename Literal>
void expectSameOutput(Library library, Literal literal, const std::string& file = "") {
    std::string files[2];
    std::string prints[2];
    {
        const ScratchDirectory scratch;
        prints[0] = printedBy(library);
        files[0] = file.empty() ? "" : contentOf(file);
    }
    {
        const ScratchDirectory scratch;
        prints[1] = printedBy(literal);
        files[1] = file.empty() ? "" : contentOf(file);
    }
    EXPECT_TRUE(prints[0] == prints[1]) << prints[0].substr(0, 300) << "\nagainst\n" << prints[1].substr(0, 300);
    EXPECT_TRUE(files[0] == files[1]) << file;
}

/// Calls body(map, whether the viewing conditions vary) for all images of one channel within [low, high].
template <typename Body>
void forEachMap(float low, float high, Body body) {
    for (const NamedImage& named : floatImages(1, low, high)) {
        for (const bool varying : {false, true}) {
            SCOPED_TRACE(named.name + (varying ? ", varying conditions" : ""));
            body(named.image, varying);
        }
    }
}

TEST(Brightness2Lightness, IsTheLiteralVersion) {
    forEachMap(0.0F, 150.0F, [](const cv::Mat& image, bool varying) {
        for (const float Aw : {37.2F, 0.0F, nan}) {
            cv::Mat Q[2] = {image.clone(), image.clone()};
            cv::Mat J[2] = {filled(image.size(), -1), filled(image.size(), -1)};
            cv::Mat FL = condition(image.size(), varying, 0.2F, 0.9F, 11);
            brightness2Lightness(Q[0], FL, J[0], Aw);
            reference::brightness2Lightness(Q[1], FL, J[1], Aw);
            EXPECT_MAT_EQUAL(J[0], J[1]);
            EXPECT_MAT_EQUAL(Q[0], Q[1]);
        }
    });
}

TEST(Brightness2Lightness, RaisesTinyBrightnessInPlace) {
    cv::Mat Q = map({0.0F, 1e-6F, 2e-6F, -1.0F, 5e-7F, nan});
    cv::Mat FL = filled(Q.size(), 1);
    cv::Mat J = filled(Q.size(), 0);
    brightness2Lightness(Q, FL, J, 0);
    // The float nearest to 1e-6 lies below it and is raised.
    EXPECT_MAT_EQUAL(Q, map({1e-6F, 2e-6F, 2e-6F, -0.999999F, 1.5e-6F, nan}));
    EXPECT_GT(J.at<float>(0, 0), 0.0F);
}

TEST(Brightness2Lightness, UndoesTheForwardModel) {
    // J = 6.25 (c Q)^2 / ((Aw + 4)^2 sqrt(F_L)) with c = 0.525: 6.25 * 0.525^2 * 40^2 / (20^2 * 0.5) = 13.78125.
    cv::Mat Q = map({40.0F});
    cv::Mat FL = map({0.25F});
    cv::Mat J = map({0.0F});
    brightness2Lightness(Q, FL, J, 16);
    EXPECT_NEAR(J.at<float>(0, 0), 13.78125F, 1e-5F);
}

TEST(Brightness2Lightness, KeepsLightnessAbove100) {
    cv::Mat Q = map({400.0F});
    cv::Mat FL = map({0.25F});
    cv::Mat J = map({0.0F});
    brightness2Lightness(Q, FL, J, 16);
    EXPECT_NEAR(J.at<float>(0, 0), 1378.125F, 1e-3F);
}

TEST(Lightness2A, IsTheLiteralVersionAndPrintsTheSameMean) {
    forEachMap(0.0F, 100.0F, [](const cv::Mat& image, bool varying) {
        cv::Mat J = image;
        cv::Mat z = condition(image.size(), varying, 1.9272136F, 2.4F, 12);
        for (const float Aw : {37.2F, 0.0F}) {
            cv::Mat A[2] = {filled(image.size(), -1), filled(image.size(), -1)};
            expectSameOutput([&] { lightness2A(J, z, A[0], Aw); }, [&] { reference::lightness2A(J, z, A[1], Aw); });
            EXPECT_MAT_EQUAL(A[0], A[1]);
        }
    });
}

TEST(Lightness2A, FullLightnessIsTheWhitesResponse) {
    cv::Mat J = filled({4, 3}, 100);
    cv::Mat z = filled({4, 3}, 1.927F);
    cv::Mat A = filled({4, 3}, 0);
    EXPECT_EQ(printedBy([&] { lightness2A(J, z, A, 37.5F); }), "mean A 37.5\n");
    EXPECT_MAT_EQUAL(A, filled({4, 3}, 37.5F));
}

TEST(Lightness2A, NegativeLightnessGivesNan) {
    cv::Mat J = map({-1.0F, 0.0F});
    cv::Mat z = filled(J.size(), 1.927F);
    cv::Mat A = filled(J.size(), -1);
    lightness2A(J, z, A, 37.5F, dropAll());
    EXPECT_MAT_EQUAL(A, map({nan, 0.0F}));
}

TEST(Lightness2A, DividesTheMeanByTheElementsOfJ) {
    cv::Mat J = map({100.0F, 0.0F, 0.0F, 0.0F});
    cv::Mat z = filled(J.size(), 1.927F);
    cv::Mat A = filled(J.size(), 0);
    EXPECT_EQ(printedBy([&] { lightness2A(J, z, A, 8); }), "mean A 2\n");
}

TEST(ChromaAndLightness2t, IsTheLiteralVersionWithTheSameFile) {
    forEachMap(0.0F, 100.0F, [](const cv::Mat& image, bool varying) {
        cv::Mat C = image;
        cv::Mat n = condition(image.size(), varying, 0.2F, 1.1F, 13);
        for (const cv::Mat& other : {turned(image, 0), testing::randomImage(image.size(), 1, 0, 100, 14)}) {
            cv::Mat J = other;
            cv::Mat t[2] = {filled(image.size(), -1), filled(image.size(), -1)};
            expectSameOutput([&] { chromaAndLightness2t(C, J, n, t[0]); },
                             [&] { reference::chromaAndLightness2t(C, J, n, t[1]); }, "t_after.jpg");
            EXPECT_MAT_EQUAL(t[0], t[1]);
        }
    });
}

TEST(ChromaAndLightness2t, BlackHasNoMagnitude) {
    cv::Mat C = map({10.0F, 0.0F, 0.0F, 10.0F});
    cv::Mat J = map({0.0F, 0.0F, 50.0F, -1.0F});
    cv::Mat n = filled(C.size(), 0.2F);
    cv::Mat t = filled(C.size(), -1);
    chromaAndLightness2t(C, J, n, t, dropAll());
    EXPECT_MAT_EQUAL(t, map({infinity, nan, 0.0F, nan}));
}

TEST(ChromaAndLightness2t, WritesNothingThatNobodyWants) {
    const ScratchDirectory scratch;
    cv::Mat C = map({1.0F});
    cv::Mat t = map({0.0F});
    chromaAndLightness2t(C, C, C, t, dropAll());
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
}

TEST(Hue2AB, IsTheLiteralVersion) {
    forEachMap(-180.0F, 180.0F, [](const cv::Mat& image, bool varying) {
        cv::Mat hue = image;
        cv::Mat Nbb = condition(image.size(), varying, 1.000304F, 1.2F, 15);
        cv::Mat eccentricity = testing::randomImage(image.size(), 1, 0.7F, 1.2F, 16);
        for (const bool special : {false, true}) {
            cv::Mat t = special ? turned(image, 0) : testing::randomImage(image.size(), 1, 0, 600, 17);
            cv::Mat A = special ? turned(image, 1) : testing::randomImage(image.size(), 1, 0, 50, 18);
            cv::Mat a[2] = {filled(image.size(), -1), filled(image.size(), -1)};
            cv::Mat b[2] = {filled(image.size(), -1), filled(image.size(), -1)};
            hue2AB(A, hue, t, eccentricity, Nbb, a[0], b[0], 0.8F);
            reference::hue2AB(A, hue, t, eccentricity, Nbb, a[1], b[1], 0.8F);
            EXPECT_MAT_EQUAL(a[0], a[1]);
            EXPECT_MAT_EQUAL(b[0], b[1]);
        }
    });
}

// The sign of D changes at quarter turns: the floats around them, and angles of several turns.
TEST(Hue2AB, TakesTheLiteralSideAroundQuarterTurns) {
    std::vector<float> degrees;
    for (int quarter = -9; quarter <= 9; ++quarter) {
        const float turn = 90.0F * static_cast<float>(quarter);
        float below = turn;
        float above = turn;
        for (int step = 0; step < 4; ++step) {
            degrees.insert(degrees.end(), {below, above});
            below = std::nextafter(below, -infinity);
            above = std::nextafter(above, infinity);
        }
    }
    degrees.insert(degrees.end(), {0.0F, -0.0F, 1e-30F, -1e-30F, 1e6F, -1e6F, 1e30F, infinity, -infinity, nan});
    cv::Mat hue(1, static_cast<int>(degrees.size()), CV_32F, degrees.data());
    cv::Mat other = filled(hue.size(), 20);
    cv::Mat one = filled(hue.size(), 1);
    cv::Mat a[2] = {one.clone(), one.clone()};
    cv::Mat b[2] = {one.clone(), one.clone()};
    hue2AB(other, hue, other, one, one, a[0], b[0], 0.8F);
    reference::hue2AB(other, hue, other, one, one, a[1], b[1], 0.8F);
    EXPECT_MAT_EQUAL(a[0], a[1]);
    EXPECT_MAT_EQUAL(b[0], b[1]);
}

TEST(Hue2AB, DenominatorFollowsTheSignOfTheCosine) {
    cv::Mat hue = map({45.0F, -45.0F, 135.0F, -135.0F});
    cv::Mat t = filled(hue.size(), 23);
    cv::Mat one = filled(hue.size(), 1);
    cv::Mat a = one.clone();
    cv::Mat b = one.clone();
    hue2AB(one, hue, t, one, one, a, b, 0.8F);
    // r E = sqrt(2) * 0.8 * 50000 / 13 = 4351.42621; P = 108 tan + 11: 119 or -97; numerator 23 * 1.305 = 30.015.
    const float expected[4] = {30.015F / 4470.42621F, 30.015F / 4254.42621F, 30.015F / -4448.42621F,
                               30.015F / -4232.42621F};
    const float tangent[4] = {1, -1, -1, 1};
    for (int i = 0; i < 4; ++i) {
        EXPECT_NEAR(a.at<float>(0, i), expected[i], 1e-9F) << i;
        EXPECT_NEAR(b.at<float>(0, i) / a.at<float>(0, i), tangent[i], 1e-6F) << i;
    }
}

TEST(AB2NonLinearities, IsTheLiteralVersion) {
    forEachMap(-2.0F, 2.0F, [](const cv::Mat& image, bool varying) {
        cv::Mat a = image;
        cv::Mat Nbb = condition(image.size(), varying, 1.000304F, 1.2F, 19);
        for (const bool special : {false, true}) {
            cv::Mat b = special ? turned(image, 0) : testing::randomImage(image.size(), 1, -2, 2, 20);
            cv::Mat A = special ? turned(image, 1) : testing::randomImage(image.size(), 1, 0, 50, 21);
            cv::Mat nl[2] = {cv::Mat(image.size(), CV_32FC3), cv::Mat(image.size(), CV_32FC3)};
            AB2NonLinearities(a, b, A, nl[0], Nbb);
            reference::AB2NonLinearities(a, b, A, nl[1], Nbb);
            EXPECT_MAT_EQUAL(nl[0], nl[1]);
        }
    });
}

TEST(AB2NonLinearities, PublishedCoefficients) {
    // a = 1403 / 451 alone moves rho by 1403 / 1403 = 1 (CIECAM02: 451, -891, -220 over 1403 for a).
    cv::Mat a = map({1.0F});
    cv::Mat b = map({0.0F});
    cv::Mat A = map({0.0F});
    cv::Mat Nbb = map({1.0F});
    cv::Mat nl(1, 1, CV_32FC3);
    AB2NonLinearities(a, b, A, nl, Nbb);
    const auto& response = nl.at<cv::Vec3f>(0, 0);
    EXPECT_NEAR(response[0], 0.1 + 451.0 / 1403.0, 1e-6);
    EXPECT_NEAR(response[1], 0.1 - 891.0 / 1403.0, 1e-6);
    EXPECT_NEAR(response[2], 0.1 - 220.0 / 1403.0, 1e-6);
    a = map({0.0F});
    b = map({1.0F});
    AB2NonLinearities(a, b, A, nl, Nbb);
    EXPECT_NEAR(response[0], 0.1 + 288.0 / 1403.0, 1e-6);
    EXPECT_NEAR(response[1], 0.1 - 261.0 / 1403.0, 1e-6);
    EXPECT_NEAR(response[2], 0.1 - 6300.0 / 1403.0, 1e-6);
}

TEST(InverseNonLinearities, IsTheLiteralVersionWithTheSameMessagesAndClampsInPlace) {
    for (const float high : {30.0F, 420.0F}) {
        for (const NamedImage& named : floatImages(3, 0.0F, high)) {
            for (const bool varying : {false, true}) {
                SCOPED_TRACE(named.name);
                cv::Mat FL = condition(named.image.size(), varying, 0.4641589F, 0.9F, 22);
                cv::Mat nl[2] = {named.image.clone(), named.image.clone()};
                cv::Mat hpe[2] = {cv::Mat(FL.size(), CV_32FC3), cv::Mat(FL.size(), CV_32FC3)};
                expectSameOutput([&] { inverseNonLinearities(nl[0], hpe[0], FL); },
                                 [&] { reference::inverseNonLinearities(nl[1], hpe[1], FL); });
                EXPECT_MAT_EQUAL(hpe[0], hpe[1]);
                EXPECT_MAT_EQUAL(nl[0], nl[1]);
            }
        }
    }
}

TEST(InverseNonLinearities, ResponsesUpToATenthInvertToPracticallyNothing) {
    cv::Mat nl(1, 2, CV_32FC3);
    nl.at<cv::Vec3f>(0, 0) = {0.1F, 0.0F, -5.0F};
    nl.at<cv::Vec3f>(0, 1) = {-infinity, 0.09999999F, 0.05F};
    cv::Mat FL = filled(nl.size(), 1);
    cv::Mat hpe(nl.size(), CV_32FC3);
    EXPECT_EQ(printedBy([&] { inverseNonLinearities(nl, hpe, FL); }), "");
    // Exactly 0.1F, not 0.2F: the comparison of a float with the double 0.1 never holds.
    EXPECT_MAT_EQUAL(nl, cv::Mat(nl.size(), CV_32FC3, cv::Scalar::all(0.1F)));
    for (int e = 0; e < 6; ++e) {
        EXPECT_GE(hpe.ptr<float>(0)[e], 0.0F);
        EXPECT_LT(hpe.ptr<float>(0)[e], 1e-20F);
    }
}

TEST(InverseNonLinearities, ResponsesAboveTheAsymptoteBecome400) {
    cv::Mat nl(1, 1, CV_32FC3, cv::Scalar(500.0F, 400.1F, 400.05F));
    cv::Mat FL = filled(nl.size(), 1);
    cv::Mat hpe(nl.size(), CV_32FC3);
    inverseNonLinearities(nl, hpe, FL, dropAll());
    const auto& clamped = nl.at<cv::Vec3f>(0, 0);
    EXPECT_EQ(clamped[0], 400.0F);
    EXPECT_EQ(clamped[1], 400.0F);  // the float nearest to 400.1 lies above it
    EXPECT_EQ(clamped[2], 400.05F);
    EXPECT_NEAR(hpe.at<cv::Vec3f>(0, 0)[0] / 9.7510289e13, 1.0, 1e-6);  // 100 * 108492.87 ^ (1 / 0.42)
}

TEST(InverseNonLinearities, ReportsEveryNanElementAndLeavesIt) {
    cv::Mat nl(1, 2, CV_32FC3, cv::Scalar::all(10));
    nl.at<cv::Vec3f>(0, 0) = {nan, 10.0F, nan};
    nl.at<cv::Vec3f>(0, 1)[1] = nan;
    cv::Mat FL = filled(nl.size(), 0.5F);
    cv::Mat hpe(nl.size(), CV_32FC3);
    EXPECT_EQ(printedBy([&] { inverseNonLinearities(nl, hpe, FL); }), nanResponse + nanResponse + nanResponse);
    EXPECT_TRUE(std::isnan(hpe.at<cv::Vec3f>(0, 0)[2]));
    EXPECT_FALSE(std::isnan(hpe.at<cv::Vec3f>(0, 0)[1]));
    EXPECT_EQ(printedBy([&] { inverseNonLinearities(nl, hpe, FL, dropAll()); }), "");
}

TEST(InverseNonLinearities, UndoesTheCompression) {
    cv::Mat hpe = testing::randomImage({101, 67}, 3, 0.5F, 150.0F, 23);
    cv::Mat FL = filled(hpe.size(), 0.4641589F);
    cv::Mat nl(hpe.size(), CV_32FC3);
    cv::Mat back(hpe.size(), CV_32FC3);
    computeNonLinearities(hpe, nl, FL);
    inverseNonLinearities(nl, back, FL, dropAll());
    // A response is rounded twice on the way out, to 2^-23 in all, and the base once, 2^-24; the power 1 / 0.42 and the
    // slope (27.13 nl) / (27.13 nl - 2.713) < 1.1 near the dark end magnify them to 2.4 * (1.1 * 2^-23 + 2^-24)
    // = 4.6e-7.
    EXPECT_MAT_NEAR(back, hpe, {.relative = 6e-7});
}

TEST(ConvertHPEtoSharpenedRGB, IsTheLiteralVersionAlsoInPlace) {
    for (const NamedImage& named : floatImages(3, 0.0F, 100.0F)) {
        SCOPED_TRACE(named.name);
        cv::Mat hpe = named.image.clone();
        cv::Mat bgr[2] = {cv::Mat(hpe.size(), CV_32FC3), cv::Mat(hpe.size(), CV_32FC3)};
        convertHPEtoSharpenedRGB(hpe, bgr[0]);
        reference::convertHPEtoSharpenedRGB(hpe, bgr[1]);
        EXPECT_MAT_EQUAL(bgr[0], bgr[1]);
        convertHPEtoSharpenedRGB(hpe, hpe);
        EXPECT_MAT_EQUAL(hpe, bgr[1]);
    }
}

TEST(ConvertHPEtoSharpenedRGB, UndoesTheWayToConeResponses) {
    const cv::Mat bgr = testing::randomImage({31, 17}, 3, 0.0F, 100.0F, 24);
    cv::Mat hpe(bgr.size(), CV_32FC3);
    cv::Mat back(bgr.size(), CV_32FC3);
    convertSharpenedBGRtoHPE(bgr, hpe);
    convertHPEtoSharpenedRGB(hpe, back);
    // Sums of three products up to 100 * 1.1 each, rounded to 2^-24 of them at both ends, and an inverse with elements
    // up to 1.6 whose own rounding counts again: 100 * 1.6 * 9 * 2^-24 = 8.6e-5.
    EXPECT_MAT_NEAR(back, bgr, {.absolute = 9e-5});
}

TEST(PerformGammaCorrectionByStyle, IsTheLiteralVersionWithTheSameMessages) {
    for (const NamedImage& named : floatImages(1, 0.0F, 150.0F)) {
        for (const auto& [low, high] : {std::pair{50.0F, 120.0F},
                                        {120.0F, 50.0F},
                                        {-3.0F, 50.0F},
                                        {0.0F, 50.0F},
                                        {50.0F, 0.0F},
                                        {0.0F, 0.0F},
                                        {7.0F, 7.0F}}) {
            SCOPED_TRACE(named.name + " " + std::to_string(low) + " " + std::to_string(high));
            cv::Mat src = named.image;
            cv::Mat dst[2] = {filled(src.size(), -1), filled(src.size(), -1)};
            expectSameOutput([&, l = low, h = high] { performGammaCorrectionByStyle(src, dst[0], l, h); },
                             [&, l = low, h = high] { reference::performGammaCorrectionByStyle(src, dst[1], l, h); });
            EXPECT_MAT_EQUAL(dst[0], dst[1]);
        }
    }
}

TEST(PerformGammaCorrectionByStyle, EqualLevelsCopyAllButNegativeValues) {
    cv::Mat src = map({0.0F, 12.5F, -0.25F, 100.0F, 0.7F, -3.0F});
    cv::Mat dst = filled(src.size(), -1);
    EXPECT_EQ(printedBy([&] { performGammaCorrectionByStyle(src, dst, 42, 42); }), "Gamma: 1\n-0.25\n-3\n");
    EXPECT_MAT_EQUAL(dst, map({0.0F, 12.5F, 0.0F, 100.0F, 0.7F, 0.0F}));
}

TEST(PerformGammaCorrectionByStyle, TenTimesTheLevelSquares) {
    cv::Mat src = map({3.0F});
    cv::Mat dst = map({0.0F});
    EXPECT_EQ(printedBy([&] { performGammaCorrectionByStyle(src, dst, 10, 100); }), "Gamma: 2\n");
    EXPECT_EQ(dst.at<float>(0, 0), 9.0F);
}

TEST(PerformGammaCorrectionByStyle, NegativeQuotientMakesAllPowersNanButThatOfOne) {
    cv::Mat src = map({2.0F, 1.0F, -4.0F, 0.0F});
    cv::Mat dst = filled(src.size(), -1);
    const std::string printed = printedBy([&] { performGammaCorrectionByStyle(src, dst, -1, 10); });
    EXPECT_MAT_EQUAL(dst, map({nan, 1.0F, 0.0F, nan}));
    EXPECT_EQ(printed.substr(printed.find('\n') + 1), nanPower + "-4\n" + nanPower);
}

TEST(PerformGammaCorrectionByStyle, ReportsANanOfTheSource) {
    cv::Mat src = map({nan, 2.0F});
    cv::Mat dst = filled(src.size(), -1);
    EXPECT_EQ(printedBy([&] { performGammaCorrectionByStyle(src, dst, 10, 10); }), "Gamma: 1\n" + nanPower);
    EXPECT_EQ(printedBy([&] { performGammaCorrectionByStyle(src, dst, 10, 10, dropAll()); }), "");
    EXPECT_MAT_EQUAL(dst, map({nan, 2.0F}));
}

class RoundTrip : public ::testing::TestWithParam<std::string> {};

TEST_P(RoundTrip, ForwardThenInverseGivesThePhotographBack) {
    cv::Mat bgr = testing::exampleImage(GetParam());
    cv::Mat src(bgr.size(), CV_32FC3);
    compute_cat(bgr, src);
    src *= 100;
    const cv::Size size = src.size();
    const auto empty = [size] { return cv::Mat(size, CV_32F); };
    cv::Mat FL = filled(size, computeFl(20));
    cv::Mat n = filled(size, computeN(20, 100));
    cv::Mat Ncb = filled(size, computeNcb(20, 100));
    cv::Mat z = filled(size, computeZ(20, 100));
    cv::Mat hpe(size, CV_32FC3), nl(size, CV_32FC3), back(size, CV_32FC3);
    cv::Mat a = empty(), b = empty(), hue = empty(), eccentricity = empty(), J = empty(), Q = empty(), C = empty();
    cv::Mat t = empty(), A = empty();
    convertSharpenedBGRtoHPE(src, hpe);
    computeNonLinearities(hpe, nl, FL);
    computeAB(nl, a, b);
    computeHue(a, b, hue, eccentricity);
    const float Aw = computeLightness(nl, Ncb, z, J, A, dropAll());
    computeBrightness(J, FL, z, Q, Aw, dropAll());
    computeChroma(nl, a, b, J, eccentricity, Ncb, n, C, 0.8F, dropAll());
    const cv::Mat responses = nl.clone();

    brightness2Lightness(Q, FL, J, Aw);
    chromaAndLightness2t(C, J, n, t, dropAll());
    lightness2A(J, z, A, Aw, dropAll());
    hue2AB(A, hue, t, eccentricity, Ncb, a, b, 0.8F);
    AB2NonLinearities(a, b, A, nl, Ncb);
    inverseNonLinearities(nl, hpe, FL, dropAll());
    convertHPEtoSharpenedRGB(hpe, back);

    double worst = 0;
    std::size_t compared = 0;
    for (int i = 0; i < size.height; ++i) {
        for (int j = 0; j < size.width; ++j) {
            const auto& response = responses.at<cv::Vec3f>(i, j);
            if (!(response[0] > 0.1F && response[1] > 0.1F && response[2] > 0.1F)) {
                continue;  // no, or a negative, cone response: the way back is clamped
            }
            ++compared;
            for (int c = 0; c < 3; ++c) {
                worst = std::max(
                    worst, static_cast<double>(std::abs(back.at<cv::Vec3f>(i, j)[c] - src.at<cv::Vec3f>(i, j)[c])));
            }
        }
    }
    EXPECT_GT(compared, src.total() / 2);
    // On the way Q and J are rounded about 11 times to 2^-24 of their size (the squares count twice), the power 1 /
    // 0.42 magnifies that 2.45 times, and the matrix, whose rows have absolute sums below 2, adds the three responses
    // of up to 100: 100 * 2 * 2.45 * 11 * 2^-24 = 3.2e-4. A wrong fourth digit of one exponent is off by more than
    // 1e-2.
    EXPECT_LT(worst, 3.2e-4);
}

INSTANTIATE_TEST_SUITE_P(Photographs, RoundTrip, ::testing::ValuesIn(testing::examplePhotographNames()),
                         [](const auto& parameter) { return parameter.param.substr(0, parameter.param.find('.')); });

}  // namespace
}  // namespace likeness
