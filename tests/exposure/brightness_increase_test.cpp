#include <likeness/exposure/brightness_increase.hpp>

#include <likeness/comparison/metrics.hpp>
#include "reference/inverse_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace likeness {
namespace {

using testing::contentOf;
using testing::printedBy;
using testing::ScratchDirectory;

using Images = std::array<cv::Mat, brightnessPasses>;

Images imagesOf(cv::Size size) {
    Images images;
    for (cv::Mat& image : images) {
        image = cv::Mat(size, CV_32FC3, cv::Scalar::all(-7));
    }
    return images;
}

/// A piece of a photograph, adapted to D65.
cv::Mat adaptedPiece(const std::string& name, cv::Rect piece) {
    cv::Mat bgr = testing::exampleImage(name)(piece).clone();
    cv::Mat adapted(bgr.size(), CV_32FC3);
    compute_cat(bgr, adapted);
    return adapted;
}

/// Everything that a run leaves behind.
struct Outcome {
    cv::Mat src;
    Images dst;
    std::string printed;
    std::map<std::string, std::string> files;
};

template <typename Operation>
Outcome outcomeOf(const cv::Mat& image, float factor, Operation operation) {
    Outcome outcome;
    outcome.src = image.clone();
    outcome.dst = imagesOf(image.size());
    const ScratchDirectory scratch;
    outcome.printed = printedBy([&] { operation(outcome.src, outcome.dst.data(), factor); });
    for (const auto& entry : std::filesystem::directory_iterator(scratch.path())) {
        outcome.files[entry.path().filename()] = contentOf(entry.path());
    }
    return outcome;
}

void library(cv::Mat& src, cv::Mat* dst, float factor) {
    increaseBrightness(src, dst, factor);
}

/// Same images, printed text, names and bytes of files.
void expectLiteral(const cv::Mat& image, float factor) {
    const Outcome actual = outcomeOf(image, factor, library);
    const Outcome expected = outcomeOf(image, factor, reference::increaseBrightness);
    EXPECT_MAT_EQUAL(actual.src, expected.src);
    for (std::size_t k = 0; k < actual.dst.size(); ++k) {
        EXPECT_MAT_EQUAL(actual.dst[k], expected.dst[k]) << "pass " << k;
    }
    EXPECT_TRUE(actual.printed == expected.printed);
    ASSERT_EQ(actual.files.size(), expected.files.size());
    for (const auto& [name, content] : expected.files) {
        ASSERT_TRUE(actual.files.count(name)) << name;
        EXPECT_TRUE(actual.files.at(name) == content) << name;
    }
}

TEST(IncreaseBrightness, IsTheLiteralVersionOnPhotographs) {
    for (const std::string& name : testing::examplePhotographNames()) {
        const cv::Mat piece = adaptedPiece(name, {120, 80, 49, 31});
        for (const float factor : {1.0F, 10.0F, 25.0F}) {
            SCOPED_TRACE(name + " " + std::to_string(factor));
            expectLiteral(piece, factor);
        }
    }
}

TEST(IncreaseBrightness, IsTheLiteralVersionOnMadeImages) {
    for (const testing::NamedImage& named : testing::floatImages(3, 0.0F, 1.0F)) {
        if (named.name == "special values") {
            continue;  // an infinite brightness is beyond the bilateral filter
        }
#ifdef __aarch64__
        if (named.name == "random far outside") {
            continue;  // nor does the image library's filter keep to its table there (filter/bilateral_filter.hpp)
        }
#endif
        SCOPED_TRACE(named.name);
        expectLiteral(named.image, 1.9F);  // gamma is a number in three passes
    }
}

TEST(IncreaseBrightness, IsTheLiteralVersionOnBlackAndWhite) {
    for (const float grey : {0.0F, 1.0F, 1.5F}) {
        SCOPED_TRACE(grey);
        expectLiteral(cv::Mat(7, 9, CV_32FC3, cv::Scalar::all(grey)), 10.0F);
    }
}

TEST(IncreaseBrightnessByPasses, EachPassAloneHasTheBitsThatItHasAmongSix) {
    const cv::Mat image = adaptedPiece("coffee.jpg", {120, 80, 49, 31});
    for (const float factor : {11.4F, 2.0F}) {  // of 2 some passes are NaN
        cv::Mat src = image.clone();
        Images all = imagesOf(image.size());
        increaseBrightness(src, all.data(), factor, dropAll());
        const std::vector<std::vector<int>> choices = {{0}, {1}, {2}, {3}, {4}, {5}, {1, 4}, {0, 1, 2, 3, 4, 5}, {}};
        for (const std::vector<int>& passes : choices) {
            cv::Mat own = image.clone();
            std::vector<int> taken;
            increaseBrightnessByPasses(
                own, factor, passes,
                [&](int pass, cv::Mat& picture) {
                    taken.push_back(pass);
                    EXPECT_MAT_EQUAL(picture, all[static_cast<std::size_t>(pass)]) << pass << " of " << factor;
                    picture = cv::Scalar::all(0.5);  // the next pass does not read it
                },
                dropAll());
            EXPECT_EQ(taken, passes);
            EXPECT_MAT_EQUAL(own, src);
        }
    }
}

TEST(IncreaseBrightnessByPasses, AllPassesLeaveTheSameDumpsAndMessages) {
    const cv::Mat image = adaptedPiece("cat.jpg", {120, 80, 29, 21});
    const Outcome expected = outcomeOf(image, 2.0F, library);
    const Outcome actual = outcomeOf(image, 2.0F, [](cv::Mat& src, cv::Mat* dst, float factor) {
        increaseBrightnessByPasses(src, factor, {0, 1, 2, 3, 4, 5},
                                   [dst](int pass, cv::Mat& picture) { picture.copyTo(dst[pass]); });
    });
    EXPECT_TRUE(actual.printed == expected.printed);
    EXPECT_EQ(actual.files, expected.files);
    EXPECT_MAT_EQUAL(actual.dst[5], expected.dst[5]);
}

TEST(IncreaseBrightnessByPasses, OnePassLeavesItsOwnDumpsAndMessages) {
    const cv::Mat image = adaptedPiece("cat.jpg", {120, 80, 29, 21});
    const Outcome expected = outcomeOf(image, 11.4F, library);
    const Outcome last = outcomeOf(image, 11.4F, [](cv::Mat& src, cv::Mat*, float factor) {
        increaseBrightnessByPasses(src, factor, {5}, [](int, cv::Mat&) {});
    });
    EXPECT_EQ(last.files, expected.files);  // each pass replaces the files of the one before
    std::size_t gammas = 0;
    for (std::size_t at = 0; (at = last.printed.find("Gamma: ", at)) != std::string::npos; ++at) {
        ++gammas;
    }
    EXPECT_EQ(gammas, 1U);
    EXPECT_NE(expected.printed.find(last.printed.substr(last.printed.find("Gamma: "))), std::string::npos);
}

TEST(IncreaseBrightnessByPasses, RefusesPassesThatThereAreNot) {
    const cv::Mat image = adaptedPiece("cat.jpg", {120, 80, 9, 8});
    for (const std::vector<int>& passes : std::vector<std::vector<int>>{{-1}, {6}, {1, 1}, {2, 1}}) {
        cv::Mat src = image.clone();
        EXPECT_THROW(increaseBrightnessByPasses(
                         src, 9.0F, passes, [](int, cv::Mat&) {}, dropAll()),
                     std::invalid_argument);
        EXPECT_MAT_EQUAL(src, image);
    }
}

TEST(IncreaseBrightness, AcceptsRowsWithGaps) {
    const cv::Mat image = adaptedPiece("coffee.jpg", {0, 0, 33, 21});
    cv::Mat src = testing::withGaps(image);
    Images dst = imagesOf(image.size());
    for (cv::Mat& result : dst) {
        result = testing::withGaps(result);
    }
    increaseBrightness(src, dst.data(), 9.0F, dropAll());
    const Outcome expected = outcomeOf(image, 9.0F, reference::increaseBrightness);
    EXPECT_MAT_EQUAL(src, expected.src);
    for (std::size_t k = 0; k < dst.size(); ++k) {
        EXPECT_MAT_EQUAL(dst[k], expected.dst[k]);
    }
}

std::vector<std::string> linesWithout(const std::string& printed, const std::vector<std::string>& left) {
    std::vector<std::string> lines;
    std::istringstream stream(printed);
    for (std::string line; std::getline(stream, line);) {
        if (std::find(left.begin(), left.end(), line) == left.end()) {
            lines.push_back(line);
        }
    }
    return lines;
}

TEST(IncreaseBrightness, FactorOneSquaresAndFailsFromTheThirdPassOn) {
    const Outcome outcome = outcomeOf(adaptedPiece("coffee.jpg", {40, 40, 8, 6}), 1.0F, library);
    const std::vector<std::string> lines =
        linesWithout(outcome.printed, {"Nan values in the gamma correction!", "nan", "-nan",
                                       "Error in the inverse non-linearities! Some of the obtained values are nan."});
    ASSERT_EQ(lines.size(), 24U);
    const char* const factors[] = {"0.3", "-0.4", "-1.1", "-1.8", "-2.5", "-3.2"};
    for (std::size_t k = 0; k < 6; ++k) {
        EXPECT_EQ(lines[4 * k + 1], "Already out !");
        EXPECT_EQ(lines[4 * k + 2].substr(0, 7), "mean A ");
        EXPECT_EQ(lines[4 * k + 3], factors[k]);
    }
    EXPECT_EQ(lines[0], "Gamma: 2");
    EXPECT_EQ(lines[4], "Gamma: 2.52288");  // log10(10 / 0.3) + 1
    for (std::size_t k = 2; k < 6; ++k) {
        EXPECT_NE(lines[4 * k].find("nan"), std::string::npos) << lines[4 * k];
    }
    for (std::size_t k = 0; k < 6; ++k) {
        const bool failed = k >= 2;
        EXPECT_EQ(cv::countNonZero(outcome.dst[k].reshape(1) == outcome.dst[k].reshape(1)), failed ? 0 : 3 * 8 * 6)
            << k;
    }
    const auto count = [&outcome](const std::string& line) {
        std::size_t found = 0;
        for (std::size_t at = outcome.printed.find(line); at != std::string::npos;
             at = outcome.printed.find(line, at + 1)) {
            ++found;
        }
        return found;
    };
    EXPECT_EQ(count("Nan values in the gamma correction!\n"), 4U * 48U);
    EXPECT_EQ(count("Error in the inverse non-linearities! Some of the obtained values are nan.\n"), 4U * 144U);
}

TEST(IncreaseBrightness, FactorTenLeavesAnEvenSurfaceAsItWas) {
    cv::Mat bgr(6, 5, CV_32FC3, cv::Scalar(0.3F, 0.45F, 0.6F));
    cv::Mat src(bgr.size(), CV_32FC3);
    compute_cat(bgr, src);
    const Outcome outcome = outcomeOf(src, 10.0F, library);
    EXPECT_EQ(outcome.printed.substr(0, 9), "Gamma: 1\n");
    // Rounding only; a pass of another exponent is off by more than 0.05.
    EXPECT_MAT_NEAR(outcome.dst[0], src, {.absolute = 2e-6});
    EXPECT_GT(cv::norm(outcome.dst[1], src, cv::NORM_INF), 0.05);
}

TEST(IncreaseBrightness, SmallerFactorsBrighten) {
    const Outcome outcome = outcomeOf(adaptedPiece("cat.jpg", {100, 60, 40, 30}), 12.1F, library);
    double previous = 0;
    for (const cv::Mat& image : outcome.dst) {
        const double mean = cv::mean(image)[1];
        EXPECT_GT(mean, previous);
        previous = mean;
    }
}

TEST(BrightnessFactor, FallsBySevenTenthsEachPass) {
    EXPECT_EQ(brightnessFactor(11.4F, 0), 11.4F);
    for (int pass = 0; pass < brightnessPasses; ++pass) {
        EXPECT_NEAR(brightnessFactor(11.4F, pass), 11.4 - 0.7 * pass, 1e-5) << pass;
    }
    // The operation tells the factor of each next pass.
    const std::string printed = outcomeOf(cv::Mat(1, 1, CV_32FC3, cv::Scalar::all(0.5)), 11.4F, library).printed;
    std::size_t at = 0;
    for (int pass = 1; pass < brightnessPasses; ++pass) {
        std::ostringstream line;
        line << '\n' << brightnessFactor(11.4F, pass) << '\n';
        at = printed.find(line.str(), at);
        ASSERT_NE(at, std::string::npos) << pass;
    }
}

TEST(IncreaseBrightness, RestoresTheInput) {
    const cv::Mat image = adaptedPiece("rocket.jpg", {100, 60, 40, 30});
    const Outcome outcome = outcomeOf(image, 10.0F, library);
    EXPECT_MAT_NEAR(outcome.src, image, {.relative = 1.2e-7});  // two roundings of half a unit in the last place
}

TEST(IncreaseBrightness, PrintsRestoredElementsAboveOne) {
    cv::Mat image(1, 2, CV_32FC3, cv::Scalar::all(0.5));
    image.at<cv::Vec3f>(0, 0) = {1.0F, 1.25F, 0.9F};
    image.at<cv::Vec3f>(0, 1)[2] = 2.0F;
    const std::string printed = outcomeOf(image, 10.0F, library).printed;
    EXPECT_TRUE(printed.ends_with("5.8\n1.25\n2\n")) << printed;
}

TEST(IncreaseBrightness, LeavesItsFiles) {
    const Outcome outcome = outcomeOf(adaptedPiece("cat.jpg", {0, 0, 8, 5}), 10.0F, library);
    std::string names;
    for (const auto& [name, content] : outcome.files) {
        names += name + '\n';
    }
    EXPECT_EQ(names,
              "10_in.txt\n10_out.txt\nA_after.jpg\nA_before.jpg\na_after.jpg\na_before.jpg\nb_after.jpg\nb_before.jpg\n"
              "brightness_after.jpg\nbrightness_before.jpg\nbrightness_before_filtered.jpg\ndst.jpg\n"
              "lightness_after.jpg\nlightness_before.jpg\nlms_after.jpg\nlms_before.jpg\nmask.jpg\npValues.txt\n"
              "rgba_after.jpg\nrgba_before.jpg\nt_after.jpg\nt_before.jpg\nz_after.jpg\n");
    EXPECT_EQ(outcome.files.at("pValues.txt"), "");
    EXPECT_EQ(std::count(outcome.files.at("10_out.txt").begin(), outcome.files.at("10_out.txt").end(), '\n'), 40);
}

TEST(IncreaseBrightness, EmptiesAnOlderFileOfPValues) {
    const ScratchDirectory scratch;
    std::ofstream("pValues.txt") << "0.05\n";
    cv::Mat src(2, 2, CV_32FC3, cv::Scalar::all(0.5));
    Images dst = imagesOf(src.size());
    printedBy([&] { increaseBrightness(src, dst.data(), 10.0F); });
    EXPECT_EQ(contentOf("pValues.txt"), "");
}

TEST(IncreaseBrightness, CopiesTheFlashPhotographWhereThereIsOne) {
    const auto withFlash = [](auto operation) {
        const ScratchDirectory scratch;
        const std::filesystem::path folder = "Images/flash-nonFlash+multiExp/set06/Scaled";
        std::filesystem::create_directories(folder);
        std::filesystem::copy_file(std::string(LIKENESS_EXAMPLE_PHOTOGRAPHS) + "/cat.jpg", folder / "flash.JPG");
        cv::Mat src(2, 2, CV_32FC3, cv::Scalar::all(0.5));
        Images dst = imagesOf(src.size());
        printedBy([&] { operation(src, dst.data(), 10.0F); });
        return contentOf("tmpFlash.jpg");
    };
    EXPECT_TRUE(withFlash(library) == withFlash(reference::increaseBrightness));
}

TEST(IncreaseBrightness, SaysNothingAboutAMissingFlashPhotograph) {
    const ScratchDirectory scratch;
    cv::Mat src(2, 2, CV_32FC3, cv::Scalar::all(0.5));
    Images dst = imagesOf(src.size());
    ::testing::internal::CaptureStderr();
    printedBy([&] { increaseBrightness(src, dst.data(), 10.0F); });
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_FALSE(std::filesystem::exists("tmpFlash.jpg"));
}

TEST(IncreaseBrightness, DropsWhatNobodyWants) {
    const cv::Mat image = adaptedPiece("cat.jpg", {50, 50, 20, 10});
    const Outcome quiet = outcomeOf(
        image, 1.0F, [](cv::Mat& src, cv::Mat* dst, float factor) { increaseBrightness(src, dst, factor, dropAll()); });
    EXPECT_EQ(quiet.printed, "");
    EXPECT_TRUE(quiet.files.empty());
    const Outcome loud = outcomeOf(image, 1.0F, library);
    for (std::size_t k = 0; k < quiet.dst.size(); ++k) {
        EXPECT_MAT_EQUAL(quiet.dst[k], loud.dst[k]);
    }
}

}  // namespace
}  // namespace likeness
