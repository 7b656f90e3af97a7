// The short examples of the reference pages are run on the example photographs.
#include <likeness/likeness.hpp>
#include "support/process.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <regex>
#include <sstream>

namespace likeness::testing {
namespace {

const std::string programs = LIKENESS_TEACHING_EXAMPLES;

std::string photo(const std::string& name) {
    return std::string(LIKENESS_EXAMPLE_PHOTOGRAPHS) + "/" + name;
}

TEST(TeachingExamples, CompareShowsWhatTheProgramPrints) {
    const ScratchDirectory folder;
    const Outcome program = run({LIKENESS_PROGRAM, photo("cat.jpg"), photo("coffee.jpg")}, folder.path());
    const Outcome example =
        run({programs + "/compare_photographs", photo("cat.jpg"), photo("coffee.jpg")}, folder.path());
    EXPECT_EQ(example.status, 0) << example.err;
    EXPECT_EQ(example.out.rfind("brightness 0", 0), 0U) << example.out;
    EXPECT_EQ(std::regex_replace(example.out, std::regex("[a-z]+ ([0-9])|, "), "$1"),
              std::regex_replace(program.out, std::regex(","), ""));
}

/// Both of one size, and equal pixel by pixel.
void expectPicture(const std::string& file, const cv::Mat& wanted) {
    const cv::Mat picture = cv::imread(file, cv::IMREAD_UNCHANGED);
    cv::Mat bytes;
    wanted.convertTo(bytes, CV_8U);
    ASSERT_EQ(picture.size(), bytes.size());
    ASSERT_EQ(picture.type(), bytes.type());
    EXPECT_EQ(cv::norm(picture, bytes, cv::NORM_INF), 0);
}

TEST(TeachingExamples, AppearanceMapsLeaveTheLightness) {
    const ScratchDirectory folder;
    const Outcome example = run({programs + "/appearance_maps", photo("cat.jpg"), "lightness.png"}, folder.path());
    EXPECT_EQ(example.status, 0) << example.err;
    EXPECT_TRUE(std::regex_match(example.out, std::regex("mean brightness [0-9.]+, mean chroma [0-9.]+\n")))
        << example.out;
    expectPicture(folder.path() / "lightness.png", appearanceMaps(cv::imread(photo("cat.jpg"))).lightness * 2.55);
}

#ifdef LIKENESS_DARKROOM  // with it the module of archives is built
TEST(TeachingExamples, ArchivesTellTheNearest) {
    const ScratchDirectory folder;
    const std::vector<std::string> call = {programs + "/photograph_archive", "photos.likeness", photo("cat.jpg"),
                                           photo("coffee.jpg")};
    const Outcome example = run(call, folder.path());
    EXPECT_EQ(example.status, 0) << example.err;
    const AppearanceDistributions cat = appearanceDistributions(cv::imread(photo("cat.jpg")));
    const AppearanceDistributions coffee = appearanceDistributions(cv::imread(photo("coffee.jpg")));
    const LikenessCoefficients k = compareDistributions(cat, coffee);
    std::ostringstream expected;
    const double mean = (double{k.brightness} + double{k.lightness} + double{k.chroma} + double{k.colorfulness} +
                         double{k.saturation}) /
                        5;
    expected << "2 photographs, 2 new\n"
             << photo("cat.jpg") << " looks most like " << photo("coffee.jpg") << ": " << mean << '\n'
             << photo("coffee.jpg") << " looks most like " << photo("cat.jpg") << ": " << mean << '\n';
    EXPECT_EQ(example.out, expected.str());
    EXPECT_EQ(run(call, folder.path()).out.rfind("2 photographs, 0 new\n", 0), 0U);
}
#endif

TEST(TeachingExamples, TransferLeavesAPicture) {
    const ScratchDirectory folder;
    const Outcome example =
        run({programs + "/transfer_colors", photo("cat.jpg"), photo("coffee.jpg"), "moved.png"}, folder.path());
    EXPECT_EQ(example.status, 0) << example.err;
    TransferOptions options;
    options.t = 0.5;
    const Transfer transfer = transferColors(cv::imread(photo("cat.jpg")), cv::imread(photo("coffee.jpg")), options);
    expectPicture(folder.path() / "moved.png", transfer.image * 255);
}

TEST(TeachingExamples, RefuseOtherNumbersOfArguments) {
    const ScratchDirectory folder;
    for (const char* const name : {"compare_photographs", "appearance_maps", "photograph_archive", "transfer_colors"}) {
        EXPECT_EQ(run({programs + "/" + name}, folder.path()).status, 2) << name;
    }
}

}  // namespace
}  // namespace likeness::testing
