#include <likeness/adaptation/photograph_adaptation.hpp>

#include <likeness/adaptation/d65_adaptation.hpp>
#include <likeness/adaptation/global_adaptation.hpp>
#include <likeness/adaptation/local_adaptation.hpp>
#include <likeness/adaptation/white_image.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include <likeness/color/unit_image.hpp>
#include "support/quiet_call.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <thread>
#include <vector>

namespace likeness {
namespace {

const White someWhite{{0.9, 1.01, 0.6}};
const White otherWhite{{1.1, 0.98, 0.7}};

/// A photograph of more rows than are worked on at once, in all its shapes.
std::vector<cv::Mat> photographs() {
    const cv::Mat bytes = testing::randomPhotograph({23, 71}, 1);
    cv::Mat sixteen;
    bytes.convertTo(sixteen, CV_16U, 257);
    return {bytes,
            sixteen,
            toUnit(bytes),
            testing::withGaps(bytes),
            testing::withGaps(toUnit(bytes)),
            testing::randomPhotograph({1, 1}, 2),
            testing::randomPhotograph({1, 40}, 3),
            testing::randomPhotograph({40, 1}, 4)};
}

/// A sharpened white at every pixel.
cv::Mat uniform(cv::Size size, const White& white) {
    cv::Mat image(size, CV_32FC3, cv::Scalar(white.xyz[0], white.xyz[1], white.xyz[2]));
    convertXYZtoSharpenedBGR(image, image);
    return image;
}

/// To the sharpened image and back, in one piece.
cv::Mat literally(const cv::Mat& photograph, const std::function<void(cv::Mat& sharpened)>& adapt) {
    cv::Mat colors = toUnit(photograph).clone();
    convertBGRToXYZDirect(colors, colors);
    convertXYZtoSharpenedBGR(colors, colors);
    adapt(colors);
    convertSharpenedBGRtoXYZ(colors, colors);
    convertXYZToBGRDirect(colors, colors);
    return colors;
}

cv::Mat xyzOf(const cv::Mat& photograph) {
    cv::Mat xyz = toUnit(photograph).clone();
    convertBGRToXYZDirect(xyz, xyz);
    return xyz;
}

TEST(AdaptToD65, HasTheBitsOfTheLiteralOneUnderOneWhite) {
    for (const cv::Mat& photograph : photographs()) {
        const cv::Mat to =
            testing::quietly(photograph, [](const cv::Mat& image) { return adaptToD65(image, someWhite); });
        EXPECT_MAT_EQUAL(to, literally(photograph, [](cv::Mat& sharpened) {
                             cv::Mat white = uniform(sharpened.size(), someWhite);
                             iCAMCATByD65(sharpened, white, white);
                         }));
        const cv::Mat back =
            testing::quietly(photograph, [](const cv::Mat& image) { return undoD65Adaptation(image, someWhite); });
        EXPECT_MAT_EQUAL(back, literally(photograph, [](cv::Mat& sharpened) {
                             cv::Mat white = uniform(sharpened.size(), someWhite);
                             inverseCATByD65(sharpened, white, white);
                         }));
    }
}

TEST(AdaptToD65, HasTheBitsOfTheLiteralOneUnderAWhiteOfEachPixel) {
    for (const cv::Mat& photograph : photographs()) {
        const cv::Mat whiteXyz = testing::randomImage(photograph.size(), 3, 0.2F, 1.2F, 9);
        const cv::Mat to =
            testing::quietly(photograph, [&](const cv::Mat& image) { return adaptToD65(image, whiteXyz); });
        EXPECT_MAT_EQUAL(to, literally(photograph, [&](cv::Mat& sharpened) {
                             cv::Mat white(whiteXyz.size(), CV_32FC3);
                             convertXYZtoSharpenedBGR(whiteXyz, white);
                             iCAMCATByD65(sharpened, white, white);
                         }));
        const cv::Mat back =
            testing::quietly(photograph, [&](const cv::Mat& image) { return undoD65Adaptation(image, whiteXyz); });
        EXPECT_MAT_EQUAL(back, literally(photograph, [&](cv::Mat& sharpened) {
                             cv::Mat white(whiteXyz.size(), CV_32FC3);
                             convertXYZtoSharpenedBGR(whiteXyz, white);
                             inverseCATByD65(sharpened, white, white);
                         }));
    }
}

TEST(AdaptToD65, TakesTheWhiteOfEachPixelFromThePhotograph) {
    for (const cv::Mat& photograph : photographs()) {
        const cv::Mat own =
            testing::quietly(photograph, [](const cv::Mat& image) { return adaptToD65(image, PixelWhite::own); });
        EXPECT_MAT_EQUAL(own, literally(photograph, [](cv::Mat& sharpened) {
                             cv::Mat white = sharpened.clone();
                             iCAMCATByD65(sharpened, white, white);
                         }));
        const cv::Mat smoothed =
            testing::quietly(photograph, [](const cv::Mat& image) { return adaptToD65(image, PixelWhite::smoothed); });
        EXPECT_MAT_EQUAL(smoothed, literally(photograph, [&](cv::Mat& sharpened) {
                             cv::Mat xyz = xyzOf(photograph);
                             cv::Mat white;
                             computeWhiteImg(xyz, white, 16, dropAll());
                             convertXYZtoSharpenedBGR(white, white);
                             iCAMCATByD65(sharpened, white, xyz);
                         }));
    }
}

TEST(AdaptToD65, LeavesNaNInItsPixel) {
    const cv::Mat photograph = testing::withNaN(testing::randomImage({9, 40}, 3, 0, 1, 5));
    const cv::Mat adapted = adaptToD65(photograph, someWhite);
    EXPECT_EQ(cv::countNonZero(adapted.reshape(1) == adapted.reshape(1)), 3 * 9 * 40 - 3);
}

TEST(AdaptToD65, TakesThePhotographToDaylight) {
    // Under (0.9505, 1, 1.0888) there is nothing to adapt.
    const cv::Mat photograph = testing::randomImage({30, 30}, 3, 0.1F, 1, 6);
    EXPECT_MAT_NEAR(adaptToD65(photograph, White::d65()), photograph, {.absolute = 1e-4});
    const cv::Mat there = adaptToD65(photograph, someWhite);
    EXPECT_GT(cv::norm(there, photograph, cv::NORM_INF), 0.05);
    EXPECT_MAT_NEAR(undoD65Adaptation(there, someWhite), photograph, {.absolute = 1e-4});
}

TEST(UndoAdaptation, HasTheBitsOfTheLiteralOne) {
    for (const cv::Mat& photograph : photographs()) {
        const cv::Mat back = testing::quietly(
            photograph, [](const cv::Mat& image) { return undoAdaptation(image, someWhite, otherWhite); });
        EXPECT_MAT_EQUAL(back, literally(photograph, [](cv::Mat& sharpened) {
                             cv::Mat target = uniform(sharpened.size(), someWhite);
                             cv::Mat source = uniform(sharpened.size(), otherWhite);
                             inverseCAT(sharpened, target, source, sharpened);
                         }));
    }
}

TEST(AdaptTo, HasTheBitsOfTheLiteralOneAsAWhole) {
    const cv::Mat like = testing::randomPhotograph({50, 20}, 11);
    AdaptOptions options;
    for (const double degree : {1.0, 0.6}) {
        options.degree = degree;
        for (const cv::Mat& photograph : photographs()) {
            cv::Mat expected = toUnit(photograph).clone();
            performIlluminantAdaptation(expected, toUnit(like), static_cast<float>(degree), cv::Mat(), dropAll());
            const auto adapt = [&](const cv::Mat& image) { return adaptTo(image, like, options); };
            EXPECT_MAT_EQUAL(testing::quietly(photograph, adapt), expected);
            EXPECT_MAT_EQUAL(adaptTo(photograph, grayWorldWhite(like), options), expected);
        }
    }
}

TEST(AdaptTo, LeavesOutWhatItIsTold) {
    const cv::Mat photograph = testing::exampleImage("cat.jpg");
    const cv::Mat like = testing::examplePhotograph("coffee.jpg");
    AdaptOptions options;
    options.leftOut = cv::Mat::zeros(photograph.size(), CV_8UC1);
    options.leftOut.colRange(0, 100).setTo(255);
    cv::Mat expected = photograph.clone();
    performIlluminantAdaptation(expected, toUnit(like), 1, options.leftOut, dropAll());
    const cv::Mat adapted = adaptTo(photograph, like, options);
    EXPECT_MAT_EQUAL(adapted, expected);
    EXPECT_MAT_EQUAL(adapted.colRange(0, 100), photograph.colRange(0, 100));
}

TEST(AdaptTo, HasTheBitsOfTheLiteralOnePixelByPixel) {
    const cv::Mat like = testing::randomPhotograph({50, 20}, 11);
    AdaptOptions options;
    options.local = true;
    options.blend = 0.7;
    for (const cv::Mat& photograph : photographs()) {
        cv::Mat expected = toUnit(photograph).clone();
        cv::Mat reference = toUnit(like).clone();
        performLocalCAMCA(expected, reference, 0.7F, dropAll());
        const auto adapt = [&](const cv::Mat& image) { return adaptTo(image, like, options); };
        EXPECT_MAT_EQUAL(testing::quietly(photograph, adapt), expected);
        EXPECT_MAT_EQUAL(adaptTo(photograph, grayWorldWhite(like), options), expected);
    }
}

TEST(AdaptTo, TakesOnePhotographForBoth) {
    const cv::Mat photograph = testing::randomImage({20, 20}, 3, 0, 1, 12);
    const cv::Mat before = photograph.clone();
    AdaptOptions local;
    local.local = true;
    adaptTo(photograph, photograph);
    adaptTo(photograph, photograph, local);
    adaptToD65(photograph, photograph);
    EXPECT_MAT_EQUAL(photograph, before);
}

TEST(PhotographAdaptation, GivesNothingOfNothing) {
    const cv::Mat like = testing::randomPhotograph({5, 5}, 1);
    EXPECT_TRUE(adaptToD65(cv::Mat(), someWhite).empty());
    EXPECT_TRUE(adaptToD65(cv::Mat(), cv::Mat()).empty());
    EXPECT_TRUE(adaptToD65(cv::Mat(), PixelWhite::smoothed).empty());
    EXPECT_TRUE(undoD65Adaptation(cv::Mat(), someWhite).empty());
    EXPECT_TRUE(undoAdaptation(cv::Mat(), someWhite, otherWhite).empty());
    EXPECT_TRUE(adaptTo(cv::Mat(), like).empty());
}

TEST(PhotographAdaptation, RefusesWhatItCannotAdapt) {
    const cv::Mat photograph = testing::randomImage({12, 9}, 3, 0, 1, 1);
    const White dark{{1, 0, 1}};
    testing::expectRefusal("white", "above 0", [&] { adaptToD65(photograph, dark); });
    testing::expectRefusal("white", "above 0", [&] { undoD65Adaptation(photograph, dark); });
    testing::expectRefusal("adaptedTo", "above 0", [&] { undoAdaptation(photograph, dark, someWhite); });
    testing::expectRefusal("scene", "above 0", [&] { undoAdaptation(photograph, someWhite, dark); });
    testing::expectRefusal("whiteXyz", "12 x 9", [&] { adaptToD65(photograph, cv::Mat(3, 3, CV_32FC3)); });
    testing::expectRefusal("whiteXyz", "not CV_8UC3", [&] { adaptToD65(photograph, cv::Mat(9, 12, CV_8UC3)); });
    testing::expectRefusal("whiteXyz", "is nan", [&] { adaptToD65(photograph, testing::withNaN(photograph)); });
    testing::expectRefusal("photograph", "not CV_8UC1", [&] { adaptToD65(cv::Mat(2, 2, CV_8UC1), someWhite); });
    testing::expectPhotographChecked("photograph", photograph,
                                     [](const cv::Mat& image) { adaptToD65(image, PixelWhite::smoothed); });
    testing::expectPhotographChecked("photograph", photograph,
                                     [&](const cv::Mat& image) { adaptTo(image, photograph); });
    testing::expectPhotographChecked("like", photograph, [&](const cv::Mat& like) { adaptTo(photograph, like); });
    testing::expectRefusal("like", "empty", [&] { adaptTo(photograph, cv::Mat()); });
    WhiteEstimate light = grayWorldWhite(photograph);
    light.bgr[1] = INFINITY;
    testing::expectRefusal("light", "finite", [&] { adaptTo(photograph, light); });
    for (const double notAbove0 : {0.0, -0.1}) {
        light.bgr[1] = notAbove0;
        testing::expectRefusal("light", "above 0", [&] { adaptTo(photograph, light); });
    }
}

TEST(PhotographAdaptation, RefusesOptionsThatAreOutOfRangeOrDoNotGoTogether) {
    const cv::Mat photograph = testing::randomImage({12, 9}, 3, 0, 1, 1);
    const auto refused = [&](const char* name, const char* words, void (*change)(AdaptOptions&)) {
        AdaptOptions options;
        change(options);
        testing::expectRefusal(name, words, [&] { adaptTo(photograph, photograph, options); });
    };
    refused("degree", "from 0 to 1", [](AdaptOptions& o) { o.degree = 1.5; });
    refused("degree", "nan", [](AdaptOptions& o) { o.degree = NAN; });
    refused("blend", "from 0 to 1", [](AdaptOptions& o) { o.blend = -0.1; });
    refused("blend", "with local", [](AdaptOptions& o) { o.blend = 0.5; });
    refused("leftOut", "CV_8UC1", [](AdaptOptions& o) { o.leftOut = cv::Mat(9, 12, CV_32FC1); });
    refused("leftOut", "12 x 9", [](AdaptOptions& o) { o.leftOut = cv::Mat::zeros(9, 11, CV_8UC1); });
    refused("local", "as a whole", [](AdaptOptions& o) {
        o.local = true;
        o.degree = 0.5;
    });
    refused("local", "as a whole", [](AdaptOptions& o) {
        o.local = true;
        o.leftOut = cv::Mat::zeros(9, 12, CV_8UC1);
    });
}

TEST(PhotographAdaptation, ReportsItsSteps) {
    const cv::Mat photograph = testing::randomImage({12, 70}, 3, 0, 1, 1);
    AdaptOptions local;
    local.local = true;
    const auto steps = [](const std::function<void(const Watch& watch)>& call) { return testing::expectSteps(call); };
    EXPECT_EQ(steps([&](const Watch& w) { adaptToD65(photograph, someWhite, w); }), 3);
    EXPECT_EQ(steps([&](const Watch& w) { adaptToD65(photograph, photograph, w); }), 3);
    EXPECT_EQ(steps([&](const Watch& w) { adaptToD65(photograph, PixelWhite::smoothed, w); }), 4);
    EXPECT_EQ(steps([&](const Watch& w) { undoAdaptation(photograph, someWhite, otherWhite, w); }), 3);
    EXPECT_EQ(steps([&](const Watch& w) { adaptTo(photograph, photograph, local, w); }), 3);
}

TEST(PhotographAdaptation, OfTheWholeEndsAtTheLastStepHoweverFewItNeeds) {
    const cv::Mat photograph = testing::exampleImage("cat.jpg");
    const cv::Mat like = testing::examplePhotograph("coffee.jpg");
    std::vector<int> steps;
    Watch watch;
    watch.progress = [&steps](int done, int total) {
        EXPECT_EQ(total, 80);
        steps.push_back(done);
        return true;
    };
    adaptTo(photograph, like, {}, watch);
    ASSERT_FALSE(steps.empty());
    for (std::size_t k = 0; k + 1 < steps.size(); ++k) {
        EXPECT_EQ(steps[k], static_cast<int>(k) + 1);
    }
    EXPECT_EQ(steps.back(), 80);
    watch.progress = [](int done, int /*total*/) { return done < 2; };
    EXPECT_THROW(adaptTo(photograph, like, {}, watch), Cancelled);
    EXPECT_MAT_EQUAL(photograph, testing::exampleImage("cat.jpg"));
}

TEST(PhotographAdaptation, ShowsWhatTheLiteralOnesShow) {
    const cv::Mat photograph = testing::randomImage({12, 70}, 3, 0, 1, 1);
    const cv::Mat like = testing::randomImage({20, 20}, 3, 0, 1, 2);
    for (const bool local : {false, true}) {
        const testing::ScratchDirectory scratch;
        const DirectoryDiagnostics dumps{std::string()};
        Watch watch;
        watch.diagnostics = &dumps;
        AdaptOptions options;
        options.local = local;
        const std::string actual = testing::printedBy([&] { adaptTo(photograph, like, options, watch); });
        const std::string expected = testing::printedBy([&] {
            cv::Mat adapted = photograph.clone();
            cv::Mat reference = like.clone();
            if (local) {
                performLocalCAMCA(adapted, reference, 1);
            } else {
                performIlluminantAdaptation(adapted, reference, 1);
            }
        });
        EXPECT_EQ(actual, expected);
        EXPECT_EQ(std::filesystem::exists("a_r.jpg"), local);
    }
}

TEST(PhotographAdaptation, RunsOnSeveralThreads) {
    const cv::Mat photograph = testing::randomPhotograph({64, 48}, 7);
    const cv::Mat expected = adaptTo(adaptToD65(photograph, someWhite), photograph);
    cv::Mat results[2];
    std::thread threads[2];
    for (int k = 0; k < 2; ++k) {
        threads[k] = std::thread([&, k] { results[k] = adaptTo(adaptToD65(photograph, someWhite), photograph); });
    }
    for (int k = 0; k < 2; ++k) {
        threads[k].join();
        EXPECT_MAT_EQUAL(results[k], expected);
    }
}

}  // namespace
}  // namespace likeness
