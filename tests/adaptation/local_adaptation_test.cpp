#include <likeness/adaptation/local_adaptation.hpp>

#include <likeness/color/bgr_xyz.hpp>
#include "reference/local_adaptation_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>

namespace likeness {
namespace {

using testing::contentOf;
using testing::pixel;
using testing::printedBy;
using testing::ScratchDirectory;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr double D = 0.5624595;  // computeAdapFactD(0.2), for a white of Y = 1
constexpr double rounding = 3e-7;

cv::Mat constant(float value, cv::Size size = {5, 4}) {
    return {size, CV_32FC3, cv::Scalar::all(static_cast<double>(value))};
}

void plain(cv::Mat& img, cv::Mat sourceWhite, cv::Mat targetWhite, float blend, bool perPixel) {
    cv::Mat unread;
    iCAMCAT(img, sourceWhite, targetWhite, unread, unread, blend, perPixel);
}

void local(cv::Mat& img, cv::Mat sourceWhite, cv::Mat targetWhite, cv::Mat mask, float blend, bool perPixel) {
    cv::Mat unread;
    iCAMCATLocal(img, sourceWhite, targetWhite, unread, unread, mask, blend, perPixel);
}

/// Every other pixel takes part, as any value but 0.
cv::Mat checkered(cv::Size size) {
    cv::Mat mask(size, CV_8U);
    for (int i = 0; i < size.height; ++i) {
        for (int j = 0; j < size.width; ++j) {
            mask.at<uchar>(i, j) = (i + j) % 2 == 0 ? 0 : static_cast<uchar>(1 + (i * 7 + j) % 255);
        }
    }
    return mask;
}

void expectLiteral(const cv::Mat& img, const cv::Mat& sourceWhite) {
    const cv::Mat targetImage = testing::randomImage(img.size(), 3, -0.1F, 1, 21);
    const cv::Mat mask = checkered(img.size());
    const cv::Mat sourceBefore = sourceWhite.clone();
    for (const bool perPixel : {false, true}) {
        SCOPED_TRACE(perPixel);
        const cv::Mat target = perPixel ? targetImage : pixel(1.08F, 1.03F, 0.95F);
        for (const float blend : {0.0F, 0.3F, 1.0F}) {
            SCOPED_TRACE(blend);
            cv::Mat adapted = testing::withGaps(img);
            cv::Mat expected = img.clone();
            plain(adapted, sourceWhite, target, blend, perPixel);
            reference::iCAMCAT(expected, sourceWhite, target, blend, perPixel);
            EXPECT_MAT_EQUAL(adapted, expected);

            cv::Mat locallyAdapted = img.clone();
            expected = img.clone();
            local(locallyAdapted, sourceWhite, target, mask, blend, perPixel);
            reference::iCAMCATLocal(expected, sourceWhite, target, mask, blend, perPixel);
            EXPECT_MAT_EQUAL(locallyAdapted, expected);
        }
    }
    EXPECT_MAT_EQUAL(sourceWhite, sourceBefore);
}

TEST(LocalAdaptation, IsTheLiteralOneOnMadeImages) {
    for (const float white : {1.0F, 255.0F, 5e3F}) {
        for (const testing::NamedImage& made : testing::floatImages(3, 0, white)) {
            SCOPED_TRACE(made.name + " up to " + std::to_string(white));
            expectLiteral(made.image, testing::randomImage(made.image.size(), 3, 0.1F, 1, 20));
            expectLiteral(testing::randomImage(made.image.size(), 3, 0, 1, 20), made.image);
        }
    }
}

TEST(LocalAdaptation, IsTheLiteralOneOnPhotographs) {
    for (const std::string& name : testing::examplePhotographNames()) {
        SCOPED_TRACE(name);
        const cv::Mat image = testing::exampleImage(name);
        cv::Mat flipped;
        cv::flip(image, flipped, 0);
        expectLiteral(image, flipped);
    }
}

TEST(LocalAdaptation, GainsByHand) {
    // A sharpened white of (1, 1, 1) has Y = 1. r = D target / source.
    const auto gain = [](auto adapt, float blend, bool perPixel) {
        cv::Mat img = constant(0.5F);
        adapt(img, constant(1), perPixel ? constant(2) : pixel(2, 2, 2), blend, perPixel);
        return img.at<cv::Vec3f>(3, 4)[1] / 0.5;
    };
    const auto locally = [](cv::Mat& img, const cv::Mat& source, const cv::Mat& target, float blend, bool perPixel) {
        local(img, source, target, cv::Mat(4, 5, CV_8U, cv::Scalar(1)), blend, perPixel);
    };
    EXPECT_NEAR(gain(plain, 1.0F, false), 1 + D, rounding);
    EXPECT_NEAR(gain(plain, 0.5F, false), 1 + 0.5 * D, rounding);
    EXPECT_NEAR(gain(plain, 0.0F, false), 1, rounding);
    EXPECT_NEAR(gain(plain, 0.5F, true), 1 + D, 2e-6) << "no blend; 1e-6 guards the white";
    EXPECT_NEAR(gain(locally, 1.0F, false), 1 + 0.3 * D, rounding);
    EXPECT_NEAR(gain(locally, 0.5F, false), 1 + 0.15 * D, rounding);
    EXPECT_NEAR(gain(locally, 0.5F, true), 1 + 0.3 * D, 2e-6);
}

TEST(LocalAdaptation, AWhiteThatIsTheTargetChangesNothing) {
    const cv::Mat before = testing::exampleImage("coffee.jpg");
    cv::Mat img = before.clone();
    plain(img, cv::Mat(img.size(), CV_32FC3, cv::Scalar(1.0871774, 1.0353699, 0.9493053)),
          pixel(1.0871774F, 1.0353699F, 0.9493053F), 1, false);
    EXPECT_MAT_NEAR(img, before, {.absolute = 1.2e-7});
}

TEST(LocalAdaptation, AWhiteOfZero) {
    cv::Mat img = constant(0.5F);
    plain(img, constant(0), constant(1), 1, true);
    EXPECT_NEAR(img.at<cv::Vec3f>(0, 0)[0], 0.5 * (561507.3 + 0.438), 0.1) << "D(0) / 1e-6";
    img = constant(0.5F);
    plain(img, constant(0), pixel(1, 1, 1), 1, false);
    EXPECT_EQ(img.at<cv::Vec3f>(0, 0)[0], infinity);
    img = constant(0.5F);
    plain(img, constant(0), pixel(1, 1, 1), 0, false);
    EXPECT_TRUE(std::isnan(img.at<cv::Vec3f>(0, 0)[0]));
    img = constant(0.5F);
    local(img, constant(0), pixel(1, 1, 1), cv::Mat(), 1, false);
    EXPECT_EQ(img.at<cv::Vec3f>(0, 0)[0], infinity);
}

TEST(LocalAdaptation, AMaskOfZerosLeavesTheImage) {
    const cv::Mat before = testing::randomImage({23, 17}, 3, 0, 1, 3);
    cv::Mat img = before.clone();
    local(img, constant(0.4F, img.size()), pixel(1, 1, 1), cv::Mat::zeros(img.size(), CV_8U), 1, false);
    EXPECT_MAT_EQUAL(img, before);
}

TEST(LocalAdaptation, PixelsBeyondTheMaskTakePart) {
    const cv::Mat before = testing::randomImage({9, 7}, 3, 0.2F, 1, 3);
    const cv::Mat source = testing::randomImage({9, 7}, 3, 0.2F, 1, 4);
    cv::Mat everywhere = before.clone();
    local(everywhere, source, pixel(1, 1, 1), cv::Mat(before.size(), CV_8U, cv::Scalar(255)), 1, false);
    cv::Mat unmasked = before.clone();
    local(unmasked, source, pixel(1, 1, 1), cv::Mat(), 1, false);
    EXPECT_MAT_EQUAL(unmasked, everywhere);

    cv::Mat partly = before.clone();
    local(partly, source, pixel(1, 1, 1), cv::Mat::zeros(3, 4, CV_8U), 1, false);
    before(cv::Rect(0, 0, 4, 3)).copyTo(everywhere(cv::Rect(0, 0, 4, 3)));
    EXPECT_MAT_EQUAL(partly, everywhere);
}

TEST(LocalAdaptation, PixelsThatNotAllImagesHaveStay) {
    const cv::Mat before = testing::randomImage({9, 40}, 3, 0.2F, 1, 3);
    const cv::Mat source = testing::randomImage({6, 50}, 3, 0.2F, 1, 4);
    const cv::Mat target = testing::randomImage({12, 35}, 3, 0.2F, 1, 5);
    for (const bool perPixel : {false, true}) {
        cv::Mat img = before.clone();
        plain(img, source, target, 0.6F, perPixel);
        const cv::Rect common(0, 0, 6, perPixel ? 35 : 40);
        cv::Mat expected = before.clone();
        cv::Mat part = before(common).clone();
        reference::iCAMCAT(part, source(cv::Rect(0, 0, 6, common.height)), target, 0.6F, perPixel);
        part.copyTo(expected(common));
        EXPECT_MAT_EQUAL(img, expected);
    }
}

TEST(LocalAdaptation, AnImageMayBeItsOwnWhite) {
    const cv::Mat before = testing::randomImage({33, 37}, 3, 0.01F, 1, 3);
    cv::Mat img = before.clone();
    cv::Mat expected = before.clone();
    plain(img, img, img, 1, true);
    plain(expected, before.clone(), before.clone(), 1, true);
    EXPECT_MAT_EQUAL(img, expected);
}

TEST(AreImgsEqualivalent, ValuesByHand) {
    cv::Mat image = testing::randomImage({20, 10}, 3, 0, 1, 8);
    EXPECT_FALSE(areImgsEqualivalent(image, image)) << "identical images have not converged: meant";
    cv::Mat zero = constant(0);
    const auto isCloseTo = [&zero](double difference) {
        cv::Mat other(zero.size(), CV_32FC3, cv::Scalar(0, difference, 0));
        return areImgsEqualivalent(zero, other);
    };
    EXPECT_TRUE(isCloseTo(3.1622777e-4)) << "squared 1e-7";
    EXPECT_TRUE(isCloseTo(0.99e-3));
    EXPECT_FALSE(isCloseTo(1.01e-3));
    EXPECT_FALSE(isCloseTo(1));
    cv::Mat inAllChannels = constant(0.6e-3F);
    EXPECT_FALSE(areImgsEqualivalent(zero, inAllChannels)) << "the channels' sum, 1.08e-6, is what counts";
}

TEST(AreImgsEqualivalent, SkipsNaN) {
    cv::Mat first = constant(0.5F);
    cv::Mat second = constant(0.5F);
    first.at<cv::Vec3f>(1, 1) = {nan, 0.5F, nan};
    second.at<cv::Vec3f>(2, 3) = {0.5F, nan, 0.5F};
    EXPECT_FALSE(areImgsEqualivalent(first, second)) << "no difference is left";
    second.at<cv::Vec3f>(0, 0)[2] = 0.5001F;
    EXPECT_TRUE(areImgsEqualivalent(first, second));
    cv::Mat unknown = constant(nan);
    EXPECT_FALSE(areImgsEqualivalent(first, unknown));
}

TEST(AreImgsEqualivalent, ASumThatIsNaNCountsAsConverged) {
    cv::Mat first = constant(0.5F);
    first.at<cv::Vec3f>(1, 1)[0] = infinity;
    cv::Mat second = first.clone();
    EXPECT_TRUE(areImgsEqualivalent(first, second));
    second.at<cv::Vec3f>(1, 1)[0] = 0;
    EXPECT_FALSE(areImgsEqualivalent(first, second)) << "an infinite sum does not";
}

TEST(AreImgsEqualivalent, IsTheLiteralOne) {
    for (const testing::NamedImage& made : testing::floatImages(3, 0, 1)) {
        SCOPED_TRACE(made.name);
        for (const double step : {0.0, 1e-5, 5.7e-4, 5.8e-4, 0.1}) {
            cv::Mat first = made.image;
            cv::Mat second = made.image + cv::Scalar::all(step);
            EXPECT_EQ(areImgsEqualivalent(first, second), reference::areImgsEqualivalent(first, second)) << step;
        }
    }
}

TEST(AreImgsEqualivalent, ComparesWhatBothHave) {
    cv::Mat first = constant(0.5F, {4, 10});
    cv::Mat second = constant(0.5F, {10, 4});
    EXPECT_FALSE(areImgsEqualivalent(first, second));
    EXPECT_FALSE(areImgsEqualivalent(second, first));
    second.at<cv::Vec3f>(0, 0)[0] = 0.506F;
    // 3.6e-5 over the 40 pixels of the first image, not the 16 that both have.
    EXPECT_TRUE(areImgsEqualivalent(first, second));
}

const char* const dumpNames[] = {"0R.jpg", "0G.jpg", "0B.jpg", "cov_a_r.jpg", "a_r.jpg", "a_g.jpg", "a_b.jpg", "b.jpg"};

void expectLiteralPhotograph(const cv::Mat& photograph, cv::Mat reference, float blend) {
    const ScratchDirectory expectedFiles;
    const ScratchDirectory files;
    cv::Mat expected = photograph.clone();
    std::string expectedText;
    const int passes =
        reference::performLocalCAMCA(expected, reference, blend, expectedFiles.path().string(), expectedText);
    EXPECT_EQ(passes, 1);
    const cv::Mat referenceBefore = reference.clone();
    cv::Mat img = photograph.clone();
    const std::string printed = printedBy([&] { performLocalCAMCA(img, reference, blend); });
    EXPECT_MAT_EQUAL(img, expected);
    EXPECT_MAT_EQUAL(reference, referenceBefore);
    EXPECT_EQ(printed, expectedText);
    for (const char* const name : dumpNames) {
        EXPECT_EQ(contentOf(name), contentOf(expectedFiles.path() / name)) << name;
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(files.path()), {}), 8);
}

TEST(PerformLocalCAMCA, IsTheLiteralOne) {
    const cv::Mat cat = testing::exampleImage("cat.jpg");
    const cv::Mat rocket = testing::exampleImage("rocket.jpg");
    expectLiteralPhotograph(cat, rocket, 0.7F);
    expectLiteralPhotograph(rocket, cat, 1);
    expectLiteralPhotograph(testing::randomImage({37, 41}, 3, 0, 1, 1), cat, 0);
    expectLiteralPhotograph(testing::randomImage({1, 1}, 3, 0, 1, 1), testing::randomImage({60, 2}, 3, 0, 1, 1), 0.5F);
}

TEST(PerformLocalCAMCA, WithoutTheReferencesShareNothingChanges) {
    const cv::Mat before = testing::exampleImage("coffee.jpg") * 0.9 + cv::Scalar::all(0.05);
    cv::Mat img = before.clone();
    cv::Mat reference = testing::exampleImage("cat.jpg");
    performLocalCAMCA(img, reference, 0, dropAll());
    EXPECT_MAT_NEAR(img, before, {.absolute = 2e-6});
}

TEST(PerformLocalCAMCA, OnePassByHand) {
    // A grey image is its own local white: grey 0.25 has the luminance 0.0508761, and D there is 0.5615558. A reference
    // without neutral pixels has the white (0.93, 1, 1) in B, G, R, of luminance 1 - 0.0722 (1 - 0.8481) = 0.98903. A
    // pass at 3/10 mixes the two in each cone and so in Y; a second one would go on.
    cv::Mat img = constant(0.25F, {40, 40});
    cv::Mat reference(30, 30, CV_32FC3, cv::Scalar(0, 0, 1));
    performLocalCAMCA(img, reference, 1, dropAll());
    cv::Mat xyz(img.size(), CV_32FC3);
    convertBGRToXYZDirect(img, xyz);
    const double expected = 0.0508761 * (1 - 0.3 * 0.5615558) + 0.3 * 0.5615558 * 0.98903;
    EXPECT_NEAR(xyz.at<cv::Vec3f>(20, 20)[1], expected, 2e-5);
}

TEST(PerformLocalCAMCA, PhotographsOfBytesAreTakenFromZeroToOne) {
    cv::Mat img = testing::examplePhotograph("cat.jpg");
    cv::Mat reference = testing::examplePhotograph("rocket.jpg");
    const auto scaled = [](const cv::Mat& bytes) {
        cv::Mat result(bytes.size(), CV_32FC3);
        for (int i = 0; i < bytes.rows; ++i) {
            for (int j = 0; j < 3 * bytes.cols; ++j) {
                result.ptr<float>(i)[j] = static_cast<float>(bytes.ptr<uchar>(i)[j] / 255.0);
            }
        }
        return result;
    };
    cv::Mat expected = scaled(img);
    cv::Mat floatReference = scaled(reference);
    performLocalCAMCA(expected, floatReference, 0.5F, dropAll());
    const cv::Mat before = reference.clone();
    performLocalCAMCA(img, reference, 0.5F, dropAll());
    EXPECT_MAT_EQUAL(img, expected);
    EXPECT_MAT_EQUAL(reference, before);
}

TEST(PerformLocalCAMCA, AMaskFileHasNoEffectAndNothingIsShownWhereNothingIsWanted) {
    const ScratchDirectory scratch;
    cv::Mat reference = testing::exampleImage("rocket.jpg");
    cv::Mat without = testing::exampleImage("cat.jpg");
    cv::Mat with = without.clone();
    EXPECT_EQ(printedBy([&] { performLocalCAMCA(without, reference, 0.5F, dropAll()); }), "");
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
    std::filesystem::create_directory("Masks");
    std::filesystem::copy_file(std::string(LIKENESS_EXAMPLE_PHOTOGRAPHS) + "/cat.jpg", "Masks/giantShadow.jpg");
    performLocalCAMCA(with, reference, 0.5F, dropAll());
    EXPECT_MAT_EQUAL(with, without);
}

}  // namespace
}  // namespace likeness
