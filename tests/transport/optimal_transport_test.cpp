#include <likeness/transport/optimal_transport.hpp>

#include <likeness/transport/closed_form_map.hpp>
#include <likeness/transport/image_statistics.hpp>
#include "reference/transport_reference.hpp"
#include "support/covariances.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace {

namespace reference = likeness::reference;
using likeness::dropAll;
using likeness::testing::floatImages;
using likeness::testing::printedBy;
using likeness::testing::relativeDifference;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float untouched = -77;

/// In the library's L*a*b*, a quarter of its size.
cv::Mat labPhotograph(const std::string& name) {
    cv::Mat image = likeness::testing::exampleImage(name);
    cv::resize(image, image, {}, 0.25, 0.25, cv::INTER_AREA);
    cv::Mat lab;
    cv::cvtColor(image, lab, cv::COLOR_BGR2Lab);
    return lab;
}

struct Outputs {
    cv::Mat result;
    cv::Mat inpCovInv{3, 3, CV_32F, cv::Scalar(untouched)};
    cv::Mat inpMeanRow{1, 3, CV_32F, cv::Scalar(untouched)};
    cv::Mat tarCov2{2, 2, CV_32F, cv::Scalar(untouched)};
    cv::Mat tarMeanRow{1, 3, CV_32F, cv::Scalar(untouched)};
    cv::Mat transportMat;

    Outputs(cv::Size size, int dims) : result(size, CV_32FC(dims)), transportMat(dims, dims, CV_32F) {}
};

Outputs transfer(const cv::Mat& input, const cv::Mat& target, float t, int dims,
                 const likeness::Diagnostics& diagnostics = dropAll()) {
    Outputs out(input.size(), dims);
    likeness::applyOptimalTransport(input, target, out.result, out.inpCovInv, out.inpMeanRow, out.tarCov2,
                                    out.tarMeanRow, out.transportMat, t, dims, diagnostics);
    return out;
}

Outputs transferBonneel(const cv::Mat& input, const cv::Mat& target, float t, int dims,
                        const likeness::Diagnostics& diagnostics = dropAll()) {
    Outputs out(input.size(), dims);
    likeness::applyOptimalTransportBonneel(input, target, out.result, out.inpCovInv, out.inpMeanRow, out.tarCov2,
                                           out.tarMeanRow, out.transportMat, t, dims, diagnostics);
    return out;
}

Outputs literalTransfer(const cv::Mat& input, const cv::Mat& target, float t, int dims) {
    Outputs out(input.size(), dims);
    reference::applyOptimalTransport(input, target, out.result, out.inpMeanRow, out.tarMeanRow, out.transportMat, t,
                                     dims);
    return out;
}

Outputs literalTransferBonneel(const cv::Mat& input, const cv::Mat& target, float t, int dims) {
    Outputs out(input.size(), dims);
    reference::applyOptimalTransportBonneel(input, target, out.result, out.inpCovInv, out.inpMeanRow, out.tarCov2,
                                            out.tarMeanRow, out.transportMat, t, dims);
    return out;
}

/// Covariance of the channels that take part, of an image or of a result of two channels.
cv::Mat covarianceOf(const cv::Mat& img, int dims) {
    cv::Mat channels = img;
    if (img.channels() == 2) {
        cv::Mat planes[] = {img, cv::Mat::zeros(img.size(), CV_32F)};
        channels.create(img.size(), CV_32FC3);
        const int fromTo[] = {0, 1, 1, 2, 2, 0};
        cv::mixChannels(planes, 2, &channels, 1, fromTo, 3);
    }
    cv::Mat covariance(dims, dims, CV_32F);
    likeness::computeCovariance(channels, covariance, dims, dropAll());
    return covariance;
}

/// Two photographs' worth of colours with all variances well above the map's floor, and moderate correlations.
cv::Mat colors(std::uint64_t seed) {
    cv::Mat noise = likeness::testing::randomImage({80, 60}, 3, -30.0F, 30.0F, seed);
    const float shift = seed % 2 == 0 ? 12.0F : -7.0F;
    const cv::Matx33f mix = seed % 2 == 0 ? cv::Matx33f(0.6F, 0.2F, 0, 0.1F, 0.8F, -0.2F, 0, 0.3F, 0.7F)
                                          : cv::Matx33f(1, -0.1F, 0.2F, 0.3F, 0.5F, 0, -0.1F, 0, 0.9F);
    cv::Mat mixed;
    cv::transform(noise, mixed, mix);
    return mixed + cv::Scalar(50, shift, -shift);
}

