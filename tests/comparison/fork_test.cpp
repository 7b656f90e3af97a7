// The library in a process that was forked from one that had used it, whose threads do not follow.
#include <likeness/adaptation/local_adaptation.hpp>
#include <likeness/adaptation/white_image.hpp>
#include <likeness/comparison/analysis.hpp>
#include <likeness/comparison/photograph_comparison.hpp>
#include <likeness/exposure/brightness_alignment.hpp>
#include <likeness/exposure/brightness_increase.hpp>
#include <likeness/exposure/durand_tone_mapping.hpp>
#include <likeness/filter/guidedfilter.hpp>
#include <likeness/structure/optical_flow_alignment.hpp>
#include <likeness/structure/structure_tensor.hpp>
#include "support/forked.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <algorithm>

namespace likeness {
namespace {

using testing::ScratchDirectory;
using testing::statusOfForked;

bool equalBits(const cv::Mat& a, const cv::Mat& b) {
    return a.size() == b.size() && a.type() == b.type() && std::equal(a.datastart, a.dataend, b.datastart, b.dataend);
}

bool equal(const LikenessCoefficients& a, const LikenessCoefficients& b) {
    return a.brightness == b.brightness && a.lightness == b.lightness && a.chroma == b.chroma &&
           a.colorfulness == b.colorfulness && a.saturation == b.saturation;
}

/// An operation gives the same image in a forked process as in this one.
template <typename Operation>
void expectSameInAForkedProcess(Operation operation) {
    const cv::Mat here = operation().clone();
    EXPECT_EQ(statusOfForked([&] { return equalBits(operation().clone(), here); }), 0);
}

class InAForkedProcess : public ::testing::Test {
protected:
    cv::Mat bgr_ = testing::exampleImage("coffee.jpg");
};

TEST_F(InAForkedProcess, ComparePhotographs) {
    const cv::Mat first = testing::examplePhotograph("coffee.jpg");
    const cv::Mat second = testing::examplePhotograph("cat.jpg");
    const LikenessCoefficients here = comparePhotographs(first, second);
    EXPECT_EQ(statusOfForked([&] { return equal(comparePhotographs(first, second), here); }), 0);
}

TEST_F(InAForkedProcess, PublishedModels) {
    const cv::Mat bytes = testing::examplePhotograph("coffee.jpg");
    cv::Mat floats(300, 400, CV_32FC3);
    cv::RNG(3).fill(floats, cv::RNG::UNIFORM, 0, 1);
    AnalysisOptions options;
    options.model.kind = AppearanceModelKind::ciecam16;
    for (const bool maps : {false, true}) {
        options.maps = maps;
        for (const cv::Mat& photograph : {bytes, floats}) {
            const AppearanceDistributions here = analyze(photograph, options).distributions();
            EXPECT_EQ(
                statusOfForked([&] { return analyze(photograph, options).distributions().chroma == here.chroma; }), 0);
        }
    }
}

TEST_F(InAForkedProcess, ComparePhotographsWithDumps) {
    const ScratchDirectory scratch;
    const cv::Mat first = testing::examplePhotograph("coffee.jpg")(cv::Rect(0, 0, 150, 130));
    const LikenessCoefficients here = comparePhotographs(first, first, workingDirectory());
    EXPECT_EQ(statusOfForked([&] { return equal(comparePhotographs(first, first, workingDirectory()), here); }), 0);
}

// The image library's own threads.
TEST_F(InAForkedProcess, BilateralFilter) {
    expectSameInAForkedProcess([&] {
        cv::Mat white;
        computeWhiteImgVs2(bgr_, white, 0.1F, 9);
        return white;
    });
}

TEST_F(InAForkedProcess, GuidedFilter) {
    expectSameInAForkedProcess([&] { return guidedFilter(bgr_, bgr_, 8, 0.01, -1, dropAll()); });
}

TEST_F(InAForkedProcess, LightnessMatching) {
    expectSameInAForkedProcess([&] {
        cv::Mat result;
        cv::Mat dim = bgr_ * 0.5;
        alterNonFlashBrightness(dim, bgr_, result, dropAll());
        return result;
    });
}

TEST_F(InAForkedProcess, OpticalFlow) {
    expectSameInAForkedProcess([&] {
        cv::Mat moving = bgr_(cv::Rect(3, 2, 200, 150)).clone();
        cv::Mat reference = bgr_(cv::Rect(0, 0, 200, 150)).clone();
        cv::Mat out;
        calculateOpticalFlow(moving, reference, out);
        return out;
    });
}

TEST_F(InAForkedProcess, StructureTensor) {
    expectSameInAForkedProcess([&] {
        cv::Mat scaled = bgr_ * 255;
        cv::Mat strength(bgr_.size(), CV_32F);
        computeStructuralTensor(scaled, strength, 3, dropAll());
        return strength;
    });
}

TEST_F(InAForkedProcess, LocalAdaptation) {
    expectSameInAForkedProcess([&] {
        cv::Mat image = bgr_.clone();
        performLocalCAMCA(image, bgr_, 0.5F, dropAll());
        return image;
    });
}

TEST_F(InAForkedProcess, ToneMapping) {
    expectSameInAForkedProcess([&] {
        cv::Mat mapped;
        toneMapDurand(bgr_, mapped);
        return mapped;
    });
}

TEST_F(InAForkedProcess, BrightnessIncrease) {
    expectSameInAForkedProcess([&] {
        cv::Mat image = bgr_(cv::Rect(0, 0, 160, 120)).clone();
        std::vector<cv::Mat> brighter(brightnessPasses);
        for (cv::Mat& made : brighter) {
            made.create(image.size(), CV_32FC3);
        }
        increaseBrightness(image, brighter.data(), 12, dropAll());
        return brighter[5];
    });
}

}  // namespace
}  // namespace likeness
