#include <likeness/transport/image_statistics.hpp>

#include "reference/transport_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

namespace reference = likeness::reference;
using likeness::dropAll;
using likeness::testing::floatImages;
using likeness::testing::NamedImage;
using likeness::testing::printedBy;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();

/// Planes or images in the ranges of bytes and of [0, 1], and one in which every third pixel is masked out.
std::vector<NamedImage> images(int channels) {
    std::vector<NamedImage> all = floatImages(channels, -100.0F, 300.0F);
    for (NamedImage& image : floatImages(channels, 0.0F, 1.0F)) {
        image.name += " in 0..1";
        all.push_back(image);
    }
    cv::Mat masked = all.front().image.clone();
    cv::Mat mask(masked.size(), CV_8U, cv::Scalar(0));
    for (int i = 0; i < mask.rows; ++i) {
        for (int j = i % 3; j < mask.cols; j += 3) {
            mask.at<uchar>(i, j) = 1;
        }
    }
    masked.setTo(cv::Scalar::all(nan), mask);
    all.push_back({"masked", masked});
    all.push_back({"all masked", cv::Mat(4, 5, CV_32FC(channels), cv::Scalar::all(nan))});
    cv::Mat large = likeness::testing::randomImage({40, 30}, channels, -3000.0F, 3000.0F, 9);
    all.push_back({"beyond bytes", large});
    return all;
}

void expectSameBits(float actual, float expected) {
    EXPECT_EQ(likeness::testing::ulpDistance(actual, expected), 0) << actual << ", expected " << expected;
}

TEST(TransportMean, IsTheLiteralOneAndPrintsItsLine) {
    for (const auto& [name, plane] : images(1)) {
        SCOPED_TRACE(name);
        float actual = 0;
        float expected = 0;
        const std::string text = printedBy([&, &p = plane] { actual = likeness::computeMean(p); });
        EXPECT_EQ(text, printedBy([&, &p = plane] { expected = reference::computeMean(p); }));
        expectSameBits(actual, expected);
        EXPECT_EQ(printedBy([&p = plane] { likeness::computeMean(p, dropAll()); }), "");
    }
}

TEST(TransportMean, OfMaskedPlaneIsZero) {
    const cv::Mat plane(3, 4, CV_32F, cv::Scalar(nan));
    float mean = -1;
    EXPECT_EQ(printedBy([&] { mean = likeness::computeMean(plane); }), "0 0\n");
    EXPECT_EQ(mean, 0.0F);
}

TEST(TransportMean, SkipsNaNAndPrintsTheSumAsAStreamDoes) {
    const cv::Mat plane = (cv::Mat_<float>(1, 4) << 1.5F, nan, 1234567.0F, 2.5F);
    float mean = 0;
    EXPECT_EQ(printedBy([&] { mean = likeness::computeMean(plane); }), "1.23457e+06 3\n");
    EXPECT_EQ(mean, 1234571.0F / 3.0F);
}

TEST(TransportMean, RunsInFloat) {
    const cv::Mat plane = (cv::Mat_<float>(1, 3) << 16777216.0F, 1.0F, 1.0F);
    EXPECT_EQ(likeness::computeMean(plane, dropAll()), 16777216.0F / 3.0F);
}

TEST(WeightedMean, IsTheLiteralOne) {
    for (const auto& [name, plane] : images(1)) {
        SCOPED_TRACE(name);
        expectSameBits(likeness::computeWeightedMean(plane), reference::computeWeightedMean(plane));
    }
}

TEST(WeightedMean, WeighsByTheFrequencyOfTheRoundedValue) {
    // 1.5 and 2 round to 2 (weight 2/3 each), 7 has weight 1/3: (1.5 * 2 + 2 * 2 + 7) / 5.
    const cv::Mat plane = (cv::Mat_<float>(1, 4) << 1.5F, 2.0F, nan, 7.0F);
    EXPECT_FLOAT_EQ(likeness::computeWeightedMean(plane), 2.8F);
    // Halves go away from zero: -2.5 with -3, not with -2.
    const cv::Mat halves = (cv::Mat_<float>(1, 3) << -2.5F, -3.0F, -2.0F);
    EXPECT_FLOAT_EQ(likeness::computeWeightedMean(halves), -13.0F / 5.0F);
    // Far away values, and both signs of zero in one place.
    const cv::Mat far = (cv::Mat_<float>(1, 4) << 1e6F, 1e6F, -0.0F, 0.0F);
    EXPECT_FLOAT_EQ(likeness::computeWeightedMean(far), 5e5F);
}

