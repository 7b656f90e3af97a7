#include <likeness/likeness.hpp>
#include "console/exposure_times.hpp"
#include "darkroom/darkroom_program.hpp"
#include "darkroom/image_depths.hpp"
#include "files/refusal.hpp"
#include "photofile/clipping.hpp"
#include "support/mat_matchers.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <sstream>

namespace likeness::testing {
namespace {

namespace fs = std::filesystem;

using Results = std::map<std::string, std::string>;

/// An exposure of examples/scene, 1 to 5, of 1/60, 1/30, 1/15, 1/8 and 1/4 s.
std::string sceneExposure(int number) {
    return fmt::format("{}/../scene/bracket_{}.jpg", LIKENESS_EXAMPLE_PHOTOGRAPHS, number);
}

/// The line on the ends of the range of a picture.
std::string toldOfEnds(const std::string& name, const cv::Mat& picture) {
    const cv::Mat values = picture.reshape(1);
    int atEnds = 0;
    for (const cv::Vec3b& pixel : cv::Mat_<cv::Vec3b>(picture)) {
        atEnds += std::any_of(pixel.val, pixel.val + 3, [](uchar v) { return v == 0 || v == 255; }) ? 1 : 0;
    }
    const auto total = static_cast<double>(values.total());
    const auto end = [&](double value, const char* which) {
        const int count = cv::countNonZero(values == value);
        return count == 0 ? std::string()
                          : ", " + percentText(count, total) + " of the values at the " + which + " end";
    };
    return "darkroom fuse: '" + name + "': " + percentText(atEnds, static_cast<double>(picture.total())) +
           " of the pixels stand at the ends of 0..255, where it is clipped" + end(255, "upper") + end(0, "lower") +
           '\n';
}

/// What the library makes of a bracket: the bytes of its files, and the response.
struct BracketOfLibrary {
    BracketOfLibrary(const std::vector<cv::Mat>& images, const std::vector<float>& times)
        : response(recoverResponse(images, times)) {
        const ScratchDirectory directory;
        mergeAndFuse(images, times, response, directory.path() / "run", dropAll());
        for (const auto& entry : fs::directory_iterator(directory.path())) {
            files[entry.path().filename()] = contentOf(entry.path());
        }
    }

    cv::Mat response;
    Results files;
};

/// Replaces a text that occurs once.
std::string with(std::string content, const std::string& old, const std::string& replacement) {
    const std::size_t at = content.find(old);
    EXPECT_NE(at, std::string::npos);
    EXPECT_EQ(content.find(old, at + 1), std::string::npos);
    return content.replace(at, old.size(), replacement);
}

class DarkroomFuse : public DarkroomProgram {
protected:
    /// The example photograph, each time twice as bright, as files without EXIF data.
    DarkroomFuse() {
        const cv::Mat scene = examplePhotograph("coffee.jpg")(cv::Rect(200, 120, 60, 44));
        for (const double gain : {0.35, 0.7, 1.4}) {
            images.emplace_back();
            scene.convertTo(images.back(), CV_8U, gain);
            paths.push_back(save(fmt::format("e{}.png", images.size()), images.back()));
        }
    }

    std::vector<std::string> command(const std::vector<std::string>& inputs,
                                     const std::vector<std::string>& options) const {
        std::vector<std::string> all = {"fuse"};
        all.insert(all.end(), inputs.begin(), inputs.end());
        all.insert(all.end(), options.begin(), options.end());
        return all;
    }

    Results resultsLeft() const {
        Results results;
        for (const std::string& name : filesLeft()) {
            results[name] = contentOf(folder() / name);
        }
        return results;
    }

