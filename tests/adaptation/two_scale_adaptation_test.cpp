#include <likeness/adaptation/two_scale_adaptation.hpp>

#include <likeness/adaptation/d65_adaptation.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include "reference/two_scale_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <map>

namespace likeness {
namespace {

using testing::contentOf;
using testing::printedBy;
using testing::ScratchDirectory;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr double D = 0.6471822;  // computeAdapFactD(20)
constexpr double rounding = 3e-7;

/// Keeps what it is handed.
class Recorder final : public Diagnostics {
public:
    bool wantsFiles() const noexcept override { return true; }
    bool wantsMessages() const noexcept override { return true; }
    void writeImage(const std::string& name, const cv::Mat& image) const override { images[name] = image.clone(); }
    void writeMap(const std::string& name, const cv::Mat& map, int rows, int cols) const override {
        images[name] = map(cv::Rect(0, 0, cols, rows)).clone();
    }
    std::unique_ptr<TextDump> openText(const std::string& name) const override {
        opened.push_back(name);
        return dropAll().openText(name);
    }
    void print(std::string_view text) const override { printed += text; }

    mutable std::map<std::string, cv::Mat> images;
    mutable std::vector<std::string> opened;
    mutable std::string printed;
};

cv::Mat constant(double value, cv::Size size = {5, 4}) {
    return {size, CV_32FC3, cv::Scalar::all(value)};
}

void tint(cv::Mat& image, cv::Mat white, cv::Mat target, const Diagnostics& diagnostics = workingDirectory()) {
    cv::Mat unread;
    biCAT(image, white, unread, target, unread, diagnostics);
}

/// Result, lines and files are the literal ones, and the files no others.
void expectSameFiles(const std::filesystem::path& expected) {
    for (const auto& file : std::filesystem::directory_iterator(expected)) {
        const std::string name = file.path().filename().string();
        EXPECT_EQ(contentOf(name), contentOf(file.path())) << name;
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}),
              std::distance(std::filesystem::directory_iterator(expected), {}));
}

void expectLiteralTint(const cv::Mat& image, const cv::Mat& white, const cv::Mat& target) {
    const ScratchDirectory expectedFiles;
    const ScratchDirectory files;
    cv::Mat expected = image.clone();
    std::string expectedText;
    reference::biCAT(expected, white, target, expectedFiles.path().string(), expectedText);
    cv::Mat adapted = testing::withGaps(image);
    const std::string printed = printedBy([&] { tint(adapted, white, target); });
    EXPECT_MAT_EQUAL(adapted, expected);
    EXPECT_EQ(printed, expectedText);
    expectSameFiles(expectedFiles.path());
    cv::Mat silently = image.clone();
    tint(silently, white, target, dropAll());
    EXPECT_MAT_EQUAL(silently, expected);
}

TEST(BiCAT, IsTheLiteralOneOnMadeImages) {
    for (const testing::NamedImage& made : testing::floatImages(3, 0, 1)) {
        SCOPED_TRACE(made.name);
        const cv::Mat other = testing::randomImage(made.image.size(), 3, 0, 1, 31);
        const cv::Mat third = testing::randomImage(made.image.size(), 3, 0, 1, 32);
        expectLiteralTint(made.image, other, third);
        expectLiteralTint(other, made.image, third);
        expectLiteralTint(other, third, made.image);
    }
}

TEST(BiCAT, IsTheLiteralOneOnPhotographs) {
    for (const std::string& name : testing::examplePhotographNames()) {
        SCOPED_TRACE(name);
        const cv::Mat image = testing::exampleImage(name);
        cv::Mat white;
        cv::GaussianBlur(image, white, {31, 31}, 0);
        cv::Mat flipped;
        cv::flip(image, flipped, 1);
        expectLiteralTint(image, white, flipped);
    }
}

