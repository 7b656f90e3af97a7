#include "darkroom/darkroom_program.hpp"

#include <likeness/comparison/metrics.hpp>
#include "photofile/profile_tagging.hpp"
#include "support/test_images.hpp"

#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <fstream>

namespace likeness::testing {

namespace fs = std::filesystem;

std::string photo(const std::string& name) {
    return std::string(LIKENESS_EXAMPLE_PHOTOGRAPHS) + "/" + name;
}

cv::Mat unitPhotograph(const std::string& name) {
    cv::Mat bytes = examplePhotograph(name);
    cv::Mat unit(bytes.size(), CV_32FC3);
    normImg(bytes, unit);
    return unit;
}

std::string DarkroomProgram::save(const std::string& name, const cv::Mat& image) const {
    if (fs::path(name).extension() == ".tif" && image.type() == CV_32FC3) {
        saveBareFloats(name, image);
        const std::string text = contentOf(input(name));
        std::vector<unsigned char> tiff(text.begin(), text.end());
        tagTiff(tiff, *ColorProfile::named("srgb"));
        return saveText(name, std::string(tiff.begin(), tiff.end()));
    }
    EXPECT_TRUE(cv::imwrite(input(name), image));
    return input(name);
}

std::string DarkroomProgram::saveBareFloats(const std::string& name, const cv::Mat& image) const {
    // LZW (5) keeps floats as they are; the default for three channels of them does not.
    EXPECT_TRUE(cv::imwrite(input(name), image, {cv::IMWRITE_TIFF_COMPRESSION, 5}));
    return input(name);
}

std::string DarkroomProgram::saveText(const std::string& name, const std::string& text) const {
    std::ofstream(input(name), std::ios::binary) << text;
    return input(name);
}

Outcome DarkroomProgram::darkroom(const std::vector<std::string>& arguments) const {
    std::vector<std::string> command = {LIKENESS_DARKROOM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run(command, folder());
}

Outcome DarkroomProgram::darkroomWithoutThreads(const std::vector<std::string>& arguments) const {
    std::vector<std::string> command = {LIKENESS_DARKROOM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    fs::permissions(folder(), fs::perms::all);  // who has no other thread may be another user
    fs::permissions(inputs_.path(), fs::perms::all);
    return run(command, folder(), forbidThreads);
}

Outcome DarkroomProgram::expectDone(const std::vector<std::string>& arguments) const {
    Outcome outcome = darkroom(arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return outcome;
}

void DarkroomProgram::expectRefused(const std::vector<std::string>& arguments, const std::string& message) const {
    const auto contents = [this] {
        std::vector<std::string> all;
        for (const std::string& name : filesLeft()) {
            all.push_back(name);
            if (fs::is_regular_file(folder() / name)) {
                all.push_back(contentOf(folder() / name));
            }
        }
        return all;
    };
    const std::vector<std::string> before = contents();
    const Outcome outcome = darkroom(arguments);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "darkroom " + arguments.front() + ": " + message + "\n");
    EXPECT_TRUE(contents() == before) << "the folder has changed";
}

std::vector<std::string> DarkroomProgram::filesLeft() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder())) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

cv::Mat DarkroomProgram::imageLeft(const std::string& name) const {
    cv::Mat image = cv::imread(output(name), cv::IMREAD_UNCHANGED);
    EXPECT_FALSE(image.empty()) << name;
    return image;
}

}  // namespace likeness::testing