cv::Mat withMaskedPixels(const cv::Mat& img) {
    cv::Mat masked = img.clone();
    for (int i = 0; i < masked.rows; ++i) {
        for (int j = i % 5; j < masked.cols; j += 5) {
            masked.at<cv::Vec3f>(i, j) = cv::Vec3f::all(nan);
        }
    }
    return masked;
}

TEST(Mapping, IsTheLiteralOne) {
    float inp[] = {-3.25F, 17.5F, 0.3F};
    float tar[] = {9.1F, -40.75F, 2.2F};
    float* inpMeans = inp;
    float* tarMeans = tar;
    const cv::Mat T = (cv::Mat_<float>(3, 3) << 1.1F, 0.2F, -0.3F, 0.17F, 0.9F, 0.4F, -0.33F, 0.41F, 1.7F);
    for (const auto& [name, img] : floatImages(3, -100.0F, 100.0F)) {
        SCOPED_TRACE(name);
        cv::Mat actual(img.size(), CV_32FC2);
        cv::Mat expected(img.size(), CV_32FC2);
        likeness::computeMapping2D(img, img, inpMeans, tarMeans, T, actual);
        reference::computeMapping2D(img, inp, tar, T, expected);
        EXPECT_MAT_EQUAL(actual, expected);
        likeness::computeMapping2DBonneel(img, img, inpMeans, tarMeans, T, actual);
        reference::computeMapping2DBonneel(img, inp, tar, T, expected);
        EXPECT_MAT_EQUAL(actual, expected);
        cv::Mat actual3(img.size(), CV_32FC3);
        cv::Mat expected3(img.size(), CV_32FC3);
        const uchar* const storage = actual3.data;
        likeness::computeMapping3D(img, img, inpMeans, tarMeans, T, actual3);
        reference::computeMapping3D(img, inp, tar, T, expected3);
        EXPECT_MAT_EQUAL(actual3, expected3);
        EXPECT_EQ(actual3.data, storage);
    }
}

TEST(Mapping, OfKnownValues) {
    const cv::Mat img(1, 1, CV_32FC3, cv::Scalar(100, 5, 7));
    const cv::Mat T = (cv::Mat_<float>(3, 3) << 2, 3, 4, 5, 6, 7, 8, 9, 10);
    float inp[] = {1, 2, 3};
    float tar[] = {10, 20, 30};
    float* inpMeans = inp;
    float* tarMeans = tar;
    cv::Mat result(1, 1, CV_32FC2);
    likeness::computeMapping2D(img, img, inpMeans, tarMeans, T, result);
    EXPECT_EQ(result.at<cv::Vec2f>(0, 0), cv::Vec2f(2 * 4 + 3 * 5 + 10, 5 * 4 + 6 * 5 + 20));
    likeness::computeMapping2DBonneel(img, img, inpMeans, tarMeans, T, result);
    EXPECT_EQ(result.at<cv::Vec2f>(0, 0), cv::Vec2f(2 * 5 + 3 * 7 - 1 + 10, 5 * 5 + 6 * 7 - 2 + 20));
    cv::Mat result3(1, 1, CV_32FC3);
    likeness::computeMapping3D(img, img, inpMeans, tarMeans, T, result3);
    EXPECT_EQ(result3.at<cv::Vec3f>(0, 0),
              cv::Vec3f(2 * 99 + 3 * 3 + 4 * 4 + 10, 5 * 99 + 6 * 3 + 7 * 4 + 20, 8 * 99 + 9 * 3 + 10 * 4 + 30));
}

TEST(Mapping, OfTwoDimensionsAsksChannelKForNaNNotTheChromaChannel) {
    const cv::Mat img = (cv::Mat_<cv::Vec3f>(1, 3) << cv::Vec3f(nan, 5, 7), cv::Vec3f(1, nan, 7), cv::Vec3f(1, 5, nan));
    const cv::Mat T = cv::Mat::eye(2, 2, CV_32F);
    float zeros[] = {0, 0};
    float* means = zeros;
    cv::Mat result(1, 3, CV_32FC2);
    likeness::computeMapping2D(img, img, means, means, T, result);
    EXPECT_TRUE(std::isnan(result.at<cv::Vec2f>(0, 0)[0]));  // lightness is NaN, the chroma is not
    EXPECT_EQ(result.at<cv::Vec2f>(0, 0)[1], 7.0F);
    // A chroma channel that is NaN reaches both results through the sum.
    for (const int j : {1, 2}) {
        EXPECT_TRUE(std::isnan(result.at<cv::Vec2f>(0, j)[0]));
        EXPECT_TRUE(std::isnan(result.at<cv::Vec2f>(0, j)[1]));
    }
}

