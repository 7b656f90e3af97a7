#include <likeness/filter/guidedfilter.hpp>

#include "reference/filter_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <array>
#include <cmath>
#include <filesystem>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

namespace likeness {
namespace {

using testing::contentOf;
using testing::exampleImage;
using testing::examplePhotograph;
using testing::floatImages;
using testing::NamedImage;
using testing::randomImage;
using testing::ScratchDirectory;
using testing::withGaps;

const std::array<const char*, 8> dumpNames = {"0R.jpg",  "0G.jpg",  "0B.jpg",  "cov_a_r.jpg",
                                              "a_r.jpg", "a_g.jpg", "a_b.jpg", "b.jpg"};

cv::Mat converted(const cv::Mat& image, int depth, double scale = 1) {
    cv::Mat result;
    image.convertTo(result, depth, scale);
    return result;
}

cv::Mat channel(const cv::Mat& image, int index) {
    cv::Mat plane;
    cv::extractChannel(image, plane, index);
    return plane;
}

bool isFinite(const cv::Mat& image) {
    return cv::checkRange(image);
}

std::vector<std::string> filesIn(const std::filesystem::path& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

TEST(GuidedFilter, EqualsTheLiteralVersionUnderEveryGuide) {
    for (const int guideChannels : {1, 3}) {
        for (const NamedImage& guide : floatImages(guideChannels, 0, 1)) {
            for (const int inputChannels : {1, 2, 3, 4}) {
                const cv::Mat input = randomImage(guide.image.size(), inputChannels, -0.5F, 1.5F, 11);
                for (const int radius : {0, 1, 4}) {
                    SCOPED_TRACE(guide.name + ", channels " + std::to_string(guideChannels) + " and " +
                                 std::to_string(inputChannels) + ", radius " + std::to_string(radius));
                    EXPECT_MAT_EQUAL(guidedFilter(guide.image, input, radius, 1e-3, -1, dropAll()),
                                     reference::guidedFilter(guide.image, input, radius, 1e-3, -1));
                }
            }
        }
    }
}

TEST(GuidedFilter, EqualsTheLiteralVersionForEveryInput) {
    for (const int guideChannels : {1, 3}) {
        for (const NamedImage& input : floatImages(3, 0, 1)) {
            SCOPED_TRACE(input.name + ", guide channels " + std::to_string(guideChannels));
            const cv::Mat guide = randomImage(input.image.size(), guideChannels, 0, 1, 12);
            EXPECT_MAT_EQUAL(guidedFilter(guide, input.image, 3, 0.01, -1, dropAll()),
                             reference::guidedFilter(guide, input.image, 3, 0.01, -1));
        }
    }
}

TEST(GuidedFilter, EqualsTheLiteralVersionInEveryDepth) {
    const cv::Mat guide = randomImage({41, 37}, 3, 0, 255, 13);
    const cv::Mat input = randomImage({41, 37}, 3, 0, 255, 14);
    for (const int guideDepth : {CV_8U, CV_16S, CV_32F, CV_64F}) {
        for (const int inputDepth : {CV_8U, CV_16U, CV_32F, CV_64F}) {
            for (const int depth : {-1, CV_8U, CV_32F, CV_64F}) {
                SCOPED_TRACE(std::to_string(guideDepth) + ", " + std::to_string(inputDepth) + ", " +
                             std::to_string(depth));
                const cv::Mat color = converted(guide, guideDepth);
                const cv::Mat mono = channel(color, 1);
                const cv::Mat p = converted(input, inputDepth);
                for (const cv::Mat& I : {color, mono}) {
                    const cv::Mat actual = guidedFilter(I, p, 2, 4.0, depth, dropAll());
                    const cv::Mat expected = reference::guidedFilter(I, p, 2, 4.0, depth);
                    EXPECT_EQ(actual.depth(), depth == -1 ? inputDepth : depth);
                    EXPECT_EQ(actual.type(), expected.type());
                    EXPECT_EQ(cv::norm(actual, expected, cv::NORM_INF), 0);
                }
            }
        }
    }
}

TEST(GuidedFilter, EqualsTheLiteralVersionOnPhotographs) {
    for (const std::string& name : testing::examplePhotographNames()) {
        SCOPED_TRACE(name);
        cv::Mat image;
        cv::resize(exampleImage(name), image, cv::Size(240, 180));
        EXPECT_MAT_EQUAL(guidedFilter(image, image, 16, 1e-4, -1, dropAll()),
                         reference::guidedFilter(image, image, 16, 1e-4, -1));
        EXPECT_MAT_EQUAL(guidedFilter(channel(image, 2), image, 9, 1e-4, -1, dropAll()),
                         reference::guidedFilter(channel(image, 2), image, 9, 1e-4, -1));
    }
}

TEST(GuidedFilter, ARadiusOfFourTakesAWindowOfNine) {
    // One bright pixel under a flat mono guide is averaged twice over 9 x 9: 1 / 81 of the window's share in the
    // middle.
    cv::Mat input(41, 41, CV_32F, cv::Scalar(0));
    input.at<float>(20, 20) = 81.0F * 81.0F;
    const cv::Mat guide(41, 41, CV_32F, cv::Scalar(0.5));
    const cv::Mat filtered = guidedFilter(guide, input, 4, 1e-3, -1, dropAll());
    EXPECT_NEAR(filtered.at<float>(20, 20), 81.0F, 1e-3F);
    EXPECT_NEAR(filtered.at<float>(20, 28), 9.0F, 1e-3F);
    EXPECT_NEAR(filtered.at<float>(28, 28), 1.0F, 1e-3F);
    EXPECT_EQ(filtered.at<float>(20, 29), 0.0F);
}

TEST(GuidedFilter, ARadiusOfZeroUnderAMonoGuideKeepsTheInput) {
    const cv::Mat guide = randomImage({23, 17}, 1, 0, 1, 15);
    const cv::Mat input = randomImage({23, 17}, 3, 0, 1, 16);
    EXPECT_MAT_EQUAL(guidedFilter(guide, input, 0, 1e-3, -1), input);
    const cv::Mat bytes = converted(input, CV_8U, 255);
    EXPECT_MAT_EQUAL(guidedFilter(guide, bytes, 0, 1e-3, -1), bytes);
}

TEST(GuidedFilter, AnEpsOfZeroOnAFlatMonoGuideAveragesTwice) {
    const cv::Mat guide(20, 20, CV_32F, cv::Scalar(0.25));
    const cv::Mat input = randomImage({20, 20}, 1, 0, 1, 17);
    cv::Mat twice;
    cv::blur(input, twice, cv::Size(5, 5));
    cv::blur(twice, twice, cv::Size(5, 5));
    EXPECT_MAT_EQUAL(guidedFilter(guide, input, 2, 0.0, -1), twice);
}

TEST(GuidedFilter, BytesOfAGuideAreNotScaled) {
    const cv::Mat bytes = converted(randomImage({33, 21}, 1, 0, 255, 18), CV_8U);
    const cv::Mat input = randomImage({33, 21}, 1, 0, 1, 19);
    EXPECT_MAT_EQUAL(guidedFilter(bytes, input, 2, 100.0, -1),
                     guidedFilter(converted(bytes, CV_32F), input, 2, 100.0, -1));
}

TEST(GuidedFilter, BytesOfAnInputAreFilteredAsNumbersAndRounded) {
    const cv::Mat guide = channel(examplePhotograph("cat.jpg"), 1)(cv::Rect(0, 0, 90, 70)).clone();
    const cv::Mat input = examplePhotograph("cat.jpg")(cv::Rect(0, 0, 90, 70)).clone();
    const cv::Mat filtered = guidedFilter(guide, input, 3, 25.0, -1);
    EXPECT_EQ(filtered.type(), CV_8UC3);
    EXPECT_MAT_EQUAL(filtered, converted(guidedFilter(guide, converted(input, CV_32F), 3, 25.0, -1), CV_8U));
    EXPECT_EQ(guidedFilter(guide, input, 3, 25.0, CV_64F).type(), CV_64FC3);
}

TEST(GuidedFilter, ChannelsOfAnInputAreFilteredOneByOne) {
    const cv::Mat guide = randomImage({31, 29}, 1, 0, 1, 20);
    const cv::Mat input = randomImage({31, 29}, 3, 0, 1, 21);
    const cv::Mat filtered = guidedFilter(guide, input, 2, 0.01, -1);
    for (int c = 0; c < 3; ++c) {
        EXPECT_MAT_EQUAL(channel(filtered, c), guidedFilter(guide, channel(input, c), 2, 0.01, -1));
    }
}

TEST(GuidedFilter, OneGuideFiltersManyInputs) {
    for (const int guideChannels : {1, 3}) {
        const cv::Mat guide = randomImage({31, 29}, guideChannels, 0, 1, 22);
        cv::Mat handedOver = guide.clone();
        const GuidedFilter filter(handedOver, 2, 0.01, dropAll());
        handedOver.setTo(7);  // the object holds a copy
        for (const std::uint64_t seed : {23U, 24U}) {
            const cv::Mat input = randomImage({31, 29}, 1, 0, 1, seed);
            EXPECT_MAT_EQUAL(filter.filter(input, -1, dropAll()), reference::guidedFilter(guide, input, 2, 0.01, -1));
        }
    }
}

TEST(GuidedFilter, LeavesItsInputsAlone) {
    const cv::Mat guide = randomImage({31, 29}, 3, 0, 1, 25);
    const cv::Mat input = randomImage({31, 29}, 1, 0, 1, 26);
    const cv::Mat guideBefore = guide.clone();
    const cv::Mat inputBefore = input.clone();
    guidedFilter(guide, input, 2, 0.01, -1, dropAll());
    guidedFilter(input, input, 2, 0.01, -1, dropAll());
    EXPECT_MAT_EQUAL(guide, guideBefore);
    EXPECT_MAT_EQUAL(input, inputBefore);
}

TEST(GuidedFilter, WindowsOfAViewReachIntoTheImageAroundIt) {
    const cv::Mat input = randomImage({31, 29}, 1, 0, 1, 27);
    const cv::Mat guide = randomImage({31, 29}, 1, 0, 1, 28);
    const cv::Mat ofView = guidedFilter(guide, withGaps(input), 2, 0.01, -1);
    EXPECT_MAT_EQUAL(ofView, reference::guidedFilter(guide, withGaps(input), 2, 0.01, -1));
    EXPECT_GT(cv::norm(ofView, guidedFilter(guide, input, 2, 0.01, -1), cv::NORM_INF), 0.1);
    EXPECT_MAT_EQUAL(guidedFilter(withGaps(guide), input, 2, 0.01, -1), guidedFilter(guide, input, 2, 0.01, -1));
}

TEST(GuidedFilter, EpsHasNoEffectUnderAColorGuide) {
    const cv::Mat guide = randomImage({31, 29}, 3, 0, 1, 29);
    const cv::Mat input = randomImage({31, 29}, 1, 0, 1, 30);
    const cv::Mat small = guidedFilter(guide, input, 2, 1e-9, -1, dropAll());
    EXPECT_MAT_EQUAL(small, guidedFilter(guide, input, 2, 1e9, -1, dropAll()));
    EXPECT_GT(cv::norm(guidedFilter(channel(guide, 0), input, 2, 1e-9, -1),
                       guidedFilter(channel(guide, 0), input, 2, 1e9, -1), cv::NORM_INF),
              0.05);
}

TEST(GuidedFilter, AConstantColorGuideAveragesTwice) {
    const cv::Mat guide(24, 18, CV_32FC3, cv::Scalar(0.25, 0.5, 0.75));
    const cv::Mat input = randomImage({18, 24}, 1, 0, 1, 31);
    cv::Mat twice;
    cv::blur(input, twice, cv::Size(5, 5));
    cv::blur(twice, twice, cv::Size(5, 5));
    EXPECT_MAT_EQUAL(guidedFilter(guide, input, 2, 0.01, -1, dropAll()), twice);
}

TEST(GuidedFilter, AColorGuideWithFlatRegionsGivesFiniteValues) {
    // Two flat areas, a noisy one between them, and a gray ramp whose channels depend on each other.
    cv::Mat guide(60, 80, CV_32FC3, cv::Scalar(0.1, 0.6, 0.3));
    guide.colRange(50, 80).setTo(cv::Scalar(0.9, 0.9, 0.2));
    randomImage({20, 60}, 3, 0, 1, 32).copyTo(guide.colRange(30, 50));
    for (int i = 40; i < 60; ++i) {
        guide.row(i).colRange(0, 25).setTo(cv::Scalar::all(i / 64.0));
    }
    const cv::Mat input = randomImage({80, 60}, 3, 0, 1, 33);
    for (const int depth : {CV_32F, CV_64F}) {
        const cv::Mat I = converted(guide, depth);
        for (const int radius : {1, 2, 8}) {
            const cv::Mat filtered = guidedFilter(I, input, radius, 1e-4, -1, dropAll());
            EXPECT_TRUE(isFinite(filtered)) << radius;
            EXPECT_MAT_EQUAL(filtered, reference::guidedFilter(I, input, radius, 1e-4, -1));
        }
    }
    // Far from everything that is not flat the coefficients are 0: the input is averaged twice.
    const cv::Mat filtered = guidedFilter(guide, input, 1, 1e-4, -1, dropAll());
    cv::Mat twice;
    cv::blur(input, twice, cv::Size(3, 3));
    cv::blur(twice, twice, cv::Size(3, 3));
    EXPECT_MAT_EQUAL(filtered.colRange(60, 78).clone(), twice.colRange(60, 78).clone());
}

TEST(GuidedFilter, AnInputThatIsALinearFunctionOfAColorGuideIsKept) {
    const cv::Mat guide = randomImage({40, 30}, 3, 0, 1, 34);
    cv::Mat input;
    cv::transform(guide, input, cv::Mat(cv::Matx14f(0.5F, -0.25F, 0.75F, 0.1F)));
    // Measured 4e-7 in float; a swapped pair of inverse planes is off by 0.1 and more.
    EXPECT_MAT_NEAR(guidedFilter(guide, input, 3, 0.0, -1, dropAll()), input, {.absolute = 2e-5});
}

TEST(GuidedFilter, RefusesAGuideOfOtherThanOneOrThreeChannels) {
    for (const int channels : {2, 4}) {
        try {
            const GuidedFilter filter(cv::Mat(4, 4, CV_32FC(channels), cv::Scalar::all(0)), 1, 0.1);
            FAIL() << channels;
        } catch (const cv::Exception& error) {
            EXPECT_EQ(error.code, -215);
            EXPECT_EQ(error.err, "I.channels() == 1 || I.channels() == 3");
            EXPECT_EQ(error.func, "GuidedFilter");
            EXPECT_EQ(error.file, "guidedfilter");
            EXPECT_EQ(error.line, 325);
        }
    }
}

TEST(GuidedFilter, RefusesAnInputOfAnotherSize) {
    for (const int guideChannels : {1, 3}) {
        const cv::Mat guide(8, 8, CV_32FC(guideChannels), cv::Scalar::all(0.5));
        for (const cv::Size size : {cv::Size(1, 1), cv::Size(8, 7), cv::Size(9, 8)}) {
            EXPECT_THROW(guidedFilter(guide, cv::Mat(size, CV_32F, cv::Scalar(0)), 1, 0.1, -1, dropAll()),
                         cv::Exception);
        }
    }
    EXPECT_THROW(
        GuidedFilterMono(cv::Mat(8, 8, CV_32F, cv::Scalar(0)), 3, 0.1).filterSingleChannel(cv::Mat(8, 8, CV_8U)),
        cv::Exception);
}

TEST(GuidedFilter, AColorGuideLeavesEightImagesInTheWorkingDirectory) {
    const cv::Mat image = exampleImage("coffee.jpg")(cv::Rect(100, 100, 120, 90)).clone() * 40;
    for (const cv::Mat& input : {channel(image, 1), image}) {  // of several channels the last one's files remain
        const ScratchDirectory here;
        const ScratchDirectory expected;
        std::filesystem::current_path(here.path());
        guidedFilter(image, input, 4, 0.01, -1);
        reference::guidedFilterWithDumps(image, input, 4, 0.01, -1, expected.path().string());
        EXPECT_EQ(filesIn(here.path()).size(), dumpNames.size());
        for (const char* const name : dumpNames) {
            EXPECT_EQ(contentOf(here.path() / name), contentOf(expected.path() / name)) << name;
        }
    }
}

TEST(GuidedFilter, DumpsGoWhereTheCallerWantsThem) {
    const cv::Mat image = randomImage({20, 20}, 3, 0, 255, 35);
    const ScratchDirectory here;
    const std::filesystem::path elsewhere = here.path() / "elsewhere";
    std::filesystem::create_directory(elsewhere);
    const GuidedFilter filter(image, 2, 0.01, DirectoryDiagnostics(elsewhere.string()));
    EXPECT_EQ(filesIn(elsewhere).size(), 3U);  // those of the guide; the receiver may go before the filter
    filter.filter(image, -1, DirectoryDiagnostics(elsewhere.string()));
    EXPECT_EQ(filesIn(elsewhere).size(), 8U);
    EXPECT_EQ(filesIn(here.path()).size(), 1U);
}

TEST(GuidedFilter, WritesNothingWhereNothingIsWanted) {
    const ScratchDirectory here;
    const cv::Mat color = randomImage({20, 20}, 3, 0, 1, 36);
    guidedFilter(color, color, 2, 0.01, -1, dropAll());
    guidedFilter(channel(color, 0), color, 2, 0.01, -1);  // a mono guide writes nothing at all
    EXPECT_TRUE(filesIn(here.path()).empty());
}

TEST(GuidedFilterMono, FiltersChannelsJointlyIntoAnEmptyImageOfTheInputsSize) {
    const GuidedFilterMono mono(cv::Mat(5, 6, CV_64F, cv::Scalar(0)), 3, 0.1);
    const GuidedFilterImpl& filter = mono;
    const cv::Mat result = filter.filterColorChannelsMK(cv::Mat(7, 9, CV_8UC2));
    EXPECT_EQ(result.size(), cv::Size(9, 7));
    EXPECT_EQ(result.type(), CV_32FC3);
}

TEST(GuidedFilterImpl, GoesThroughTheVariantsSingleChannel) {
    static_assert(std::is_abstract_v<GuidedFilterImpl> && std::has_virtual_destructor_v<GuidedFilterImpl>);
    class Doubling final : public GuidedFilterImpl {
    public:
        Doubling() : GuidedFilterImpl(CV_64F) {}
        cv::Mat filterSingleChannel(const cv::Mat& p, const Diagnostics&) const override {
            EXPECT_EQ(p.type(), CV_64FC1);
            return p * 2;
        }
        cv::Mat filterColorChannelsMK(const cv::Mat&) const override {
            ADD_FAILURE();
            return {};
        }
    };
    const cv::Mat p(3, 3, CV_8UC3, cv::Scalar(1, 2, 200));
    EXPECT_MAT_EQUAL(Doubling().filter(p, -1), cv::Mat(3, 3, CV_8UC3, cv::Scalar(2, 4, 255)));
    EXPECT_MAT_EQUAL(Doubling().filter(p, CV_64F), cv::Mat(3, 3, CV_64FC3, cv::Scalar(2, 4, 400)));
}

}  // namespace
}  // namespace likeness