TEST(BiCAT, AppliesTheDegreeOfAdaptationTwice) {
    cv::Mat image = constant(0.5);
    tint(image, constant(0.25), constant(0.75), dropAll());
    EXPECT_NEAR(image.at<cv::Vec3f>(1, 1)[0], 0.5 * (1 - D + D * (1 - D + D * 3)), rounding);
    // Once would give 0.5 (1 - D + 3 D) = 1.147.
    EXPECT_NEAR(image.at<cv::Vec3f>(1, 1)[0], 0.918845, 1e-6);
    cv::Mat same = constant(0.5);
    tint(same, constant(0.25), constant(0.25), dropAll());
    EXPECT_MAT_NEAR(same, constant(0.5), {.absolute = 1.2e-7});
}

TEST(BiCAT, DarkWhitesAreRaised) {
    const auto ratioUnder = [](double white) {
        const Recorder recorder;
        cv::Mat image = constant(1);
        tint(image, constant(white), constant(0.5), recorder);
        return recorder.images["catRatio.txt"].at<float>(2, 3);
    };
    EXPECT_EQ(ratioUnder(0), 25.0F) << "0.5 / 0.02";
    EXPECT_EQ(ratioUnder(-0.01), 50.0F);
    EXPECT_NEAR(ratioUnder(0.00099), 0.5 / 0.02099, 1e-5);
    EXPECT_NEAR(ratioUnder(0.001), 500, 1e-3) << "the float nearest to 0.001 is not below it";
    EXPECT_NEAR(ratioUnder(0.00101), 0.5 / 0.00101, 1e-3);
}

TEST(BiCAT, OnlyTheLastChannelSurvivesInItsFiles) {
    const ScratchDirectory scratch;
    cv::Mat image(3, 2, CV_32FC3, cv::Scalar::all(0.5));
    cv::Mat white(3, 2, CV_32FC3, cv::Scalar::all(0.5));
    cv::Mat target(3, 2, CV_32FC3, cv::Scalar(0.1, 0.2, 0.25));
    target.at<cv::Vec3f>(2, 0)[2] = 1;
    const std::string printed = printedBy([&] { tint(image, white, target); });
    EXPECT_EQ(contentOf("catRatio.txt"), "0.5\n0.5\n0.5\n0.5\n2\n0.5\n") << "rows x cols lines";
    EXPECT_EQ(printed, "0.2 0.5 0.1\n0.4 0.5 0.2\n2 0.5 1\n") << "but every channel has its line";
}

TEST(BiCAT, TheFirstOfEqualRatiosIsPrinted) {
    cv::Mat image = constant(0.5, {3, 1});
    cv::Mat white = (cv::Mat_<cv::Vec3f>(1, 3) << cv::Vec3f::all(0.5F), cv::Vec3f::all(0.25F), cv::Vec3f::all(0.125F));
    cv::Mat target = (cv::Mat_<cv::Vec3f>(1, 3) << cv::Vec3f::all(0.5F), cv::Vec3f::all(0.5F), cv::Vec3f::all(0.25F));
    const Recorder recorder;
    tint(image, white, target, recorder);
    EXPECT_EQ(recorder.printed, "2 0.25 0.5\n2 0.25 0.5\n2 0.25 0.5\n");
}

TEST(BiCAT, AChannelWithoutARatioShowsThePlaceOfTheOneBefore) {
    cv::Mat image = constant(0.5, {3, 2});
    cv::Mat white(2, 3, CV_32FC3);
    for (int k = 0; k < 6; ++k) {
        white.at<cv::Vec3f>(k / 3, k % 3) = cv::Vec3f::all(0.5F + 0.0625F * static_cast<float>(k));
    }
    cv::Mat target = constant(0, {3, 2});
    target.at<cv::Vec3f>(1, 1)[1] = 0.375F;
    const Recorder recorder;
    tint(image, white, target, recorder);
    EXPECT_EQ(recorder.printed, "0 0.5 0\n0.5 0.75 0.375\n0 0.75 0\n") << "(0, 0) first, then (1, 1)";
    // The map is divided by 0.
    const cv::Mat& map = recorder.images["increaseMap.jpg"];
    for (int k = 0; k < 6; ++k) {
        EXPECT_FALSE(std::isfinite(map.at<float>(k / 3, k % 3)));
    }
}