TEST(NewValue, IsTheMapOfOnePixel) {
    cv::Mat img(2, 2, CV_32FC3, cv::Scalar(100, 0, 0));
    img.at<cv::Vec3f>(1, 0) = {100, 5, 7};
    cv::Mat T = (cv::Mat_<float>(2, 2) << 2, 3, 5, 6);
    cv::Mat inpMean = (cv::Mat_<float>(1, 2) << 1, 2);
    cv::Mat tarMean = (cv::Mat_<float>(1, 2) << 10, 20);
    cv::Mat value(1, 2, CV_32F);
    likeness::computeNewValue2D(img, value, inpMean, tarMean, T, 1, 0);
    EXPECT_MAT_EQUAL(value, cv::Mat((cv::Mat_<float>(1, 2) << 10 + 4 * 2 + 5 * 3, 20 + 4 * 5 + 5 * 6)));
    likeness::computeNewValue2DBonneel(img, value, inpMean, tarMean, T, 1, 0);
    EXPECT_MAT_EQUAL(value, cv::Mat((cv::Mat_<float>(1, 2) << 10 + (5 * 2 + 7 * 3 - 1), 20 + (5 * 5 + 7 * 6 - 2))));
}

TEST(NewValue, SumsInItsOwnOrderAndDoesNotAskForNaN) {
    cv::Mat img(1, 1, CV_32FC3, cv::Scalar(nan, 16777216.0F, 1));
    cv::Mat T = (cv::Mat_<float>(2, 2) << -1, 1, 1, 1);
    cv::Mat zero = cv::Mat::zeros(1, 2, CV_32F);
    cv::Mat large(1, 2, CV_32F, cv::Scalar(16777216.0F));
    cv::Mat value(1, 2, CV_32F);
    // (2^24 - 2^24) + 1; the order of the mapping, (-2^24 + 1) + 2^24, gives 1 too, but 2^24 + 1 + 2^24 loses the 1.
    likeness::computeNewValue2D(img, value, zero, large, T, 0, 0);
    EXPECT_EQ(value.at<float>(0, 0), 1.0F);
    EXPECT_EQ(value.at<float>(0, 1), 33554432.0F);
    // 2^24 + (-2^24 + 1 - 0).
    likeness::computeNewValue2DBonneel(img, value, zero, large, T, 0, 0);
    EXPECT_EQ(value.at<float>(0, 0), 1.0F);
}

TEST(GeodesicPath, IsTheLiteralOne) {
    cv::RNG random(3);
    for (const int dims : {2, 3}) {
        for (const float t : {0.0F, 0.25F, 0.7F, 1.0F, 1.5F}) {
            cv::Mat inpCov = likeness::testing::randomCovariance(dims, 5, 20, random);
            cv::Mat tarCov = likeness::testing::randomCovariance(dims, 5, 20, random);
            cv::Mat literalTarCov = tarCov.clone();
            cv::Mat T(dims, dims, CV_32F);
            likeness::closedFormMatrix(inpCov, tarCov, T, dims);
            cv::Mat literalT = T.clone();
            float inp[] = {3.3F, -8.1F, 60.0F};
            float tar[] = {-2.7F, 12.9F, 40.0F};
            float literalTar[] = {-2.7F, 12.9F, 40.0F};
            const cv::Mat inpCovBefore = inpCov.clone();
            likeness::computeGeodesicPath(inp, tar, inpCov, tarCov, T, t, dims);
            reference::computeGeodesicPath(inp, literalTar, inpCov, literalTarCov, literalT, t, dims);
            for (int i = 0; i < 3; ++i) {
                EXPECT_EQ(tar[i], literalTar[i]);
            }
            EXPECT_EQ(inp[0], 3.3F);
            EXPECT_MAT_EQUAL(tarCov, literalTarCov);
            EXPECT_MAT_EQUAL(inpCov, inpCovBefore);
            EXPECT_LE(relativeDifference(T, literalT), 1e-4);
        }
    }
}