    std::vector<cv::Mat> images;
    std::vector<std::string> paths;
};

TEST_F(DarkroomFuse, TakesTheTimesFromExifData) {
    std::vector<std::string> exposures;
    std::vector<cv::Mat> read;
    for (int number = 1; number <= 5; ++number) {
        exposures.push_back(sceneExposure(number));
        read.push_back(cv::imread(exposures.back(), cv::IMREAD_COLOR));
    }
    const Outcome outcome = expectDone(command(exposures, {"-o", "run"}));
    const BracketOfLibrary expected(read, {1 / 60.0F, 1 / 30.0F, 1 / 15.0F, 1 / 8.0F, 1 / 4.0F});
    EXPECT_TRUE(resultsLeft() == expected.files);
    EXPECT_EQ(outcome.err,
              "darkroom fuse: wrote 'run.hdr': radiance, relative, not scaled\n"
              "darkroom fuse: wrote 'run.jpg': tone-mapped, 8 bits, 0..255 stands for 0..1\n" +
                  toldOfEnds("run.jpg", imageLeft("run.jpg")) +
                  "darkroom fuse: wrote 'runfusion.jpg': fused, 8 bits, 0..255 stands for 0..1\n" +
                  toldOfEnds("runfusion.jpg", imageLeft("runfusion.jpg")));
}

TEST_F(DarkroomFuse, TakesTheTimesFromTheOption) {
    expectDone(command(paths, {"--times", "1/30,0.6666666666666666e-1,1/8", "-o", "run"}));
    EXPECT_TRUE(resultsLeft() == BracketOfLibrary(images, {1 / 30.0F, 1 / 15.0F, 0.125F}).files);
    // The option wins over what the camera noted.
    expectDone(command({sceneExposure(1), sceneExposure(2)}, {"--times", "2,1", "-o", "run"}));
    const std::vector<cv::Mat> read = {cv::imread(sceneExposure(2)), cv::imread(sceneExposure(1))};
    EXPECT_TRUE(resultsLeft() == BracketOfLibrary(read, {1, 2}).files);
}

TEST_F(DarkroomFuse, TheOrderOfTheFilesDoesNotCount) {
    EXPECT_EQ(expectDone(command(paths, {"--times", "1,2,4", "-o", "run"})).err.find("in the order of"),
              std::string::npos);
    const auto expected = resultsLeft();
    const Outcome outcome = expectDone(command({paths[2], paths[0], paths[1]}, {"--times", "4,1,2", "-o", "run"}));
    EXPECT_EQ(outcome.err.rfind("darkroom fuse: the exposures are taken in the order of their times\n", 0), 0U)
        << outcome.err;
    EXPECT_TRUE(resultsLeft() == expected);
}

TEST_F(DarkroomFuse, TellsOfOnePictureWithTwoTimes) {
    const std::string copy = save("copy.png", images[0]);
    const Outcome outcome =
        expectDone(command({paths[0], copy, paths[2]}, {"--times", "1,2,4", "--response", "r.csv"}));
    EXPECT_NE(outcome.err.find("darkroom fuse: warning: '" + paths[0] + "' and '" + copy +
                               "' are the same picture, and their times, 1 s and 2 s, differ: the response cannot be "
                               "right\n"),
              std::string::npos)
        << outcome.err;
}

TEST_F(DarkroomFuse, ABracketInWholeStopsIsTheLibrarysOwn) {
    std::vector<cv::Mat> exposures;
    for (const cv::Mat& image : images) {
        exposures.emplace_back(image.size(), CV_32FC3);
        cv::Mat bytes = image;
        normImg(bytes, exposures.back());
    }
    cv::Mat* array = exposures.data();
    cv::Mat nonFlash = exposures[0].clone();
    const ScratchDirectory directory;
    recoverCRF(array, nonFlash, 3, directory.path() / "run", dropAll());
    expectDone(command(paths, {"--times", "1/512,1/256,1/128", "-o", "run"}));
    for (const char* name : {"run.hdr", "run.jpg", "runfusion.jpg"}) {
        EXPECT_TRUE(contentOf(folder() / name) == contentOf(directory.path() / name)) << name;
    }
}

TEST_F(DarkroomFuse, DeeperImagesAreRoundedToBytes) {
    const cv::Rect part(100, 60, 60, 44);
    for (const StoredImage& image : imagesOfEveryDepth("coffee.jpg", part)) {
        if (image.stored.depth() == CV_8U) {
            continue;
        }
        cv::Mat rounded;
        image.unit.convertTo(rounded, CV_8U, 255);
        const cv::Mat darker = rounded / 2;
        expectDone(
            command({save("darker.png", darker), save(image.name, image.stored)}, {"--times", "1,2", "-o", "run"}));
        EXPECT_TRUE(resultsLeft() == BracketOfLibrary({darker, rounded}, {1, 2}).files) << image.name;
    }
}

TEST_F(DarkroomFuse, WritesTheResponse) {
    const Outcome outcome =
        expectDone(command(paths, {"--times", "1/30,1/15,2/15", "--response", "r.csv", "--plot", "r.svg"}));
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"r.csv", "r.svg"}));
    EXPECT_EQ(outcome.err,
              "darkroom fuse: wrote 'r.csv': camera response, byte value and relative exposure\n"
              "darkroom fuse: wrote 'r.svg': camera response\n");
    const cv::Mat response = BracketOfLibrary(images, {1 / 30.0F, 1 / 15.0F, 2 / 15.0F}).response;
    std::istringstream csv(contentOf(output("r.csv")));
    std::string line;
    std::getline(csv, line);
    EXPECT_EQ(line, "byte_value,relative_exposure_red,relative_exposure_green,relative_exposure_blue");
    for (int byte = 0; byte < 256; ++byte) {
        ASSERT_TRUE(std::getline(csv, line));
        int value = -1;
        cv::Vec3f bgr;
        ASSERT_EQ(std::sscanf(line.c_str(), "%d,%f,%f,%f", &value, &bgr[2], &bgr[1], &bgr[0]), 4) << line;
        EXPECT_EQ(value, byte);
        EXPECT_EQ(bgr, response.at<cv::Vec3f>(byte)) << "nine digits read back exactly";
    }
    EXPECT_FALSE(std::getline(csv, line));
    const std::string svg = contentOf(output("r.svg"));
    EXPECT_EQ(svg.rfind("<?xml", 0) == 0 || svg.rfind("<svg", 0) == 0, true) << svg.substr(0, 40);
    EXPECT_NE(svg.find("Camera response"), std::string::npos);
}