TEST(BiCAT, NegativeAndNaNRatiosAreNoPeaks) {
    cv::Mat image = constant(0.5, {2, 1});
    cv::Mat white = constant(0.5, {2, 1});
    cv::Mat target = (cv::Mat_<cv::Vec3f>(1, 2) << cv::Vec3f::all(-0.25F), cv::Vec3f::all(nan));
    const Recorder recorder;
    tint(image, white, target, recorder);
    EXPECT_EQ(recorder.printed, "0 0.5 -0.25\n0 0.5 -0.25\n0 0.5 -0.25\n");
    EXPECT_NEAR(image.at<cv::Vec3f>(0, 0)[0], 0.5 * (1 - D + D * (1 - D - 0.5 * D)), rounding);
    EXPECT_TRUE(std::isnan(image.at<cv::Vec3f>(0, 1)[0]));
}

TEST(BiCAT, WritesNothingWhereNothingIsWanted) {
    const ScratchDirectory scratch;
    cv::Mat image = constant(0.5);
    EXPECT_EQ(printedBy([&] { tint(image, constant(0.5), constant(0.75), dropAll()); }), "");
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
}

TEST(BiCAT, ImagesMayBeTheSame) {
    const cv::Mat before = testing::randomImage({61, 43}, 3, 0, 1, 5);
    const cv::Mat other = testing::randomImage({61, 43}, 3, 0, 1, 6);
    for (const bool asWhite : {true, false}) {
        cv::Mat image = before.clone();
        cv::Mat expected = before.clone();
        const Recorder recorder;
        const Recorder expectedRecorder;
        tint(image, asWhite ? image : other, asWhite ? other : image, recorder);
        tint(expected, asWhite ? before : other, asWhite ? other : before, expectedRecorder);
        EXPECT_MAT_EQUAL(image, expected);
        EXPECT_EQ(recorder.printed, expectedRecorder.printed);
    }
}

TEST(BiCAT, WorksOnThePixelsThatAllImagesHave) {
    const cv::Mat before = testing::randomImage({9, 20}, 3, 0, 1, 5);
    const cv::Mat white = testing::randomImage({7, 30}, 3, 0, 1, 6);
    const cv::Mat target = testing::randomImage({12, 15}, 3, 0, 1, 7);
    const cv::Rect common(0, 0, 7, 15);
    cv::Mat image = before.clone();
    const Recorder recorder;
    tint(image, white, target, recorder);
    cv::Mat part = before(common).clone();
    tint(part, white(common).clone(), target(common).clone(), dropAll());
    cv::Mat expected = before.clone();
    part.copyTo(expected(common));
    EXPECT_MAT_EQUAL(image, expected);
    EXPECT_EQ(recorder.images["catRatio.txt"].size(), common.size());

    const Recorder none;
    cv::Mat empty;
    tint(empty, white, target, none);
    tint(image, cv::Mat(), target, none);
    EXPECT_MAT_EQUAL(image, expected);
    EXPECT_TRUE(none.images.empty());
    EXPECT_EQ(none.printed, "");
}

/// The arguments of a regression, sharing nothing.
struct Pair {
    explicit Pair(cv::Size size, float low = 0, float high = 1)
        : guidance(testing::randomImage(size, 3, low, high, 41)),
          whiteGuidance(testing::randomImage(size, 3, low, high, 42)),
          input(testing::randomImage(size, 3, low, high, 43)),
          spare(testing::randomImage(size, 3, low, high, 44)),
          whiteInput(testing::randomImage(size, 3, low, high, 45)),
          weightMap(testing::randomImage(size, 1, 0, 1, 46)) {}