TEST(GeodesicPath, BeginsAtTheInput) {
    cv::Mat inpCov = (cv::Mat_<float>(2, 2) << 40, 5, 5, 20);
    cv::Mat tarCov = (cv::Mat_<float>(2, 2) << 10, -3, -3, 60);
    cv::Mat T(2, 2, CV_32F);
    likeness::closedFormMatrix(inpCov, tarCov, T, 2);
    float inp[] = {1, 2};
    float tar[] = {5, 9};
    likeness::computeGeodesicPath(inp, tar, inpCov, tarCov, T, 0, 2);
    EXPECT_EQ(tar[0], 1.0F);
    EXPECT_EQ(tar[1], 2.0F);
    EXPECT_MAT_EQUAL(tarCov, inpCov);
    EXPECT_MAT_NEAR(T, cv::Mat::eye(2, 2, CV_32F), {.absolute = 1e-6});

    // The floor of the variances shrinks a channel of little variance, at the beginning of the path too.
    inpCov = (cv::Mat_<float>(2, 2) << 40, 0, 0, 1.875F);
    likeness::closedFormMatrix(inpCov, tarCov, T, 2);
    likeness::computeGeodesicPath(inp, tar, inpCov, tarCov, T, 0, 2);
    EXPECT_MAT_NEAR(T, cv::Mat((cv::Mat_<float>(2, 2) << 1, 0, 0, 0.5F)), {.absolute = 1e-6});
}

TEST(GeodesicPath, MeetsThePathOfGaussiansInBetween) {
    cv::RNG random(5);
    for (const int dims : {2, 3}) {
        cv::Mat inpCov = likeness::testing::randomCovariance(dims, 5, 20, random);
        const cv::Mat end = likeness::testing::randomCovariance(dims, 5, 20, random);
        cv::Mat whole(dims, dims, CV_32F);
        likeness::closedFormMatrix(inpCov, end, whole, dims);
        for (const float t : {0.0F, 0.25F, 0.5F, 0.75F, 1.0F}) {
            cv::Mat T = whole.clone();
            cv::Mat tarCov = end.clone();
            float inp[] = {0, 0, 0};
            float tar[] = {8, 4, -4};
            likeness::computeGeodesicPath(inp, tar, inpCov, tarCov, T, t, dims);
            EXPECT_FLOAT_EQ(tar[0], 8 * t);
            // The map to a point of the path is the straight way from the identity to the whole map.
            const cv::Mat straight = t * whole + (1 - t) * cv::Mat::eye(dims, dims, CV_32F);
            EXPECT_LE(relativeDifference(T, straight), 2e-5);
            EXPECT_LE(relativeDifference(T * inpCov * T, tarCov), 2e-5);
        }
    }
}

using Cases = ::testing::TestWithParam<std::tuple<int, float>>;