TEST(WeightedMean, OfValuesThatRoundToOneIntegerIsTheMean) {
    const cv::Mat plane = (cv::Mat_<float>(2, 2) << 9.75F, 10.25F, 10.0F, 9.5F);
    EXPECT_FLOAT_EQ(likeness::computeWeightedMean(plane), 9.875F);
    EXPECT_FLOAT_EQ(likeness::computeMean(plane, dropAll()), 9.875F);
}

TEST(WeightedMean, OfMaskedPlaneIsNaN) {
    EXPECT_TRUE(std::isnan(likeness::computeWeightedMean(cv::Mat(2, 2, CV_32F, cv::Scalar(nan)))));
}

TEST(WeightedMeanVector, HasWeightedMeansOfChromaOrPlainMeansOfAll) {
    for (const auto& [name, img] : images(3)) {
        SCOPED_TRACE(name);
        for (const int dims : {1, 2, 3}) {
            float actual[] = {-1, -1, -1};
            float expected[] = {-1, -1, -1};
            float* means = actual;
            const std::string text = printedBy([&, &i = img] { likeness::computeWeightedMeanVector(i, means, dims); });
            EXPECT_EQ(text, printedBy([&, &i = img] { reference::computeWeightedMeanVector(i, expected, dims); }));
            for (int k = 0; k < 3; ++k) {
                expectSameBits(actual[k], expected[k]);
            }
            EXPECT_EQ(text.empty(), dims == 2);
        }
    }
}

TEST(WeightedMeanVector, TakesChannels1And2ForTwoDimensions) {
    const cv::Mat img(2, 2, CV_32FC3, cv::Scalar(10, 20, 30));
    float values[] = {0, 0, 0};
    float* means = values;
    likeness::computeWeightedMeanVector(img, means, 2);
    EXPECT_EQ(values[0], 20.0F);
    EXPECT_EQ(values[1], 30.0F);
    EXPECT_EQ(values[2], 0.0F);
    EXPECT_EQ(printedBy([&] { likeness::computeWeightedMeanVector(img, means, 3); }), "40 4\n80 4\n120 4\n");
    EXPECT_EQ(values[0], 10.0F);
    EXPECT_EQ(values[1], 20.0F);
    EXPECT_EQ(values[2], 30.0F);
}

TEST(Variance, IsTheLiteralOne) {
    for (const auto& [name, plane] : images(1)) {
        SCOPED_TRACE(name);
        for (float mean : {0.0F, 0.1F, 97.3F}) {
            expectSameBits(likeness::computeVariance(plane, mean), reference::computeVariance(plane, mean));
        }
    }
}

TEST(Variance, OfKnownValues) {
    const cv::Mat plane = (cv::Mat_<float>(1, 4) << 1, 3, nan, 5);
    float mean = 3;
    EXPECT_FLOAT_EQ(likeness::computeVariance(plane, mean), 8.0F / 3.0F);
    EXPECT_EQ(mean, 3.0F);
    EXPECT_TRUE(std::isnan(likeness::computeVariance(cv::Mat(2, 2, CV_32F, cv::Scalar(nan)), mean)));
}

TEST(Variance, TakesItsSquaresInDouble) {
    const float x = 1.0F + 0x1p-23F;
    float mean = 1;
    EXPECT_EQ(likeness::computeVariance(cv::Mat(1, 1, CV_32F, cv::Scalar(x)), mean), 0x1p-22F + 0x1p-46F);
}

TEST(BetaDistribution, ParametersAreTheLiteralOnesAndPrintTheMean) {
    for (const auto& [name, plane] : images(1)) {
        SCOPED_TRACE(name);
        cv::Mat values = plane;
        float alpha = 0;
        float literalAlpha = 0;
        EXPECT_EQ(printedBy([&] { alpha = likeness::computeAlphaFromBetaDistr(values); }),
                  printedBy([&] { literalAlpha = reference::computeAlphaFromBetaDistr(values); }));
        expectSameBits(alpha, literalAlpha);
        float beta = 0;
        float literalBeta = 0;
        EXPECT_EQ(printedBy([&] { beta = likeness::computeBetaFromBetaDistr(values, 2.5F); }),
                  printedBy([&] { literalBeta = reference::computeBetaFromBetaDistr(values, 2.5F); }));
        expectSameBits(beta, literalBeta);
    }
}