    Pair(const cv::Mat& photograph, const cv::Mat& other) {
        guidance = photograph.clone();
        input = other.clone();
        cv::GaussianBlur(guidance, whiteGuidance, {15, 15}, 0);
        cv::GaussianBlur(input, whiteInput, {15, 15}, 0);
        spare = input.clone();
        weightMap = testing::randomImage(photograph.size(), 1, 0, 1, 46);
    }

    Pair copy() const {
        Pair result = *this;
        for (cv::Mat* const image : {&result.guidance, &result.whiteGuidance, &result.input, &result.spare,
                                     &result.whiteInput, &result.weightMap}) {
            *image = image->clone();
        }
        return result;
    }

    void regress(float sigma, const Diagnostics& diagnostics = workingDirectory()) {
        biCATRegression(guidance, whiteGuidance, input, spare, whiteInput, weightMap, sigma, diagnostics);
    }

    void expectEqual(const Pair& expected) const {
        EXPECT_MAT_EQUAL(guidance, expected.guidance);
        EXPECT_MAT_EQUAL(whiteGuidance, expected.whiteGuidance);
        EXPECT_MAT_EQUAL(input, expected.input);
        EXPECT_MAT_EQUAL(spare, expected.spare);
        EXPECT_MAT_EQUAL(whiteInput, expected.whiteInput);
        EXPECT_MAT_EQUAL(weightMap, expected.weightMap);
    }

    cv::Mat guidance;
    cv::Mat whiteGuidance;
    cv::Mat input;
    cv::Mat spare;
    cv::Mat whiteInput;
    cv::Mat weightMap;
};

void expectLiteralRegression(const Pair& made, float sigma) {
    const ScratchDirectory expectedFiles;
    const ScratchDirectory files;
    Pair expected = made.copy();
    std::string expectedText;
    reference::biCATRegression(expected.guidance, expected.whiteGuidance, expected.input, expected.spare,
                               expected.whiteInput, expected.weightMap, sigma, expectedFiles.path().string(),
                               expectedText);
    Pair pair = made.copy();
    const std::string printed = printedBy([&] { pair.regress(sigma); });
    pair.expectEqual(expected);
    EXPECT_EQ(printed, expectedText);
    expectSameFiles(expectedFiles.path());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(files.path()), {}), 15);

    Pair silently = made.copy();
    silently.regress(sigma, dropAll());
    silently.expectEqual(expected);
    Pair aloud = made.copy();
    const DirectoryDiagnostics messagesAndFiles(files.path().string());
    EXPECT_EQ(printedBy([&] { aloud.regress(sigma, messagesAndFiles); }), expectedText);
}

TEST(BiCATRegression, IsTheLiteralOneOnMadeImages) {
    for (const cv::Size size : {cv::Size(31, 27), cv::Size(64, 9), cv::Size(1, 1), cv::Size(1, 40), cv::Size(50, 1)}) {
        SCOPED_TRACE(size);
        expectLiteralRegression(Pair(size), 500);
        expectLiteralRegression(Pair(size, -1, 3), 20);
    }
}

TEST(BiCATRegression, IsTheLiteralOneOnPhotographs) {
    const cv::Rect detail(100, 100, 160, 120);
    expectLiteralRegression(Pair(testing::exampleImage("cat.jpg")(detail), testing::exampleImage("coffee.jpg")(detail)),
                            1000);
    expectLiteralRegression(
        Pair(testing::exampleImage("rocket.jpg")(detail), testing::exampleImage("retina.jpg")(detail)), 100);
}