TEST_F(DarkroomFuse, FindsTheResponseOfTheCamera) {
    std::vector<std::string> exposures;
    for (int number = 1; number <= 5; ++number) {
        exposures.push_back(sceneExposure(number));
    }
    expectDone(command(exposures, {"--response", "r.csv"}));
    std::istringstream csv(contentOf(output("r.csv")));
    std::map<int, std::array<double, 3>> response;
    for (std::string line; std::getline(csv, line);) {
        int value = -1;
        std::array<double, 3> rgb{};
        if (std::sscanf(line.c_str(), "%d,%lf,%lf,%lf", &value, &rgb[0], &rgb[1], &rgb[2]) == 4) {
            response[value] = rgb;
        }
    }
    // The camera stores 255 exposure^(1 / 2.2). Five photographs with the noise of JPEG leave up to 11 % (measured) in
    // the middle of the range; a straight line would be off by more than a factor of 2 at 48.
    for (const int byte : {48, 64, 96, 160, 192}) {
        for (std::size_t c = 0; c < 3; ++c) {
            const double expected = std::pow(byte / 128.0, 2.2);
            EXPECT_NEAR(response[byte][c] / response[128][c], expected, 0.2 * expected) << byte << ' ' << c;
        }
    }
}

TEST_F(DarkroomFuse, WarnsWhereMoreThanTheTimeDiffers) {
    // The entry of the sensitivity: tag, type, count, value.
    const std::string at100("\x27\x88\x03\0\x01\0\0\0\x64\0", 10);
    const std::string at200("\x27\x88\x03\0\x01\0\0\0\xC8\0", 10);
    const std::string other = saveText("iso.jpg", with(contentOf(sceneExposure(2)), at100, at200));
    const std::string first = sceneExposure(1);
    EXPECT_EQ(expectDone(command({first, other}, {"--response", "r.csv", "--quiet"})).err,
              "darkroom fuse: warning: '" + first + "' and '" + other +
                  "' differ in aperture or sensitivity, which the exposure times do not tell\n");
}

TEST_F(DarkroomFuse, KeepsItsDumpsWhereTheyAreAskedFor) {
    fs::create_directory(output("dumps"));
    const Outcome outcome =
        expectDone(command(paths, {"--times", "1,2,4", "-o", "run", "--dumps", "dumps", "--verbose"}));
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"dumps", "run.hdr", "run.jpg", "runfusion.jpg"}));
    EXPECT_TRUE(fs::exists(output("dumps/Rreal.txt")));
    EXPECT_NE(outcome.err.find(";\n"), std::string::npos) << "the response, as a matrix";
    const std::string red = contentOf(output("dumps/Rreal.txt"));
    fs::remove_all(output("dumps"));
    fs::create_directory(output("dumps"));
    expectDone(command(paths, {"--times", "1,2,4", "--response", "r.csv", "--dumps", "dumps"}));
    EXPECT_EQ(contentOf(output("dumps/Rreal.txt")), red) << "without pictures, too";
}

TEST_F(DarkroomFuse, RefusesImages) {
    const std::vector<std::string> times = {"--times", "1,2", "-o", "run"};
    expectRefused({"fuse", "-o", "run"}, "IMG is required");
    expectRefused(command({paths[0]}, {"--times", "1", "-o", "run"}),
                  "a bracket has at least two exposures, and one image is given");
    expectRefused(command({paths[0], "missing.png"}, times), "cannot read 'missing.png' as an image");
    const std::string other = save("other.png", images[0].colRange(0, 50));
    expectRefused(command({paths[0], other}, times),
                  "'" + paths[0] + "' is 60 x 44 pixels and '" + other + "' is 50 x 44: they must be of one size");
    const std::string tiny = save("tiny.png", images[0](cv::Rect(0, 0, 23, 3)));
    const std::string narrow = save("narrow.png", cv::Mat(1000, 1, CV_8UC3, cv::Scalar::all(7)));
    for (const auto& [path, size] : {std::pair{tiny, "23 x 3"}, std::pair{narrow, "1 x 1000"}}) {
        expectRefused(command({path, path}, times), "'" + path + "' is " + size +
                                                        " pixels: a camera response takes at least 70 pixels, and "
                                                        "sides that differ no more than about 70 times");
    }
}

