#include <likeness/transport/color_transfer.hpp>

#include <likeness/color/unit_image.hpp>
#include <likeness/transport/optimal_transport.hpp>
#include "support/quiet_call.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <future>

namespace likeness {
namespace {

using testing::expectRefusal;

constexpr TransferChannels chroma = TransferChannels::chroma;

TransferOptions options(double t, TransferChannels channels, TransferForm form = TransferForm::centered) {
    TransferOptions made;
    made.t = t;
    made.channels = channels;
    made.form = form;
    return made;
}

cv::Mat labOf(const cv::Mat& photograph) {
    cv::Mat lab;
    cv::cvtColor(toUnit(photograph), lab, cv::COLOR_BGR2Lab);
    return lab;
}

cv::Mat bgrOf(const cv::Mat& lab) {
    cv::Mat bgr;
    cv::cvtColor(lab, bgr, cv::COLOR_Lab2BGR);
    return bgr;
}

cv::Mat withChroma(const cv::Mat& lab, const cv::Mat& moved) {
    cv::Mat planes[3];
    cv::Mat movedPlanes[2];
    cv::split(lab, planes);
    cv::split(moved, movedPlanes);
    cv::Mat result;
    cv::merge(std::vector<cv::Mat>{planes[0], movedPlanes[0], movedPlanes[1]}, result);
    return result;
}

/// The road through the given operations.
struct Literal {
    cv::Mat image;
    cv::Mat wholeMap;
    std::string printed;
};

Literal literal(const cv::Mat& photograph, const cv::Mat& palette, double t, int dims) {
    const cv::Mat input = labOf(photograph);
    cv::Mat result(input.size(), CV_32FC(dims));
    cv::Mat inputMeans(1, dims, CV_32F);
    cv::Mat targetMeans(1, dims, CV_32F);
    cv::Mat map(dims, dims, CV_32F);
    cv::Mat unused;
    const std::string printed = testing::printedBy([&] {
        applyOptimalTransport(input, labOf(palette), result, unused, inputMeans, unused, targetMeans, map,
                              static_cast<float>(t), dims);
    });
    return {bgrOf(dims == 2 ? withChroma(input, result) : result), map, printed};
}

cv::Mat literalBonneel(const cv::Mat& photograph, const cv::Mat& palette) {
    const cv::Mat input = labOf(photograph);
    const cv::Mat target = labOf(palette);
    cv::Mat result(input.size(), CV_32FC2);
    cv::Mat inverse(3, 3, CV_32F);
    cv::Mat inputMeans(1, 3, CV_32F);
    cv::Mat covariance(2, 2, CV_32F);
    cv::Mat targetMeans(1, 2, CV_32F);
    cv::Mat map(2, 2, CV_32F);
    applyOptimalTransportBonneel(input, target, result, inverse, inputMeans, covariance, targetMeans, map, 1.0F, 2,
                                 dropAll());
    float* before = inputMeans.ptr<float>(0) + 1;
    float* after = targetMeans.ptr<float>(0);
    computeMapping2DBonneel(input, target, before, after, map, result);
    return bgrOf(withChroma(input, result));
}

const cv::Mat& photograph() {
    static const cv::Mat image = testing::examplePhotograph("coffee.jpg")(cv::Rect(40, 40, 60, 50)).clone();
    return image;
}

const cv::Mat& palette() {
    static const cv::Mat image = testing::examplePhotograph("rocket.jpg")(cv::Rect(80, 60, 70, 40)).clone();
    return image;
}

TEST(TransferColors, IsTheGivenTransferAtEveryPlace) {
    for (const double t : {0.0, 0.3, 1.0}) {
        SCOPED_TRACE(t);
        const auto all = [&](const cv::Mat& image) {
            return transferColors(image, palette(), options(t, TransferChannels::all)).image;
        };
        const auto two = [&](const cv::Mat& image) {
            return transferColors(image, palette(), options(t, chroma)).image;
        };
        EXPECT_MAT_EQUAL(testing::quietly(photograph(), all), literal(photograph(), palette(), t, 3).image);
        EXPECT_MAT_EQUAL(testing::quietly(photograph(), two), literal(photograph(), palette(), t, 2).image);
    }
    EXPECT_MAT_EQUAL(transferColors(photograph(), palette(), options(1, chroma, TransferForm::bonneel)).image,
                     literalBonneel(photograph(), palette()));
}

TEST(TransferColors, TakesEveryDepthAndViews) {
    for (const int depth : {CV_8U, CV_16U, CV_32F, CV_64F}) {
        cv::Mat image;
        photograph().convertTo(image, depth, depth == CV_8U ? 1 : depth == CV_16U ? 257 : 1 / 255.0);
        const cv::Mat expected = literal(image, palette(), 1, 3).image;
        const auto call = [](const cv::Mat& some) { return transferColors(some, palette()).image; };
        EXPECT_MAT_EQUAL(testing::quietly(image, call), expected);
        EXPECT_MAT_EQUAL(testing::quietly(testing::withGaps(image), call), expected);
    }
    EXPECT_MAT_EQUAL(transferColors(photograph(), photograph()).image, literal(photograph(), photograph(), 1, 3).image);
}

TEST(TransferColors, ItsMapGivesTheImage) {
    const cv::Mat lab = labOf(photograph());
    for (const TransferForm form : {TransferForm::centered, TransferForm::bonneel}) {
        for (const TransferChannels channels : {chroma, TransferChannels::all}) {
            for (const double t : {0.4, 1.0}) {
                if (form == TransferForm::bonneel && (channels != chroma || t != 1)) {
                    continue;
                }
                const Transfer transfer = transferColors(photograph(), palette(), options(t, channels, form));
                cv::Mat moved = lab.clone();
                for (cv::Vec3f& color : cv::Mat_<cv::Vec3f>(moved)) {
                    color = form == TransferForm::centered
                                ? transfer.map * (color - transfer.inputMean) + transfer.targetMean
                                : transfer.map * color - transfer.inputMean + transfer.targetMean;
                }
                // Sums in another order: a few units in the last place of values up to 100, through the cube of the
                // conversion back. A missing mean or a transposed map is off by 0.05 and more.
                EXPECT_MAT_NEAR(transfer.image, bgrOf(moved), {.absolute = 1e-4});
            }
        }
    }
}

TEST(TransferColors, TheWholeMapIsTheGivenOne) {
    const cv::Matx33f all = transferColors(photograph(), palette()).map;
    EXPECT_MAT_EQUAL(cv::Mat(all), literal(photograph(), palette(), 0.3, 3).wholeMap);
    const cv::Matx33f two = transferColors(photograph(), palette(), options(1, chroma)).map;
    EXPECT_MAT_EQUAL(cv::Mat(two)(cv::Rect(1, 1, 2, 2)).clone(), literal(photograph(), palette(), 1, 2).wholeMap);
    EXPECT_EQ(two(0, 0), 1.0F);
    EXPECT_EQ(two(0, 1) + two(0, 2) + two(1, 0) + two(2, 0), 0.0F);
}

TEST(ColorTransfer, FramesOfTheWay) {
    const ColorTransfer transfer(photograph(), palette());
    for (const double t : {0.0, 0.5, 1.0, 0.5}) {
        EXPECT_MAT_EQUAL(transfer.apply(t), literal(photograph(), palette(), t, 3).image);
    }
    EXPECT_MAT_EQUAL(transfer.applyTo(photograph(), 0.5), transfer.apply(0.5));
    EXPECT_TRUE(transfer.applyTo(cv::Mat()).empty());
    const cv::Mat other = testing::randomPhotograph({9, 7}, 3);
    const ColorMap map = transfer.map();
    cv::Mat moved = labOf(other);
    for (cv::Vec3f& color : cv::Mat_<cv::Vec3f>(moved)) {
        color = map.matrix * (color - map.inputMean) + map.targetMean;
    }
    EXPECT_MAT_NEAR(transfer.applyTo(other), bgrOf(moved), {.absolute = 1e-4});
}

TEST(ColorTransfer, TellsItsMapAndWhatIsClipped) {
    for (const TransferChannels channels : {chroma, TransferChannels::all}) {
        const ColorTransfer transfer(photograph(), palette(), options(1, channels));
        for (const double t : {0.0, 0.6, 1.0}) {
            const Transfer place = transfer.at(t);
            EXPECT_MAT_EQUAL(place.image, transfer.apply(t));
            const ColorMap map = transfer.map(t);
            EXPECT_EQ(place.map, map.matrix);
            EXPECT_EQ(place.inputMean, map.inputMean);
            EXPECT_EQ(place.targetMean, map.targetMean);
            cv::Mat moved = labOf(photograph());
            for (cv::Vec3f& color : cv::Mat_<cv::Vec3f>(moved)) {
                color = map.matrix * (color - map.inputMean) + map.targetMean;
            }
            const ClippedValues expected = clippedValuesOfLab(moved);
            // Sums in another order may take a color over the rim; the photograph has 3000 pixels.
            EXPECT_NEAR(static_cast<double>(place.clipped.pixels), static_cast<double>(expected.pixels), 3);
            EXPECT_NEAR(static_cast<double>(place.clipped.below), static_cast<double>(expected.below), 3);
            EXPECT_NEAR(static_cast<double>(place.clipped.above), static_cast<double>(expected.above), 3);
        }
        EXPECT_EQ(transfer.at(1).clipped.pixels,
                  transferColors(photograph(), palette(), options(1, channels)).clipped.pixels);
    }
    cv::Mat vivid(4, 4, CV_32FC3, cv::Scalar(0, 0, 1));
    vivid.rowRange(2, 4).setTo(cv::Scalar(1, 0, 0));
    EXPECT_GT(transferColors(photograph(), vivid).clipped.pixels, 100);
    EXPECT_THROW(ColorTransfer(photograph(), palette()).at(1.5), std::invalid_argument);
}

TEST(ColorTransfer, OutlivesItsPhotographs) {
    cv::Mat input = toUnit(photograph()).clone();
    cv::Mat target = toUnit(palette()).clone();
    const ColorTransfer transfer(input, target);
    const cv::Mat expected = transfer.apply(0.7);
    input.setTo(cv::Scalar::all(0));
    target.setTo(cv::Scalar::all(0));
    const ColorTransfer copy = transfer;  // NOLINT(performance-unnecessary-copy-initialization): the copy is the test
    auto other = std::async(std::launch::async, [&] { return copy.apply(0.7); });
    EXPECT_MAT_EQUAL(transfer.apply(0.7), expected);
    EXPECT_MAT_EQUAL(other.get(), expected);
}

TEST(TransferColors, SmallImages) {
    EXPECT_TRUE(transferColors(cv::Mat(), palette()).image.empty());
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(9, 1), cv::Size(1, 9)}) {
        const cv::Mat image = testing::randomPhotograph(size, 3);
        for (const int dims : {2, 3}) {
            const TransferOptions made = options(1, dims == 2 ? chroma : TransferChannels::all);
            EXPECT_MAT_EQUAL(transferColors(image, palette(), made).image, literal(image, palette(), 1, dims).image);
            EXPECT_MAT_EQUAL(transferColors(palette(), image, made).image, literal(palette(), image, 1, dims).image);
        }
    }
}