TEST(BiCATRegression, PrintsTheSameWithoutFiles) {
    class OnlyMessages final : public Diagnostics {
    public:
        bool wantsFiles() const noexcept override { return false; }
        bool wantsMessages() const noexcept override { return true; }
        void writeImage(const std::string& name, const cv::Mat& /*image*/) const override { ADD_FAILURE() << name; }
        void writeMap(const std::string& name, const cv::Mat& /*map*/, int /*rows*/, int /*cols*/) const override {
            ADD_FAILURE() << name;
        }
        std::unique_ptr<TextDump> openText(const std::string& name) const override {
            ADD_FAILURE() << name;
            return dropAll().openText(name);
        }
        void print(std::string_view text) const override { printed += text; }
        mutable std::string printed;
    };
    Pair pair({90, 70});
    Pair same = pair.copy();
    const Recorder recorder;
    pair.regress(500, recorder);
    const OnlyMessages messages;
    same.regress(500, messages);
    EXPECT_EQ(messages.printed, recorder.printed);
    EXPECT_EQ(std::count(recorder.printed.begin(), recorder.printed.end(), 'V'), 2) << "one text for each image";
}

TEST(BiCATRegression, WithoutADifferenceInWhiteNothingChanges) {
    Pair pair(testing::exampleImage("coffee.jpg"), testing::exampleImage("coffee.jpg"));
    pair.weightMap = cv::Scalar(1);
    // A ratio of 1 everywhere asks for whites of at least 1 on the scale of 255.
    pair.whiteGuidance = cv::max(pair.whiteGuidance, 0.004F);
    pair.whiteInput = pair.whiteGuidance.clone();
    const cv::Mat before = pair.guidance.clone();
    pair.regress(500, dropAll());
    EXPECT_MAT_NEAR(pair.guidance, before, {.absolute = 3e-7});
}

TEST(BiCATRegression, GainAndOffsetByHand) {
    const cv::Size size(4, 3);
    Pair pair(size);
    pair.guidance = constant(0.5, size);
    pair.whiteGuidance = constant(0.4, size);
    pair.whiteInput = constant(0.6, size);
    pair.weightMap = cv::Scalar(0.5);
    pair.regress(500, dropAll());
    const double a = 1 - D + 1.5 * D;
    EXPECT_NEAR(pair.guidance.at<cv::Vec3f>(2, 3)[1], 0.5 * (a * 0.5 + 0.6 - 0.4 * a), rounding);

    // A white below 1 of 255 is not divided by: the ratio is the input's white itself, 153.
    pair.guidance = constant(0.5, size);
    pair.whiteGuidance = constant(0.9 / 255, size);
    pair.whiteInput = constant(0.6, size);
    pair.regress(500, dropAll());
    const double dark = 1 - D + 153 * D;
    EXPECT_NEAR(pair.guidance.at<cv::Vec3f>(2, 3)[1], 0.5 * (dark * 0.5 + 0.6 - 0.9 / 255 * dark), 1e-5);
}

TEST(BiCATRegression, ARatioOfFourIsValidAndOneAboveIsNot) {
    const cv::Size size(6, 1);
    Pair pair(size);
    const float white = 2.0F / 255;
    pair.whiteGuidance = constant(static_cast<double>(white), size);
    ASSERT_EQ(white * 255.0F, 2.0F);
    const auto inputFor = [](float ratio) { return 2 * ratio / 255.0F; };
    cv::Vec3f* const whites = pair.whiteInput.ptr<cv::Vec3f>(0);
    whites[0] = cv::Vec3f::all(inputFor(4));
    ASSERT_EQ(whites[0][0] * 255.0F, 8.0F);
    whites[1] = cv::Vec3f::all(inputFor(4.0001F));
    whites[2] = {inputFor(5), inputFor(3), inputFor(5)};
    whites[3] = {inputFor(5), inputFor(5), inputFor(1)};
    whites[4] = cv::Vec3f::all(nan);
    whites[5] = cv::Vec3f::all(inputFor(1));
    pair.whiteGuidance.at<cv::Vec3f>(0, 5) = cv::Vec3f::all(0.99F / 255);
    const Recorder recorder;
    pair.regress(500, recorder);
    const cv::Mat& valid = recorder.images["diff1.jpg"];
    const float expected[] = {255, 0, 255, 255, 255, 0};
    for (int j = 0; j < 6; ++j) {
        EXPECT_EQ(valid.at<cv::Vec3f>(0, j), cv::Vec3f::all(expected[j])) << j;
    }
    EXPECT_EQ(recorder.images["ratio_bowls.jpg"].at<cv::Vec3f>(0, 0)[0], 200.0F);
    EXPECT_EQ(recorder.images["whiteGuidance.jpg"].at<cv::Vec3f>(0, 0)[0], 2.0F);
    EXPECT_EQ(recorder.images["whiteInput.jpg"].at<cv::Vec3f>(0, 0)[0], 8.0F);
    EXPECT_EQ(recorder.opened, std::vector<std::string>{"catRatio.txt"});
}

