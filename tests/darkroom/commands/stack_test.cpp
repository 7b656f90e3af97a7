#include <likeness/likeness.hpp>
#include "darkroom/darkroom_program.hpp"
#include "darkroom/image_depths.hpp"
#include "photofile/image_input.hpp"
#include "support/mat_matchers.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

namespace likeness::testing {
namespace {

namespace fs = std::filesystem;

using Results = std::map<std::string, std::string>;

/// What the library makes of a pair: the bytes of its files, and the flash photograph as it left it.
struct StackOfLibrary {
    StackOfLibrary(int version, const cv::Mat& flashPhotograph, const cv::Mat& ambient, float brightness,
                   int iterations)
        : flash(flashPhotograph.clone()) {
        const ScratchDirectory directory;
        cv::Mat nonFlash = ambient.clone();
        const auto operation = version == 1   ? createBrightnessExposures
                               : version == 2 ? createBrightnessExposuresVs2
                                              : createBrightnessExposuresVs3;
        operation(flash, nonFlash, brightness, iterations, directory.path() / "run", dropAll());
        for (const auto& entry : fs::directory_iterator(directory.path())) {
            files[entry.path().filename()] = contentOf(entry.path());
        }
    }

    cv::Mat flash;
    Results files;
};

cv::Mat inBytes(const cv::Mat& unit) {
    cv::Mat bytes(unit.size(), CV_8UC3);
    for (int i = 0; i < unit.rows; ++i) {
        for (int j = 0; j < unit.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                const double value = unit.at<cv::Vec3f>(i, j)[c];
                bytes.at<cv::Vec3b>(i, j)[c] =
                    static_cast<uchar>(value > 0 ? std::lround(std::min(value, 1.0) * 255) : 0);
            }
        }
    }
    return bytes;
}

class DarkroomStack : public DarkroomProgram {
protected:
    Results resultsLeft() const {
        Results results;
        for (const std::string& name : filesLeft()) {
            results[name] = contentOf(folder() / name);
        }
        return results;
    }

    const cv::Rect part{200, 120, 60, 44};
    const cv::Mat scene = examplePhotograph("coffee.jpg")(part).clone();
    const std::string flash = save("flash.png", scene);
    const std::string ambient = save("ambient.png", scene / 3);
};

TEST_F(DarkroomStack, WritesWhatTheLibraryWrites) {
    const Outcome outcome =
        expectDone({"stack", "--flash", flash, "--no-flash", ambient, "-o", "run", "--iterations", "2"});
    const StackOfLibrary expected(1, unitImageOf(scene), unitImageOf(scene / 3), 11.5F, 2);
    EXPECT_EQ(expected.files.size(), 15U);
    EXPECT_TRUE(resultsLeft() == expected.files);
    EXPECT_NE(outcome.err.find("darkroom stack: wrote 'run1_05_final.jpg': flash photograph tinted to exposure 5, "
                               "round 2\n"),
              std::string::npos);
}

TEST_F(DarkroomStack, SecondVersionLeavesTheTintedPhotographToo) {
    expectDone({"stack", "--flash", flash, "--no-flash", ambient, "-o", "run", "--version", "2"});
    const StackOfLibrary expected(2, unitImageOf(scene), unitImageOf(scene / 3), 11.5F, 1);
    EXPECT_EQ(expected.files.size(), 3U);
    EXPECT_MAT_EQUAL(imageLeft("runtinted.png"), inBytes(expected.flash));
    fs::remove(output("runtinted.png"));
    EXPECT_TRUE(resultsLeft() == expected.files);
}

TEST_F(DarkroomStack, ThirdVersionLeavesTheTintedPhotographAloneOfEveryDepth) {
    for (const StoredImage& image : imagesOfEveryDepth("coffee.jpg", part)) {
        const std::string in = save("in_" + image.name, image.stored);
        expectDone({"stack", "--flash", in, "--no-flash", ambient, "-o", "run", "--version", "3", "--iterations", "2"});
        EXPECT_EQ(filesLeft(), std::vector<std::string>{"runtinted.png"});
        const StackOfLibrary expected(3, image.unit, unitImageOf(scene / 3), 11.5F, 2);
        EXPECT_MAT_EQUAL(imageLeft("runtinted.png"), inBytes(expected.flash)) << image.name;
    }
}

TEST_F(DarkroomStack, BrightnessAndIterationsReachTheOperation) {
    fs::create_directory(output("results"));
    expectDone({"stack", "--flash", flash, "--no-flash", ambient, "-o", "results/run", "--brightness", "9.5",
                "--iterations", "0"});
    const StackOfLibrary expected(1, unitImageOf(scene), unitImageOf(scene / 3), 9.5F, 0);
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"results"});
    EXPECT_EQ(expected.files.size(), 3U);
    for (const auto& [name, content] : expected.files) {
        EXPECT_TRUE(contentOf(folder() / "results" / name) == content) << name;
    }
}