class Transfer : public Cases {
protected:
    int dims() const { return std::get<0>(GetParam()); }
    float t() const { return std::get<1>(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(OptimalTransport, Transfer,
                         ::testing::Combine(::testing::Values(2, 3), ::testing::Values(0.0F, 0.4F, 1.0F)));

void expectTransfer(const Outputs& actual, const Outputs& expected) {
    EXPECT_MAT_EQUAL(actual.inpCovInv, expected.inpCovInv);
    EXPECT_MAT_EQUAL(actual.inpMeanRow, expected.inpMeanRow);
    EXPECT_MAT_EQUAL(actual.tarCov2, expected.tarCov2);
    EXPECT_MAT_EQUAL(actual.tarMeanRow, expected.tarMeanRow);
    EXPECT_LE(relativeDifference(actual.transportMat, expected.transportMat), 1e-4);
    // Colours within 200 of their mean, most of it the rounding of the literal map; measured 1.3e-4.
    EXPECT_MAT_NEAR(actual.result, expected.result, {.absolute = 2e-3});
}

TEST_P(Transfer, IsTheLiteralOneAndPrintsWhatItPrints) {
    std::vector<std::pair<cv::Mat, cv::Mat>> pairs = {
        {colors(1), colors(2)},
        {withMaskedPixels(colors(3)), colors(4)(cv::Rect(3, 5, 41, 37))},
        {labPhotograph("coffee.jpg"), labPhotograph("rocket.jpg")},
        {labPhotograph("cat.jpg"), labPhotograph("retina.jpg")},
    };
    for (const auto& [input, target] : pairs) {
        Outputs actual(input.size(), dims());
        Outputs expected(input.size(), dims());
        EXPECT_EQ(printedBy([&, &in = input, &tar = target] {
                      actual = transfer(in, tar, t(), dims(), likeness::workingDirectory());
                  }),
                  printedBy([&, &in = input, &tar = target] { expected = literalTransfer(in, tar, t(), dims()); }));
        expectTransfer(actual, expected);
        EXPECT_EQ(
            printedBy([&, &in = input, &tar = target] {
                actual = transferBonneel(in, tar, t(), dims(), likeness::workingDirectory());
            }),
            printedBy([&, &in = input, &tar = target] { expected = literalTransferBonneel(in, tar, t(), dims()); }));
        expectTransfer(actual, expected);
        EXPECT_EQ(printedBy([&, &in = input, &tar = target] {
                      transfer(in, tar, t(), dims());
                      transferBonneel(in, tar, t(), dims());
                  }),
                  "");
    }
}

TEST_P(Transfer, KeepsTheMapOfTheWholeTransferForTheCaller) {
    const Outputs partWay = transfer(colors(1), colors(2), t(), dims());
    const Outputs whole = transfer(colors(1), colors(2), 1, dims());
    EXPECT_MAT_EQUAL(partWay.transportMat, whole.transportMat);
    EXPECT_MAT_EQUAL(transferBonneel(colors(1), colors(2), t(), dims()).transportMat, whole.transportMat);
    EXPECT_MAT_EQUAL(transferBonneel(colors(1), colors(2), t(), dims()).result,
                     transfer(colors(1), colors(2), t(), dims()).result);
}

TEST_P(Transfer, CarriesTheCovarianceAlongThePath) {
    const cv::Mat input = colors(1);
    const Outputs out = transfer(input, colors(2), t(), dims());
    const cv::Mat step = t() * out.transportMat + (1 - t()) * cv::Mat::eye(dims(), dims(), CV_32F);
    // Float sums over 4800 pixels and rounded colours: measured 1.3e-6.
    EXPECT_LE(relativeDifference(covarianceOf(out.result, dims()), step * covarianceOf(input, dims()) * step), 1e-5);
    if (t() == 1) {
        EXPECT_LE(relativeDifference(covarianceOf(out.result, dims()), covarianceOf(colors(2), dims())), 1e-5);
    }
}

TEST_P(Transfer, OntoItselfKeepsThePhotograph) {
    const cv::Mat input = colors(1);
    const Outputs out = transfer(input, input, t(), dims());
    cv::Mat expected = input;
    if (dims() == 2) {
        std::vector<cv::Mat> planes;
        cv::split(input, planes);
        planes.erase(planes.begin());
        cv::merge(planes, expected);
    }
    EXPECT_MAT_NEAR(out.result, expected, {.absolute = 1e-4});
}

TEST_P(Transfer, LeavesMaskedPixelsMaskedAndOutOfTheStatistics) {
    const cv::Mat input = withMaskedPixels(colors(1));
    const Outputs out = transfer(input, withMaskedPixels(colors(2)), t(), dims());
    std::vector<cv::Mat> planes;
    cv::split(out.result, planes);
    for (int i = 0; i < input.rows; ++i) {
        for (int j = 0; j < input.cols; ++j) {
            for (const cv::Mat& plane : planes) {
                ASSERT_EQ(std::isnan(plane.at<float>(i, j)), std::isnan(input.at<cv::Vec3f>(i, j)[0]));
            }
        }
    }
}

TEST(OptimalTransport, AtTheBeginningOfThePathReproducesTheInput) {
    const cv::Mat input = colors(1);
    EXPECT_MAT_NEAR(transfer(input, colors(2), 0, 3).result, input, {.absolute = 1e-4});
}

TEST(OptimalTransport, HasTheMeanOfTheTargetAtTheEnd) {
    const cv::Mat target = colors(2);
    const Outputs out = transfer(colors(1), target, 1, 3);
    const cv::Scalar actual = cv::mean(out.result);
    const cv::Scalar expected = cv::mean(target);
    for (int k = 0; k < 3; ++k) {
        EXPECT_NEAR(actual[k], expected[k], 1e-3);
    }
}

TEST(OptimalTransport, TakesNaNAsAPositionOnThePathAndGivesNaN) {
    for (const int dims : {2, 3}) {
        const Outputs out = transfer(colors(1), colors(2), nan, dims);
        EXPECT_EQ(cv::countNonZero(out.result.reshape(1) == out.result.reshape(1)), 0);
        EXPECT_LE(relativeDifference(out.transportMat, transfer(colors(1), colors(2), 1, dims).transportMat), 0);
    }
}

TEST(OptimalTransport, MeanRowsBeginAtChannel1AndStopAtTheLast) {
    const cv::Mat input(4, 4, CV_32FC3, cv::Scalar(10, 20, 30));
    const cv::Mat target(2, 3, CV_32FC3, cv::Scalar(11, 21, 31));
    for (const int dims : {2, 3}) {
        const Outputs out = transfer(input, target, 1, dims);
        EXPECT_MAT_EQUAL(out.inpMeanRow, cv::Mat((cv::Mat_<float>(1, 3) << 20, 30, untouched)));
        EXPECT_MAT_EQUAL(out.tarMeanRow, cv::Mat((cv::Mat_<float>(1, 3) << 21, 31, untouched)));
        EXPECT_MAT_EQUAL(out.inpCovInv, cv::Mat(3, 3, CV_32F, cv::Scalar(untouched)));
        EXPECT_MAT_EQUAL(out.tarCov2, cv::Mat(2, 2, CV_32F, cv::Scalar(untouched)));
        const Outputs bonneel = transferBonneel(input, target, 1, dims);
        EXPECT_MAT_EQUAL(bonneel.inpMeanRow, cv::Mat((cv::Mat_<float>(1, 3) << 10, 20, 30)));
        EXPECT_MAT_EQUAL(bonneel.tarMeanRow, cv::Mat((cv::Mat_<float>(1, 3) << 21, 31, untouched)));
        EXPECT_MAT_EQUAL(bonneel.inpCovInv, cv::Mat::zeros(3, 3, CV_32F));  // singular
        EXPECT_MAT_EQUAL(bonneel.tarCov2, cv::Mat::zeros(2, 2, CV_32F));
    }
}

TEST(OptimalTransport, MeanRowsMayBeAsShortAsDims) {
    const cv::Mat input = colors(1);
    Outputs out(input.size(), 2);
    out.inpMeanRow.create(1, 2, CV_32F);
    out.tarMeanRow.create(1, 2, CV_32F);
    likeness::applyOptimalTransport(input, input, out.result, out.inpCovInv, out.inpMeanRow, out.tarCov2,
                                    out.tarMeanRow, out.transportMat, 1, 2, dropAll());
    cv::Mat plane;
    cv::extractChannel(input, plane, 2);
    EXPECT_EQ(out.tarMeanRow.at<float>(0, 1), likeness::computeWeightedMean(plane));
}

TEST(OptimalTransport, GivesTheInverseAndTheChromaCovarianceInPlace) {
    const cv::Mat input = colors(1);
    const cv::Mat target = colors(2);
    Outputs out(input.size(), 2);
    const uchar* const inverse = out.inpCovInv.data;
    const uchar* const result = out.result.data;
    likeness::applyOptimalTransportBonneel(input, target, out.result, out.inpCovInv, out.inpMeanRow, out.tarCov2,
                                           out.tarMeanRow, out.transportMat, 0.5F, 2, dropAll());
    EXPECT_EQ(out.inpCovInv.data, inverse);
    EXPECT_EQ(out.result.data, result);
    EXPECT_LE(relativeDifference(out.inpCovInv * covarianceOf(input, 3), cv::Mat::eye(3, 3, CV_32F)), 1e-5);
    EXPECT_MAT_EQUAL(out.tarCov2, covarianceOf(target, 2));
}

TEST(OptimalTransport, PrintsTheTwoMatricesAfterTheirStatistics) {
    const cv::Mat input = (cv::Mat_<cv::Vec3f>(1, 2) << cv::Vec3f(0, 1, 3), cv::Vec3f(0, 3, 5));
    const cv::Mat target = (cv::Mat_<cv::Vec3f>(1, 2) << cv::Vec3f(0, 2, 0.5F), cv::Vec3f(0, 2, 1.5F));
    const std::string text = printedBy([&] { transferBonneel(input, target, 1, 2, likeness::workingDirectory()); });
    EXPECT_EQ(text.substr(0, 20), "4 2\n4 2\n2 2\n4 2\n8 2\n");
    EXPECT_NE(text.find("[2, 2;\n 2, 2] inpCovs\n[0, 0;\n 0, 0.5] tarCovs\n0 2\n0 2\n0 0\n"), std::string::npos);
}

TEST(OptimalTransport, RefusesOtherDimensions) {
    for (const int dims : {1, 4}) {
        EXPECT_THROW(transfer(colors(1), colors(2), 1, dims), cv::Exception);
        EXPECT_THROW(transferBonneel(colors(1), colors(2), 1, dims), cv::Exception);
    }
}

}  // namespace