TEST(BiCATRegression, LeavesAnEmptyTextDump) {
    const ScratchDirectory scratch;
    std::filesystem::copy_file(std::string(LIKENESS_EXAMPLE_PHOTOGRAPHS) + "/cat.jpg", "catRatio.txt");
    printedBy([] { Pair({20, 20}).regress(500); });
    EXPECT_EQ(contentOf("catRatio.txt"), "");
}

TEST(BiCATRegression, WritesNothingWhereNothingIsWanted) {
    const ScratchDirectory scratch;
    EXPECT_EQ(printedBy([] { Pair({20, 20}).regress(500, dropAll()); }), "");
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
}

TEST(BiCATRegression, WorksOnThePixelsThatAllImagesHave) {
    const Pair whole({20, 20});
    const cv::Rect common(0, 0, 12, 11);
    Pair pair = whole.copy();
    pair.whiteInput = whole.whiteInput(cv::Rect(0, 0, 12, 20)).clone();
    pair.weightMap = whole.weightMap(cv::Rect(0, 0, 15, 11)).clone();
    pair.spare = cv::Mat();
    const Recorder recorder;
    pair.regress(500, recorder);
    Pair complete = whole.copy();
    complete.regress(500, dropAll());
    EXPECT_MAT_EQUAL(pair.guidance(common).clone(), complete.guidance(common).clone());
    EXPECT_MAT_NEAR(pair.guidance.colRange(12, 20).clone(), whole.guidance.colRange(12, 20).clone(),
                    {.absolute = 1.2e-7});
    EXPECT_EQ(recorder.images["diff1.jpg"].size(), common.size());

    pair.weightMap = cv::Mat();
    const Recorder none;
    const cv::Mat before = pair.guidance.clone();
    pair.regress(500, none);
    EXPECT_MAT_EQUAL(pair.guidance, before);
    EXPECT_TRUE(none.images.empty());
    EXPECT_EQ(none.printed, "");
}

std::vector<cv::Mat> adaptedExposures(const cv::Mat& photograph, cv::Mat& white) {
    cv::Mat sharpened(photograph.size(), CV_32FC3);
    convertBGRToXYZDirect(const_cast<cv::Mat&>(photograph), sharpened);
    convertXYZtoSharpenedBGR(sharpened, sharpened);
    white = sharpened.clone();
    std::vector<cv::Mat> exposures;
    for (int k = 0; k < 4; ++k) {
        exposures.push_back(sharpened * (0.5 + 0.25 * k));
        iCAMCATByD65(exposures.back(), white, white);
    }
    return exposures;
}

