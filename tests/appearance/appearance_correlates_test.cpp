#include <likeness/appearance/appearance_correlates.hpp>

#include "reference/appearance_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace likeness {
namespace {

using testing::contentOf;
using testing::printedBy;
using testing::ScratchDirectory;

cv::Mat single(float value) {
    return cv::Mat(1, 1, CV_32F, cv::Scalar(value));
}

float only(const cv::Mat& map) {
    return map.at<float>(0, 0);
}

/// Non-linearity images, and for each maps of its size with values that the model meets.
struct Maps {
    explicit Maps(const cv::Mat& nonLinearities)
        : nl(nonLinearities.clone()),
          Nbb(map(1, 0.97F, 1.01F)),
          z(map(2, 1.9F, 1.96F)),
          FL(map(3, 0.1F, 1.0F)),
          n(map(4, 0.19F, 0.23F)),
          eccentricity(map(5, 0.7F, 1.2F)),
          J(map(6, 0.0F, 100.0F)) {}

    cv::Mat map(std::uint64_t seed, float low, float high) const {
        return testing::randomImage(nl.size(), 1, low, high, seed);
    }
    cv::Mat empty() const { return cv::Mat(nl.size(), CV_32F); }

    cv::Mat nl, Nbb, z, FL, n, eccentricity, J;
};

std::vector<testing::NamedImage> nonLinearityImages() {
    return testing::floatImages(3, 0.0F, 15.0F);
}

cv::Mat with(cv::Mat map, std::initializer_list<float> values) {
    auto* out = map.ptr<float>(0);
    for (const float value : values) {
        if (out < map.ptr<float>(0) + map.cols) {
            *out++ = value;
        }
    }
    return map;
}

TEST(OpponentColors, AreTheLiteralVersion) {
    for (const auto& [name, image] : nonLinearityImages()) {
        SCOPED_TRACE(name);
        for (cv::Mat nl : {image.clone(), testing::withGaps(image)}) {
            cv::Mat a(nl.size(), CV_32F);
            cv::Mat b(nl.size(), CV_32F);
            computeAB(nl, a, b);
            cv::Mat expectedA(nl.size(), CV_32F);
            cv::Mat expectedB(nl.size(), CV_32F);
            reference::computeAB(nl, expectedA, expectedB);
            EXPECT_MAT_EQUAL(a, expectedA);
            EXPECT_MAT_EQUAL(b, expectedB);
        }
    }
}

TEST(OpponentColors, OfGreyAreZero) {
    cv::Mat nl(1, 1, CV_32FC3, cv::Scalar::all(11));
    cv::Mat a = single(7);
    cv::Mat b = single(7);
    computeAB(nl, a, b);
    EXPECT_EQ(only(a), 0.0F);
    EXPECT_EQ(only(b), 0.0F);
}

TEST(Hue, IsInDegreesAndNotWrapped) {
    const auto hueOf = [](float a, float b) {
        cv::Mat redGreen = single(a);
        cv::Mat yellowBlue = single(b);
        cv::Mat hue = single(0);
        cv::Mat eccentricity = single(0);
        computeHue(redGreen, yellowBlue, hue, eccentricity);
        EXPECT_NEAR(only(eccentricity), (std::cos(only(hue) * M_PI / 180 + 2) + 3.8) / 4, 1e-7);
        return only(hue);
    };
    EXPECT_EQ(hueOf(0, -1), -90.0F);  // not 270
    EXPECT_EQ(hueOf(1, 0), 0.0F);
    EXPECT_EQ(hueOf(0, 1), 90.0F);
    EXPECT_EQ(hueOf(-1, 0), 180.0F);
    EXPECT_EQ(hueOf(-1, -1), -135.0F);
    EXPECT_EQ(hueOf(0, 0), 0.0F);
}

TEST(Hue, IsTheLiteralVersion) {
    auto images = testing::floatImages(2, -10.0F, 10.0F);
    images.push_back({"dense", testing::randomImage({60'000, 2}, 2, -8.0F, 8.0F, 3)});
    for (const auto& [name, image] : images) {
        SCOPED_TRACE(name);
        cv::Mat planes[2];
        cv::split(image, planes);
        cv::Mat hue(image.size(), CV_32F);
        cv::Mat eccentricity(image.size(), CV_32F);
        cv::Mat gaps = testing::withGaps(planes[0]);
        computeHue(gaps, planes[1], hue, eccentricity);
        cv::Mat expectedHue(image.size(), CV_32F);
        cv::Mat expectedEccentricity(image.size(), CV_32F);
        reference::computeHue(planes[0], planes[1], expectedHue, expectedEccentricity);
        EXPECT_MAT_EQUAL(hue, expectedHue);
        EXPECT_MAT_EQUAL(eccentricity, expectedEccentricity);
        computeHue(planes[0], planes[1], hue, eccentricity);
        EXPECT_MAT_EQUAL(hue, expectedHue);
    }
}

TEST(Lightness, IsAHundredAtTheGreatestAchromaticResponse) {
    Maps maps(testing::randomImage({40, 30}, 3, 0.5F, 15.0F, 4));
    cv::Mat Nbb(maps.nl.size(), CV_32F, cv::Scalar(1.000304));
    cv::Mat z(maps.nl.size(), CV_32F, cv::Scalar(1.927214));
    cv::Mat J = maps.empty();
    cv::Mat A = maps.empty();
    const float Aw = computeLightness(maps.nl, Nbb, z, J, A, dropAll());
    cv::Point brightest;
    double greatest = 0;
    cv::minMaxLoc(A, nullptr, &greatest, nullptr, &brightest);
    EXPECT_EQ(Aw, static_cast<float>(greatest));
    EXPECT_EQ(J.at<float>(brightest), 100.0F);
}

TEST(Lightness, HasNoWhiteWhereNoResponseIsPositive) {
    cv::Mat nl(2, 2, CV_32FC3, cv::Scalar::all(0));
    cv::Mat one(2, 2, CV_32F, cv::Scalar(1));
    cv::Mat J(2, 2, CV_32F);
    cv::Mat A(2, 2, CV_32F);
    EXPECT_EQ(computeLightness(nl, one, one, J, A, dropAll()), 0.0F);
    EXPECT_MAT_EQUAL(A, cv::Mat(2, 2, CV_32F, cv::Scalar(-0.305F)));
    EXPECT_FALSE(std::isfinite(only(J)));
}

TEST(Lightness, IsTheLiteralVersionAndWritesTheSameFile) {
    const ScratchDirectory scratch;
    for (const auto& [name, image] : nonLinearityImages()) {
        SCOPED_TRACE(name);
        Maps maps(image);
        cv::Mat J = maps.empty();
        cv::Mat A = testing::withGaps(maps.empty());
        const float Aw = computeLightness(maps.nl, maps.Nbb, maps.z, J, A);
        const std::string file = contentOf("A_before.jpg");
        std::filesystem::remove("A_before.jpg");
        cv::Mat expectedJ = maps.empty();
        cv::Mat expectedA = maps.empty();
        EXPECT_EQ(Aw, reference::computeLightness(maps.nl, maps.Nbb, maps.z, expectedJ, expectedA));
        EXPECT_MAT_EQUAL(J, expectedJ);
        EXPECT_MAT_EQUAL(A, expectedA);
        EXPECT_TRUE(file == contentOf("A_before.jpg"));
    }
}

TEST(Brightness, MasksWhatIsBelowTwenty) {
    const ScratchDirectory scratch;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    // Blocks of 16 pixels, which JPEG keeps apart: low brightness, high, NaN.
    cv::Mat J(16, 48, CV_32F, cv::Scalar(1));
    J.colRange(16, 32).setTo(100);
    J.colRange(32, 48).setTo(nan);
    cv::Mat FL(J.size(), CV_32F, cv::Scalar(0.464159));
    cv::Mat Q(J.size(), CV_32F);
    const float greatest = computeBrightness(J, FL, FL, Q, 10.0F);
    // 4 sqrt(J / 100) (10 + 4) 0.464159^0.25 / 0.525
    EXPECT_NEAR(greatest, 4 * 14 * std::pow(0.464159, 0.25) / 0.525, 1e-4);
    EXPECT_EQ(Q.at<float>(0, 20), greatest);
    EXPECT_LT(Q.at<float>(0, 0), 20.0F);
    std::string expected;
    {
        const ScratchDirectory literal;
        cv::Mat mask(J.size(), CV_8U, cv::Scalar(255));
        mask.colRange(0, 16).setTo(0);
        reference::writeImage("mask.jpg", mask);
        expected = contentOf("mask.jpg");
    }
    EXPECT_TRUE(contentOf("mask.jpg") == expected);
}

TEST(Brightness, IsAtLeastZeroAtItsGreatest) {
    cv::Mat J = single(std::numeric_limits<float>::quiet_NaN());
    cv::Mat one = single(1);
    cv::Mat Q = single(0);
    EXPECT_EQ(computeBrightness(J, one, one, Q, 1.0F, dropAll()), 0.0F);
    EXPECT_TRUE(std::isnan(only(Q)));
}

TEST(Brightness, IsTheLiteralVersionAndWritesTheSameFiles) {
    const ScratchDirectory scratch;
    for (const auto& [name, image] : testing::floatImages(1, 0.0F, 100.0F)) {
        SCOPED_TRACE(name);
        cv::Mat J = image.clone();
        cv::Mat FL = testing::randomImage(image.size(), 1, 0.1F, 1.0F, 11);
        cv::Mat unused;
        for (const float Aw : {12.5F, 0.0F, 30.0F}) {
            cv::Mat Q = testing::withGaps(cv::Mat(image.size(), CV_32F));
            const float greatest = computeBrightness(J, FL, unused, Q, Aw);
            const std::string text = contentOf("10_in.txt");
            const std::string mask = contentOf("mask.jpg");
            cv::Mat expected(image.size(), CV_32F);
            EXPECT_EQ(greatest, reference::computeBrightness(J, FL, unused, expected, Aw));
            EXPECT_MAT_EQUAL(Q, expected);
            EXPECT_TRUE(text == contentOf("10_in.txt"));
            EXPECT_TRUE(mask == contentOf("mask.jpg"));
        }
    }
}

TEST(Chroma, OfGreyIsZero) {
    cv::Mat nl(1, 1, CV_32FC3, cv::Scalar::all(11));
    cv::Mat zero = single(0);
    cv::Mat one = single(1);
    cv::Mat J = single(50);
    cv::Mat C = single(7);
    computeChroma(nl, zero, zero, J, one, one, one, C, 0.8F, dropAll());
    EXPECT_EQ(only(C), 0.0F);
}

TEST(Chroma, IsTheLiteralVersionAndWritesTheSameFile) {
    const ScratchDirectory scratch;
    for (const auto& [name, image] : nonLinearityImages()) {
        SCOPED_TRACE(name);
        Maps maps(image);
        cv::Mat a = with(maps.map(12, -3.0F, 3.0F), {0.0F, -0.0F, std::numeric_limits<float>::quiet_NaN()});
        cv::Mat b = with(maps.map(13, -3.0F, 3.0F), {0.0F, 0.0F, 1.0F, std::numeric_limits<float>::infinity()});
        cv::Mat J = with(maps.J, {100.0F, 0.0F, 50.0F, 50.0F, -1.0F});
        cv::Mat C = testing::withGaps(maps.empty());
        computeChroma(maps.nl, a, b, J, maps.eccentricity, maps.Nbb, maps.n, C, 0.8F);
        const std::string file = contentOf("t_before.jpg");
        std::filesystem::remove("t_before.jpg");
        cv::Mat expected = maps.empty();
        reference::computeChroma(maps.nl, a, b, J, maps.eccentricity, maps.Nbb, maps.n, expected, 0.8F);
        EXPECT_MAT_EQUAL(C, expected);
        EXPECT_TRUE(file == contentOf("t_before.jpg"));
    }
}

TEST(Colorfulness, IsTheLiteralVersion) {
    for (const auto& [name, image] : testing::floatImages(1, 0.0F, 120.0F)) {
        SCOPED_TRACE(name);
        cv::Mat C = image.clone();
        for (cv::Mat FL : {with(testing::randomImage(image.size(), 1, 0.1F, 1.0F, 14), {0.0F, -1.0F}),
                           cv::Mat(image.size(), CV_32F, cv::Scalar(0.46415907F))}) {
            cv::Mat M = testing::withGaps(image);
            computeColorfulness(C, FL, M);
            cv::Mat expected(image.size(), CV_32F);
            reference::computeColorfulness(C, FL, expected);
            EXPECT_MAT_EQUAL(M, expected);
        }
    }
}

TEST(Saturation, IsTheLiteralVersion) {
    for (const auto& [name, image] : testing::floatImages(1, 0.0F, 120.0F)) {
        SCOPED_TRACE(name);
        cv::Mat M = testing::withGaps(image);
        cv::Mat Q = with(testing::randomImage(image.size(), 1, 0.0F, 100.0F, 15), {0.0F, -1.0F});
        cv::Mat s(image.size(), CV_32F);
        computeSaturation(M, Q, s);
        cv::Mat expected(image.size(), CV_32F);
        reference::computeSaturation(M, Q, expected);
        EXPECT_MAT_EQUAL(s, expected);
    }
}

TEST(Saturation, OfNoBrightnessIsNoNumber) {
    cv::Mat M = (cv::Mat_<float>(1, 2) << 0.0F, 1.0F);
    cv::Mat Q = cv::Mat::zeros(1, 2, CV_32F);
    cv::Mat s(1, 2, CV_32F);
    computeSaturation(M, Q, s);
    EXPECT_TRUE(std::isnan(s.at<float>(0, 0)));
    EXPECT_TRUE(std::isinf(s.at<float>(0, 1)));
}

TEST(WriteIntoFile, WritesOneValueALineRowByRow) {
    const ScratchDirectory scratch;
    cv::Mat map = (cv::Mat_<float>(2, 3) << 1, 2.5, -3, 1e-7, 1234567, 0);
    writeIntoFile(map, "map.txt", 2, 3);
    EXPECT_EQ(contentOf("map.txt"), "1\n2.5\n-3\n1e-07\n1.23457e+06\n0\n");
    writeIntoFile(map, "map.txt", 2, 1);
    EXPECT_EQ(contentOf("map.txt"), "1\n1e-07\n");
    for (const auto& [name, image] : testing::floatImages(1, -100.0F, 100.0F)) {
        cv::Mat values = image;
        writeIntoFile(values, "map.txt", values.rows, values.cols);
        reference::writeIntoFile(values, "expected.txt", values.rows, values.cols);
        EXPECT_TRUE(contentOf("map.txt") == contentOf("expected.txt")) << name;
    }
}

TEST(AppearanceCorrelates, WriteWhereTheyAreToldTo) {
    const ScratchDirectory scratch;
    Maps maps(testing::randomImage({20, 10}, 3, 0.5F, 15.0F, 16));
    cv::Mat A = maps.empty();
    cv::Mat Q = maps.empty();
    cv::Mat C = maps.empty();
    const auto run = [&](const Diagnostics& diagnostics) {
        const float Aw = computeLightness(maps.nl, maps.Nbb, maps.z, maps.J, A, diagnostics);
        computeBrightness(maps.J, maps.FL, maps.z, Q, Aw, diagnostics);
        computeChroma(maps.nl, A, Q, maps.J, maps.eccentricity, maps.Nbb, maps.n, C, 0.8F, diagnostics);
        writeIntoFile(C, "map.txt", C.rows, C.cols, diagnostics);
    };
    EXPECT_EQ(printedBy([&run] { run(dropAll()); }), "");
    EXPECT_TRUE(std::filesystem::is_empty("."));

    std::filesystem::create_directory("chosen");
    EXPECT_EQ(printedBy([&run] { run(DirectoryDiagnostics("chosen")); }), "");
    for (const char* const name : {"A_before.jpg", "10_in.txt", "mask.jpg", "t_before.jpg", "map.txt"}) {
        EXPECT_TRUE(std::filesystem::exists(std::string("chosen/") + name)) << name;
        EXPECT_FALSE(std::filesystem::exists(name)) << name;
    }
}

}  // namespace
}  // namespace likeness