TEST(ExposureTimesIn, TakesFractionsAndNumbersAboveZero) {
    EXPECT_EQ(darkroom::exposureTimesIn("1/30,0.5,2,1e-3,2.5/10", 5),
              (std::vector<float>{1 / 30.0F, 0.5F, 2, 0.001F, 0.25F}));
    for (const char* time : {"-1", "nan", "inf", "1/0", "1/-2", "-1/-2", "0/3", "1s", "", " 2", "/", "1/", "/2",
                             "1e-60", "1e60", "1/1e60", "0x10"}) {
        try {
            darkroom::exposureTimesIn(fmt::format("1,{}", time), 2);
            ADD_FAILURE() << time;
        } catch (const Refusal& refusal) {
            EXPECT_EQ(refusal.what(),
                      fmt::format("--times: '{}' is not a time in seconds, a fraction or a number above 0", time));
        }
    }
}

TEST_F(DarkroomFuse, RefusesTimes) {
    const std::vector<std::string> two = {paths[0], paths[1]};
    for (const char* time : {"0", "1/2/3"}) {
        expectRefused(command(two, {"-o", "run", "--times", fmt::format("1,{}", time)}),
                      fmt::format("--times: '{}' is not a time in seconds, a fraction or a number above 0", time));
    }
    expectRefused(command(two, {"-o", "run", "--times", "1"}), "--times: 1 time for 2 images");
    expectRefused(command(two, {"-o", "run", "--times", "1,2,3"}), "--times: 3 times for 2 images");
    expectRefused(command(two, {"-o", "run", "--times", "1/4,0.25"}),
                  "'" + paths[0] + "' and '" + paths[1] +
                      "' have the same exposure time, 0.25 s: each must have its "
                      "own");
    const std::string scene = sceneExposure(1);
    expectRefused(
        command({scene, scene}, {"-o", "run"}),
        "'" + scene + "' and '" + scene + "' have the same exposure time, 0.0166667 s: each must have its own");
    expectRefused(command(two, {"-o", "run"}),
                  "'" + paths[0] + "' has no exposure time in its EXIF data: --times must give the times");
    // The ratio 1 / 60 in the EXIF data becomes 0 / 60 and 1 / 0.
    const std::string ratio("\x01\0\0\0\x3C\0\0\0", 8);
    for (const std::string& wrong : {std::string("\0\0\0\0\x3C\0\0\0", 8), std::string("\x01\0\0\0\0\0\0\0", 8)}) {
        const std::string path = saveText("wrong.jpg", with(contentOf(sceneExposure(1)), ratio, wrong));
        expectRefused(
            command({path, sceneExposure(2)}, {"-o", "run"}),
            "'" + path + "' has an exposure time in its EXIF data that is not above 0: --times must give the times");
    }
}

TEST_F(DarkroomFuse, RefusesPlaces) {
    const auto to = [this](const std::vector<std::string>& options) {
        std::vector<std::string> all = {"--times", "1,2,3"};
        all.insert(all.end(), options.begin(), options.end());
        return command(paths, all);
    };
    expectRefused(to({}), "nothing is asked for: --output, --response or --plot must name a result");
    expectRefused(to({"-o", "none/run"}),
                  "--output: 'none/run.hdr' cannot be written: the folder 'none' does not exist");
    expectRefused(to({"-o", "./"}), "--output: './' is no stem of a file name");
    expectRefused(to({"--response", "none/r.csv"}),
                  "--response: 'none/r.csv' cannot be written: the folder 'none' does not exist");
    expectRefused(to({"--plot", "none/r.svg"}),
                  "--plot: 'none/r.svg' cannot be written: the folder 'none' does not exist");
    expectRefused(to({"--response", "r", "--plot", "r"}), "--plot: 'r' is the file of --response too");
    const std::string input1 = save("a.jpg", images[0]);
    expectRefused({"fuse", input1, paths[1], "--times", "1,2", "-o", input1.substr(0, input1.size() - 4)},
                  "--output: '" + input1 + "' would replace the input '" + input1 + "'; choose another name");
}

}  // namespace
}  // namespace likeness::testing