TEST(ComputeCorrectedNonFlash, IsTheLiteralOne) {
    for (const int diagonal : {0, 99, 100, 530, 1200}) {
        SCOPED_TRACE(diagonal);
        const ScratchDirectory expectedFiles;
        const ScratchDirectory files;
        cv::Mat white;
        std::vector<cv::Mat> exposures =
            adaptedExposures(testing::exampleImage("coffee.jpg")(cv::Rect(100, 60, 131, 97)), white);
        std::vector<cv::Mat> expected;
        for (const cv::Mat& exposure : exposures) {
            expected.push_back(exposure.clone());
        }
        cv::Mat reference = white.clone();
        computeCorrectedNonFlash(exposures.data(), white, reference, 3, diagonal);
        reference::computeCorrectedNonFlash(expected.data(), white, reference, 3, diagonal,
                                            expectedFiles.path().string());
        for (std::size_t k = 0; k < exposures.size(); ++k) {
            EXPECT_MAT_EQUAL(exposures[k], expected[k]) << "all but the fourth are untouched";
        }
        EXPECT_MAT_EQUAL(reference, white);
        EXPECT_TRUE(std::filesystem::exists("3_nonFlash.jpg"));
        expectSameFiles(expectedFiles.path());
    }
}

TEST(ComputeCorrectedNonFlash, BelowADiagonalOf100ItSmoothesOverFivePixels) {
    cv::Mat white;
    std::vector<cv::Mat> exposures =
        adaptedExposures(testing::exampleImage("coffee.jpg")(cv::Rect(100, 60, 60, 40)), white);
    // Taken back from its adaptation the second exposure is 0.75 times its white, the photograph.
    cv::Mat bgr(white.size(), CV_32FC3);
    cv::Mat sharpened = exposures[1].clone();
    inverseCATByD65(sharpened, white, white);
    EXPECT_MAT_NEAR(sharpened, white * 0.75, {.absolute = 1e-6});
    convertSharpenedBGRtoXYZ(sharpened, bgr);
    convertXYZToBGRDirect(bgr, bgr);
    cv::Mat smoothed;
    cv::bilateralFilter(bgr, smoothed, 5, 0.01, 1);
    computeCorrectedNonFlash(exposures.data(), white, white, 1, 99, dropAll());
    cv::Mat result(white.size(), CV_32FC3);
    convertSharpenedBGRtoXYZ(exposures[1], result);
    convertXYZToBGRDirect(result, result);
    EXPECT_MAT_NEAR(result, smoothed, {.absolute = 2e-6});
}

TEST(ComputeCorrectedNonFlash, AConstantExposureComesBackUnadapted) {
    cv::Mat white(8, 9, CV_32FC3, cv::Scalar(0.4, 0.5, 0.6));
    cv::Mat exposure = white.clone();
    iCAMCATByD65(exposure, white, white);
    computeCorrectedNonFlash(&exposure, white, white, 0, 1000, dropAll());
    EXPECT_MAT_NEAR(exposure, white, {.absolute = 1e-6});
}

TEST(ComputeCorrectedNonFlash, WritesNothingWhereNothingIsWanted) {
    const ScratchDirectory scratch;
    cv::Mat white = constant(0.5);
    cv::Mat exposure = constant(0.5);
    EXPECT_EQ(printedBy([&] { computeCorrectedNonFlash(&exposure, white, white, 0, 100, dropAll()); }), "");
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
}

TEST(ComputeCorrectedNonFlash, PixelsWithoutAWhiteStayAdapted) {
    const cv::Mat before = constant(0.5, {30, 20});
    cv::Mat exposure = before.clone();
    cv::Mat white = constant(0.25, {10, 40});
    cv::Mat reference(3, 2, CV_32FC3);  // its size does not matter
    computeCorrectedNonFlash(&exposure, white, reference, 0, 100, dropAll());
    ASSERT_EQ(exposure.size(), before.size());
    EXPECT_NEAR(exposure.at<cv::Vec3f>(10, 20)[1], 0.5, 1e-6);
    EXPECT_NEAR(exposure.at<cv::Vec3f>(10, 4)[1], 0.5 / (1 + D * 1.0353699 / 0.25 - D), 1e-6);
}

}  // namespace
}  // namespace likeness