TEST(TransferColors, RefusesWhatItCannotDo) {
    const cv::Mat valid = toUnit(photograph());
    testing::expectPhotographChecked("photograph", valid,
                                     [](const cv::Mat& wrong) { transferColors(wrong, palette()); });
    testing::expectPhotographChecked("palette", valid,
                                     [](const cv::Mat& wrong) { transferColors(photograph(), wrong); });
    expectRefusal("palette", "empty", [] { transferColors(photograph(), cv::Mat()); });
    expectRefusal("photograph", "empty", [] { ColorTransfer(cv::Mat(), palette()); });
    for (const double t : {-0.1, 1.1, std::numeric_limits<double>::quiet_NaN()}) {
        expectRefusal("t", "from 0 to 1", [t] { transferColors(photograph(), palette(), options(t, chroma)); });
        expectRefusal("t", "from 0 to 1", [t] { ColorTransfer(photograph(), palette()).apply(t); });
    }
    expectRefusal("form", "chroma", [] {
        transferColors(photograph(), palette(), options(1, TransferChannels::all, TransferForm::bonneel));
    });
    expectRefusal("t", "whole way",
                  [] { transferColors(photograph(), palette(), options(0.5, chroma, TransferForm::bonneel)); });
}

TEST(TransferColors, ItsCallerHearsOfItAndEndsIt) {
    EXPECT_EQ(testing::expectSteps([](const Watch& watch) { transferColors(photograph(), palette(), {}, watch); }), 5);
    EXPECT_EQ(testing::expectSteps([](const Watch& watch) { ColorTransfer(photograph(), palette(), {}, watch); }), 2);
    const ColorTransfer transfer(photograph(), palette());
    EXPECT_EQ(testing::expectSteps([&](const Watch& watch) { transfer.apply(0.5, watch); }), 2);
    EXPECT_EQ(testing::expectSteps([&](const Watch& watch) { transfer.at(0.5, watch); }), 3);
    EXPECT_EQ(testing::expectSteps([&](const Watch& watch) { transfer.applyTo(palette(), 0.5, watch); }), 3);
}

TEST(TransferColors, TellsItsReceiverTheStatistics) {
    Watch watch;
    watch.diagnostics = &workingDirectory();
    for (const int dims : {2, 3}) {
        EXPECT_EQ(testing::printedBy([&] {
                      transferColors(photograph(), palette(), options(1, dims == 2 ? chroma : TransferChannels::all),
                                     watch);
                  }),
                  literal(photograph(), palette(), 1, dims).printed);
    }
}

}  // namespace
}  // namespace likeness
