#include <likeness/color/pixel_weights.hpp>

#include <likeness/color/unit_image.hpp>
#include <likeness/color/white_point.hpp>
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace likeness {
namespace {

using Shape = PhotographRegion::Shape;

PhotographRegion rectangle(double x, double y, double width, double height) {
    return {Shape::rectangle, {x, false}, {y, false}, {width, false}, {height, false}};
}

std::string refusalOf(const cv::Mat& mask) {
    try {
        PixelWeights::ofMask(mask);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "none";
}

TEST(PixelWeights, OfAMaskOfAnyDepthAreTheSame) {
    const cv::Mat bytes = (cv::Mat_<uchar>(2, 3) << 0, 51, 102, 153, 204, 255);
    const cv::Mat expected = (cv::Mat_<ushort>(2, 3) << 0, 13107, 26214, 39321, 52428, 65535);
    cv::Mat floats;
    bytes.convertTo(floats, CV_32F, 1 / 255.0);
    cv::Mat doubles;
    bytes.convertTo(doubles, CV_64F, 1 / 255.0);
    cv::Mat three;
    cv::merge(std::vector<cv::Mat>(3, bytes), three);
    for (const cv::Mat& mask : {bytes, expected, floats, doubles, three, testing::withGaps(bytes)}) {
        const PixelWeights weights = PixelWeights::ofMask(mask);
        EXPECT_EQ(cv::countNonZero(weights.map() != expected), 0) << mask.type();
        EXPECT_EQ(weights.counted(), 5);
        EXPECT_EQ(weights.pixels(), 3);  // 0.2 + 0.4 + 0.6 + 0.8 + 1
        EXPECT_EQ(weights.wholePixels(), 3);
        EXPECT_FALSE(weights.areBinary());
        EXPECT_FALSE(weights.countAll());
    }
}

TEST(PixelWeights, RefuseWhatIsNoMask) {
    EXPECT_EQ(refusalOf(cv::Mat()), "mask: it is empty");
    EXPECT_NE(refusalOf(cv::Mat(2, 2, CV_8UC2)).find("one channel, or three"), std::string::npos);
    EXPECT_NE(refusalOf(cv::Mat(2, 2, CV_8UC4)).find("one channel, or three"), std::string::npos);
    EXPECT_NE(refusalOf(cv::Mat(2, 2, CV_8SC1)).find("8 or 16 bits"), std::string::npos);
    cv::Mat colored(2, 2, CV_16UC3, cv::Scalar::all(9));
    colored.at<cv::Vec3w>(1, 0)[2] = 10;
    EXPECT_EQ(refusalOf(colored), "mask: its three channels differ at row 1, column 0: a mask is grey");
    for (const float value : {-0.001F, 1.001F, std::numeric_limits<float>::quiet_NaN()}) {
        cv::Mat floats(2, 2, CV_32F, cv::Scalar(1));
        floats.at<float>(0, 1) = value;
        EXPECT_EQ(refusalOf(floats), "mask: its floats must be from 0 to 1, and that at row 0, column 1 is not");
        cv::Mat three;
        cv::merge(std::vector<cv::Mat>(3, floats), three);
        EXPECT_EQ(refusalOf(three), "mask: its floats must be from 0 to 1, and that at row 0, column 1 is not");
    }
}

TEST(PixelWeights, OfRectanglesAreThoseOfTheirPixels) {
    const PixelWeights weights = PixelWeights::ofRegions(
        {10, 8}, {rectangle(2, 1, 3, 2), {Shape::rectangle, {50, true}, {50, true}, {100, true}, {25, true}}});
    cv::Mat expected(8, 10, CV_16U, cv::Scalar(0));
    expected(cv::Rect(2, 1, 3, 2)) = 65535;
    expected(cv::Rect(5, 4, 5, 2)) = 65535;  // the half of its width beyond the photograph is cut off
    EXPECT_EQ(cv::countNonZero(weights.map() != expected), 0);
    EXPECT_TRUE(weights.areBinary());
    EXPECT_EQ(weights.counted(), 16);
    EXPECT_TRUE(PixelWeights::ofRegions({3, 2}, {rectangle(-5, -5, 100, 100)}).countAll());
    // The centre decides: that of column 1 is at 1.5.
    EXPECT_EQ(PixelWeights::ofRegions({4, 1}, {rectangle(0.5, 0, 1, 1)}).map().at<ushort>(0, 0), 65535);
    EXPECT_EQ(PixelWeights::ofRegions({4, 1}, {rectangle(0.5, 0, 1, 1)}).map().at<ushort>(0, 1), 0);
}

TEST(PixelWeights, OfAnEllipseAreTheCentresWithin) {
    const cv::Size size(31, 22);
    const PhotographRegion region{Shape::ellipse, {3.5, false}, {10, true}, {20, false}, {70, true}};
    const PixelWeights weights = PixelWeights::ofRegions(size, {region});
    for (int i = 0; i < size.height; ++i) {
        for (int j = 0; j < size.width; ++j) {
            const double u = (j + 0.5 - 13.5) / 10;
            const double v = (i + 0.5 - 9.9) / 7.7;
            EXPECT_EQ(weights.map().at<ushort>(i, j), u * u + v * v <= 1 ? 65535 : 0) << i << ' ' << j;
        }
    }
    EXPECT_NEAR(weights.pixels(), 3.14159 * 10 * 7.7, 10);
    // A pixel whose centre is the right end of the ellipse.
    EXPECT_EQ(
        PixelWeights::ofRegions({4, 1}, {{Shape::ellipse, {0.5, false}, {0, false}, {2, false}, {1, false}}}).counted(),
        3);
}

TEST(PixelWeights, RefuseRegionsWithoutPixels) {
    for (const PhotographRegion& region :
         {rectangle(10, 0, 5, 5), rectangle(-5, 0, 5, 5), rectangle(1.6, 1.6, 0.5, 0.5), rectangle(0, 8, 3, 3)}) {
        EXPECT_THROW(PixelWeights::ofRegions({10, 8}, {region}), std::invalid_argument);
    }
    EXPECT_THROW(PixelWeights::ofRegions({10, 8}, {rectangle(0, 0, 0, 3)}), std::invalid_argument);
    EXPECT_THROW(PixelWeights::ofRegions({10, 8}, {rectangle(0, 0, 3, 0)}), std::invalid_argument);
    EXPECT_THROW(PixelWeights::ofRegions({10, 8}, {rectangle(0, std::nan(""), 1, 3)}), std::invalid_argument);
    EXPECT_THROW(PixelWeights::ofRegions({10, 8}, {}), std::invalid_argument);
    EXPECT_THROW(PixelWeights::ofRegions({0, 0}, {rectangle(0, 0, 1, 1)}), std::invalid_argument);
    EXPECT_THROW(PixelWeights::centered({}), std::invalid_argument);
}

TEST(PixelWeights, OfTheMiddleAreAGaussian) {
    const PixelWeights weights = PixelWeights::centered({401, 201});
    EXPECT_EQ(weights.map().at<ushort>(100, 200), 65535);
    // Two standard deviations from the middle, but for half a pixel; exp(-2) and exp(-4) of 65535.
    EXPECT_NEAR(weights.map().at<ushort>(100, 0), 8869.2, 100);
    EXPECT_NEAR(weights.map().at<ushort>(0, 0), 1200.3, 40);
    EXPECT_EQ(weights.counted(), 401 * 201);
    EXPECT_EQ(PixelWeights::centered({1, 1}).map().at<ushort>(0, 0), 65535);
}

TEST(PixelWeights, MultiplyRounded) {
    const PixelWeights a = PixelWeights::ofMask((cv::Mat_<ushort>(1, 4) << 65535, 32768, 1, 40000));
    const PixelWeights b = PixelWeights::ofMask((cv::Mat_<ushort>(1, 4) << 12345, 32768, 32768, 50000));
    const cv::Mat expected = (cv::Mat_<ushort>(1, 4) << 12345, 16384, 1, 30518);
    EXPECT_EQ(cv::countNonZero(a.times(b).map() != expected), 0);
    EXPECT_EQ(cv::countNonZero(b.times(a).map() != expected), 0);
    EXPECT_EQ(PixelWeights().times(a).map().data, a.map().data);
    EXPECT_EQ(a.times({}).map().data, a.map().data);
    EXPECT_THROW(a.times(PixelWeights::centered({5, 1})), std::invalid_argument);
}

TEST(PixelWeights, TakeThePixelsThatCount) {
    const cv::Mat image = testing::randomPhotograph({7, 5}, 3);
    cv::Mat mask(5, 7, CV_8U, cv::Scalar(0));
    std::vector<cv::Vec3b> expected;
    for (int i = 0; i < 5; ++i) {
        for (int j = 0; j < 7; ++j) {
            if ((i * 7 + j) % 3 != 1) {
                mask.at<uchar>(i, j) = 255;
                expected.push_back(image.at<cv::Vec3b>(i, j));
            }
        }
    }
    const PixelWeights weights = PixelWeights::ofMask(mask);
    const cv::Mat counted = weights.countedOf(testing::withGaps(image));
    ASSERT_EQ(counted.size(), cv::Size(static_cast<int>(expected.size()), 1));
    EXPECT_EQ(std::vector<cv::Vec3b>(counted.begin<cv::Vec3b>(), counted.end<cv::Vec3b>()), expected);
    EXPECT_EQ(PixelWeights().countedOf(image).data, image.data);
    EXPECT_EQ(PixelWeights::ofMask(cv::Mat(5, 7, CV_8U, cv::Scalar(255))).countedOf(image).data, image.data);
    EXPECT_THROW(weights.countedOf(image.t()), std::invalid_argument);
    EXPECT_THROW(PixelWeights::ofMask(cv::Mat(5, 7, CV_8U, cv::Scalar(0))).countedOf(image), NothingCounts);
}

TEST(PixelWeights, RefusalsNameBothSizes) {
    try {
        PixelWeights::centered({4, 3}).require("photograph", cv::Mat(30, 20, CV_8UC3));
        FAIL();
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "photograph: it is 20 x 30 pixels, and the weights of its pixels are 4 x 3: they must be of one "
                     "size");
    }
}

TEST(GrayWorldWhite, IsThatOfThePixelsThatCount) {
    const cv::Mat cat = testing::exampleImage("cat.jpg");
    const PixelWeights all = PixelWeights::ofMask(cv::Mat(cat.size(), CV_8U, cv::Scalar(255)));
    EXPECT_EQ(grayWorldWhite(PhotographPart{cat, all}).yuv, grayWorldWhite(cat).yuv);
    EXPECT_EQ(grayWorldWhite(PhotographPart{cat, {}}).bgr, grayWorldWhite(cat).bgr);
    const cv::Rect part(100, 50, 120, 90);
    const PixelWeights weights = PixelWeights::ofRegions(cat.size(), {rectangle(100, 50, 120, 90)});
    const WhiteEstimate expected = grayWorldWhite(cat(part).clone());
    const WhiteEstimate found = grayWorldWhite(PhotographPart{cat, weights});
    EXPECT_EQ(found.yuv, expected.yuv);
    EXPECT_EQ(found.bgr, expected.bgr);
    EXPECT_TRUE(found.found);
}

TEST(GrayWorldWhite, OfWeightsIsTheWeightedMean) {
    // Two nearly neutral colours; a third that is not has no part in it.
    const cv::Mat image =
        (cv::Mat_<cv::Vec3f>(1, 3) << cv::Vec3f(0.5F, 0.5F, 0.52F), cv::Vec3f(0.55F, 0.5F, 0.5F), cv::Vec3f(0, 0, 1));
    const auto yuvOf = [&](int j) { return grayWorldWhite(image.col(j).clone()).yuv; };
    const PixelWeights weights = PixelWeights::ofMask((cv::Mat_<ushort>(1, 3) << 10000, 30000, 65535));
    const WhiteEstimate found = grayWorldWhite(PhotographPart{image, weights});
    for (int c = 1; c < 3; ++c) {
        // Means of floats: within some units of the last place.
        EXPECT_NEAR(found.yuv[c], (yuvOf(0)[c] + 3 * yuvOf(1)[c]) / 4, 1e-6);
    }
    EXPECT_GT(std::abs(found.yuv[1] - yuvOf(0)[1]), 1e-3);
    const PixelWeights colored = PixelWeights::ofMask((cv::Mat_<ushort>(1, 3) << 0, 0, 100));
    EXPECT_FALSE(grayWorldWhite(PhotographPart{image, colored}).found);
}

}  // namespace
}  // namespace likeness
