#include <likeness/appearance/cone_responses.hpp>

#include "reference/appearance_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace likeness {
namespace {

TEST(ConeResponses, OfTheEqualEnergyWhiteAreEqual) {
    // Rows of the Hunt-Pointer-Estevez matrix sum to 1: X = Y = Z = 1 has equal responses. Its sharpened values are the
    // row sums of CAT02: R 1, G 1, B 1.
    cv::Mat hpe(1, 1, CV_32FC3);
    convertSharpenedBGRtoHPE(cv::Mat(1, 1, CV_32FC3, cv::Scalar(1, 1, 1)), hpe);
    EXPECT_MAT_NEAR(hpe, cv::Mat(1, 1, CV_32FC3, cv::Scalar(1, 1, 1)), {.absolute = 2e-5});
}

TEST(ConeResponses, HoldTheLongWavesFirst) {
    cv::Mat hpe(1, 1, CV_32FC3);
    convertSharpenedBGRtoHPE(cv::Mat(1, 1, CV_32FC3, cv::Scalar(0, 0, 1)), hpe);  // the long-wave primary alone
    const auto v = hpe.at<cv::Vec3f>(0, 0);
    EXPECT_GT(v[0], 0.7F);
    EXPECT_LT(std::abs(v[2]), 0.01F);
}

TEST(ConeResponses, AreTheLiteralVersion) {
    for (const auto& [name, image] : testing::floatImages(3, 0.0F, 120.0F)) {
        SCOPED_TRACE(name);
        cv::Mat actual(image.size(), CV_32FC3);
        cv::Mat expected(image.size(), CV_32FC3);
        convertSharpenedBGRtoHPE(image, actual);
        reference::convertSharpenedBGRtoHPE(image, expected);
        EXPECT_MAT_EQUAL(actual, expected);
        cv::Mat inPlace = testing::withGaps(image);
        convertSharpenedBGRtoHPE(inPlace, inPlace);
        EXPECT_MAT_EQUAL(inPlace, expected);
    }
}

TEST(NonLinearities, GiveATenthForNoResponse) {
    cv::Mat FL(1, 1, CV_32F, cv::Scalar(0.464159));
    cv::Mat nl(1, 1, CV_32FC3);
    computeNonLinearities(cv::Mat(1, 1, CV_32FC3, cv::Scalar::all(0)), nl, FL);
    EXPECT_MAT_EQUAL(nl, cv::Mat(1, 1, CV_32FC3, cv::Scalar::all(0.1F)));
}

TEST(NonLinearities, GiveNaNForANegativeResponse) {
    cv::Mat FL(1, 1, CV_32F, cv::Scalar(0.464159));
    cv::Mat nl(1, 1, CV_32FC3);
    computeNonLinearities(cv::Mat(1, 1, CV_32FC3, cv::Scalar(-1e-3, 50, -50)), nl, FL);
    EXPECT_TRUE(std::isnan(nl.at<cv::Vec3f>(0, 0)[0]));
    // 400 t / (t + 27.13) + 0.1 with t = (0.464159 * 50 / 100) ^ 0.42
    const double t = std::pow(0.464159 * 0.5, 0.42);
    EXPECT_NEAR(nl.at<cv::Vec3f>(0, 0)[1], 400 * t / (t + 27.13) + 0.1, 1e-6);
    EXPECT_TRUE(std::isnan(nl.at<cv::Vec3f>(0, 0)[2]));
}

TEST(NonLinearities, AreTheLiteralVersion) {
    auto images = testing::floatImages(3, 0.0F, 120.0F);
    images.push_back({"dense", testing::randomImage({50'000, 2}, 3, 0.0F, 100.0F, 9)});
    for (const auto& [name, image] : images) {
        SCOPED_TRACE(name);
        cv::Mat actual(image.size(), CV_32FC3);
        cv::Mat expected(image.size(), CV_32FC3);
        for (cv::Mat FL : {cv::Mat(image.size(), CV_32F, cv::Scalar(0.46415907F)),
                           testing::randomImage(image.size(), 1, 0.1F, 1.2F, 10)}) {
            computeNonLinearities(image, actual, FL);
            reference::computeNonLinearities(image, expected, FL);
            EXPECT_MAT_EQUAL(actual, expected);
            cv::Mat inPlace = testing::withGaps(image);
            computeNonLinearities(inPlace, inPlace, FL);
            EXPECT_MAT_EQUAL(inPlace, expected);
        }
    }
}

}  // namespace
}  // namespace likeness