TEST(BetaDistribution, AlphaHasTheVarianceSquared) {
    // Mean 0.5, variance 1/16: (0.5 / (1/256) - 2) / 4 = 31.5; the method of moments itself would give 1.5.
    cv::Mat plane = (cv::Mat_<float>(1, 2) << 0.25F, 0.75F);
    EXPECT_EQ(likeness::computeAlphaFromBetaDistr(plane, dropAll()), 31.5F);
    EXPECT_EQ(likeness::computeBetaFromBetaDistr(plane, 31.5F, dropAll()), 31.5F);
    EXPECT_EQ(likeness::computeBetaDistribution(0.5F, 2.0F, 3.0F), 0.0F);
}

TEST(CovarianceElement, IsTheLiteralOneAndPrintsThreeLines) {
    for (const auto& [name, img] : images(3)) {
        SCOPED_TRACE(name);
        std::vector<cv::Mat> planes;
        cv::split(img, planes);
        float actual = 0;
        float expected = 0;
        EXPECT_EQ(printedBy([&] { actual = likeness::computeCovarianceElement(planes[2], planes[0]); }),
                  printedBy([&] { expected = reference::computeCovarianceElement(planes[2], planes[0]); }));
        expectSameBits(actual, expected);
    }
}

TEST(CovarianceElement, OfKnownValues) {
    const cv::Mat a = (cv::Mat_<float>(1, 3) << 1, 2, 3);
    const cv::Mat b = (cv::Mat_<float>(1, 3) << 10, 10, 40);
    float covariance = 0;
    EXPECT_EQ(printedBy([&] { covariance = likeness::computeCovarianceElement(a, b); }), "6 3\n60 3\n2 20\n");
    EXPECT_EQ(covariance, 15.0F);
}

TEST(CovarianceElement, OfOneValidPixelIsZero) {
    const cv::Mat a = (cv::Mat_<float>(1, 3) << nan, 5, nan);
    const cv::Mat b = (cv::Mat_<float>(1, 3) << 1, 2, 3);
    EXPECT_EQ(likeness::computeCovarianceElement(a, b, dropAll()), 0.0F);
    EXPECT_EQ(likeness::computeCovarianceElement(cv::Mat(2, 2, CV_32F, cv::Scalar(nan)), b, dropAll()), 0.0F);
}

TEST(CovarianceElement, DoesNotAskWhetherTheSecondPlaneIsMasked) {
    const cv::Mat a = (cv::Mat_<float>(1, 3) << 1, 2, 4);
    const cv::Mat b = (cv::Mat_<float>(1, 3) << nan, 2, 3);
    EXPECT_TRUE(std::isnan(likeness::computeCovarianceElement(a, b, dropAll())));
    // The other way round the first pixel is skipped: means 2.5 and 7/3; (-0.5 * (2 - 7/3) + 0.5 * (4 - 7/3)) / 1.
    EXPECT_FLOAT_EQ(likeness::computeCovarianceElement(b, a, dropAll()), 1.0F);
}

TEST(Covariance, IsTheLiteralOneAndPrintsThreeLinesForEveryElement) {
    for (const auto& [name, img] : images(3)) {
        SCOPED_TRACE(name);
        for (const int dims : {1, 2, 3}) {
            cv::Mat actual(dims, dims, CV_32F);
            cv::Mat expected(dims, dims, CV_32F);
            const uchar* const storage = actual.data;
            const std::string text = printedBy([&, &i = img] { likeness::computeCovariance(i, actual, dims); });
            EXPECT_EQ(text, printedBy([&, &i = img] { reference::computeCovariance(i, expected, dims); }));
            EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3 * dims * dims);
            EXPECT_MAT_EQUAL(actual, expected);
            EXPECT_EQ(actual.data, storage);
            EXPECT_EQ(printedBy([&, &i = img] { likeness::computeCovariance(i, actual, dims, dropAll()); }), "");
        }
    }
}