TEST_F(DarkroomStack, MessagesAndDumpsOfTheOperation) {
    fs::create_directory(output("dumps"));
    const Outcome outcome =
        expectDone({"stack", "--flash", flash, "--no-flash", ambient, "-o", "run", "--verbose", "--dumps", "dumps"});
    EXPECT_NE(outcome.err.find("\n 5\n"), std::string::npos);
    EXPECT_EQ(outcome.err.find(".run."), std::string::npos);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(filesLeft().size(), 10U) << "nine results and the folder of the dumps";
    EXPECT_TRUE(fs::exists(output("dumps/5_nonFlash.jpg")));
    EXPECT_FALSE(fs::exists(output("dumps/run.hdr")));
}

TEST_F(DarkroomStack, Refuses) {
    const std::vector<std::string> pair = {"stack", "--flash", flash, "--no-flash", ambient};
    const auto with = [&pair](const std::vector<std::string>& more) {
        std::vector<std::string> all = pair;
        all.insert(all.end(), more.begin(), more.end());
        return all;
    };
    expectRefused({"stack", "--flash", "missing.png", "--no-flash", ambient, "-o", "run"},
                  "cannot read 'missing.png': No such file or directory");
    expectRefused({"stack", "--flash", flash, "--no-flash", "missing.png", "-o", "run"},
                  "cannot read 'missing.png': No such file or directory");
    expectRefused({"stack", "--no-flash", ambient, "-o", "run"}, "--flash is required");
    expectRefused({"stack", "--flash", flash, "-o", "run"}, "--no-flash is required");
    expectRefused(pair, "--output is required");
    const std::string other = save("other.png", scene.colRange(0, 50));
    expectRefused({"stack", "--flash", flash, "--no-flash", other, "-o", "run"},
                  "'" + flash + "' is 60 x 44 pixels and '" + other + "' is 50 x 44: they must be of one size");
    expectRefused(with({"-o", "run", "--version", "4"}), "--version: '4' is not a whole number from 1 to 3");
    expectRefused(with({"-o", "run", "--iterations", "-1"}), "--iterations: '-1' is not a whole number from 0 to 100");
    expectRefused(with({"-o", "run", "--brightness", "0"}), "--brightness: '0' is not a number above 0 and up to 100");
    expectRefused(with({"-o", "run", "--brightness", "3.4"}),
                  "--brightness: 3.4 leaves pass 6 with the factor -0.1, which must be above 0");
    expectRefused(with({"-o", "run", "--version", "3", "--brightness", "9"}),
                  "--brightness: version 3 makes no exposures");
    expectRefused(with({"-o", "run", "--version", "3", "--iterations", "0"}),
                  "--iterations: version 3 only tints, and needs at least one round");
    const std::string tiny = save("tiny.png", scene(cv::Rect(0, 0, 23, 3)));
    expectRefused({"stack", "--flash", tiny, "--no-flash", tiny, "-o", "run"},
                  "'" + tiny +
                      "' is 23 x 3 pixels: a camera response takes at least 70 pixels, and sides that differ "
                      "no more than about 70 times");
}

TEST_F(DarkroomStack, RefusesPlacesBeforeItWorks) {
    const auto to = [this](const std::string& prefix) {
        return std::vector<std::string>{"stack", "--flash", flash, "--no-flash", ambient, "-o", prefix};
    };
    expectRefused(to("none/run"),
                  "--output: 'none/run0_00_final.jpg' cannot be written: the folder 'none' does not exist");
    expectRefused(to(""), "--output: '' is no stem of a file name");
    fs::create_directory(output("results"));
    expectRefused(to("results/"), "--output: 'results/' is no stem of a file name");
    fs::create_directory(output("run.hdr"));
    expectRefused(to("run"), "--output: 'run.hdr' is a folder");
    // A result never takes the name of an input.
    const std::string asResult = save("a.jpg", scene);
    const std::string prefix = asResult.substr(0, asResult.size() - 4);
    expectRefused({"stack", "--flash", asResult, "--no-flash", asResult, "-o", prefix},
                  "--output: '" + asResult + "' would replace the input '" + asResult + "'; choose another name");
    const std::string tinted = save("btinted.png", scene);
    expectRefused({"stack", "--flash", flash, "--no-flash", tinted, "-o", input("b"), "--version", "3"},
                  "--output: '" + tinted + "' would replace the input '" + tinted + "'; choose another name");
}

}  // namespace
}  // namespace likeness::testing