TEST(Covariance, OfPhotographsIsTheLiteralOne) {
    for (const std::string& name : likeness::testing::examplePhotographNames()) {
        const cv::Mat img = likeness::testing::exampleImage(name) * 255;
        cv::Mat actual(3, 3, CV_32F);
        cv::Mat expected(3, 3, CV_32F);
        EXPECT_EQ(printedBy([&] { likeness::computeCovariance(img, actual, 3); }),
                  printedBy([&] { reference::computeCovariance(img, expected, 3); }));
        EXPECT_MAT_EQUAL(actual, expected);
    }
}

TEST(Covariance, RefusesOtherDimensions) {
    cv::Mat cov(4, 4, CV_32F);
    EXPECT_THROW(likeness::computeCovariance(cv::Mat(2, 2, CV_32FC3), cov, 4, dropAll()), cv::Exception);
    EXPECT_THROW(likeness::computeCovariance(cv::Mat(2, 2, CV_32FC3), cov, 0, dropAll()), cv::Exception);
}

TEST(ChannelCovariance, IsOneCovarianceInEveryElement) {
    for (const auto& [name, img] : images(3)) {
        SCOPED_TRACE(name);
        cv::Mat other = likeness::testing::randomImage(img.size(), 1, -20.0F, 90.0F, 5);
        for (const int dims : {1, 2, 3, 4}) {
            cv::Mat actual(dims, dims, CV_32F);
            cv::Mat expected(dims, dims, CV_32F);
            EXPECT_EQ(printedBy([&, &i = img] { likeness::computeChannelCov(i, other, actual, dims); }),
                      printedBy([&, &i = img] { reference::computeChannelCov(i, other, expected, dims); }));
            EXPECT_MAT_EQUAL(actual, expected);
        }
    }
    const cv::Mat img = (cv::Mat_<cv::Vec3f>(1, 3) << cv::Vec3f(1, 7, 7), cv::Vec3f(2, 9, 3), cv::Vec3f(3, 1, 4));
    cv::Mat other = (cv::Mat_<float>(1, 3) << 10, 10, 40);
    cv::Mat cov(2, 2, CV_32F);
    likeness::computeChannelCov(img, other, cov, 2, dropAll());
    EXPECT_MAT_EQUAL(cov, cv::Mat(2, 2, CV_32F, cv::Scalar(15)));
}

TEST(TransportHue, IsTheLiteralOne) {
    for (const auto& [name, img] : images(3)) {
        SCOPED_TRACE(name);
        for (const auto& [first, second] : {std::pair(1, 2), std::pair(2, 0), std::pair(1, 1)}) {
            cv::Mat actual(img.size(), CV_32F);
            cv::Mat expected(img.size(), CV_32F);
            likeness::computeHue(img, actual, first, second);
            reference::computeHue(img, expected, first, second);
            EXPECT_MAT_EQUAL(actual, expected);
        }
    }
}

TEST(TransportHue, OfKnownColors) {
    const cv::Mat src =
        (cv::Mat_<cv::Vec3f>(1, 6) << cv::Vec3f(0, 128, 128), cv::Vec3f(0, 138, 128), cv::Vec3f(0, 128, 138),
         cv::Vec3f(0, 118, 128), cv::Vec3f(0, 128, 118), cv::Vec3f(0, 138, 118));
    cv::Mat hue(1, 6, CV_32F);
    likeness::computeHue(src, hue, 1, 2);
    // 57.29577955857229 is 180 / pi up to the ninth digit only; in float, angles are right nevertheless.
    EXPECT_MAT_NEAR(hue, cv::Mat((cv::Mat_<float>(1, 6) << 0, 0, 90, 180, 270, 315)), {.absolute = 3e-5});
    EXPECT_EQ(hue.at<float>(0, 0), 0.0F);
}

// The correction for angles beyond 360 never acts: an angle just below 0 becomes 360 by rounding, and stays.
TEST(TransportHue, ReachesButNeverPasses360) {
    const float justBelow = std::nextafter(128.0F, 0.0F);
    const cv::Mat src(1, 1, CV_32FC3, cv::Scalar(0, 1e9F, justBelow));
    cv::Mat hue(1, 1, CV_32F);
    likeness::computeHue(src, hue, 1, 2);
    EXPECT_EQ(hue.at<float>(0, 0), 360.0F);
}

}  // namespace
