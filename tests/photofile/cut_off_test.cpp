#include "photofile/cut_off.hpp"

#include "photofile/opened_file.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <fstream>

namespace likeness::testing {
namespace {

bool isCut(const std::string& path) {
    const OpenedFile file(path);
    EXPECT_EQ(file.problem(), "");
    return isCutOff(file.source(), readImageHeader(file.source()), file.size());
}

TEST(CutOff, WholeFilesAreWhole) {
    const ScratchDirectory scratch;
    for (const std::string name : {"a.jpg", "a.png", "a.tif", "a.bmp", "a.webp", "a.jp2", "a.ppm", "a.pfm"}) {
        const cv::Mat image = randomPhotograph({71, 66}, 3);
        cv::Mat floats;
        image.convertTo(floats, CV_32F);
        cv::imwrite(name, name == "a.pfm" ? floats : image);
        EXPECT_FALSE(isCut(name)) << name;
    }
}

TEST(CutOff, ThoseWithoutTheirEndAreNot) {
    const ScratchDirectory scratch;
    const cv::Mat image = randomPhotograph({71, 66}, 3);
    cv::Mat floats;
    image.convertTo(floats, CV_32F);
    for (const std::string name : {"a.png", "a.tif", "a.bmp", "a.webp", "a.jp2", "a.ppm", "a.pfm"}) {
        cv::imwrite(name, name == "a.pfm" ? floats : image);
        const std::string bytes = contentOf(name);
        for (const std::size_t length : {bytes.size() - bytes.size() / 10, bytes.size() / 2, std::size_t{30}}) {
            const std::string cut = "cut_" + name;
            std::ofstream(cut, std::ios::binary) << bytes.substr(0, length);
            EXPECT_TRUE(isCut(cut)) << name << ' ' << length;
        }
    }
    // Of a JPEG the header: readers recover what they can of cut-off scans.
    cv::imwrite("a.jpg", image);
    std::ofstream("cut.jpg", std::ios::binary) << contentOf("a.jpg").substr(0, 100);
    EXPECT_TRUE(isCut("cut.jpg"));
}

FileEnd endOfFile(const std::string& path) {
    const OpenedFile file(path);
    EXPECT_EQ(file.problem(), "");
    return endOf(file.source(), readImageHeader(file.source()), file.size());
}

void write(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

TEST(EndOfFile, IsTheMarkerBehindTheScansOfAJpeg) {
    const ScratchDirectory scratch;
    const cv::Mat image = randomPhotograph({171, 166}, 3);
    for (const std::vector<int>& parameters :
         {std::vector<int>{}, {cv::IMWRITE_JPEG_PROGRESSIVE, 1}, {cv::IMWRITE_JPEG_RST_INTERVAL, 1}}) {
        cv::imwrite("a.jpg", image, parameters);
        const std::string bytes = contentOf("a.jpg");
        EXPECT_EQ(endOfFile("a.jpg"), FileEnd::there);
        write("more.jpg", bytes + "what some cameras write behind it");
        EXPECT_EQ(endOfFile("more.jpg"), FileEnd::there);
        for (const std::size_t missing : {std::size_t{1}, std::size_t{2}, bytes.size() / 10, bytes.size() / 2}) {
            write("cut.jpg", bytes.substr(0, bytes.size() - missing));
            EXPECT_EQ(endOfFile("cut.jpg"), FileEnd::missing) << missing;
            EXPECT_FALSE(isCut("cut.jpg")) << missing;
        }
    }
}

TEST(EndOfFile, IsTheTrailerOfAGif) {
    const ScratchDirectory scratch;
    const std::string header("GIF89a\x01\0\x01\0\x80\0\0\0\0\0\xFF\xFF\xFF", 19);
    const std::string extension("\x21\xFE\x02hi\0", 6);
    const std::string frame("\x2C\0\0\0\0\x01\0\x01\0\0\x02\x02\x44\x01\0", 15);
    const std::string all = header + extension + frame + frame;
    write("a.gif", all + ";");
    EXPECT_EQ(endOfFile("a.gif"), FileEnd::there);
    EXPECT_FALSE(isCut("a.gif"));
    const std::size_t first = header.size() + extension.size() + frame.size();
    for (std::size_t length = header.size(); length <= all.size(); ++length) {
        write("cut.gif", all.substr(0, length));
        EXPECT_EQ(isCut("cut.gif"), length < first) << length;
        EXPECT_EQ(endOfFile("cut.gif"), FileEnd::missing) << length;
    }
}

TEST(EndOfFile, IsNotToldByEveryFormat) {
    const ScratchDirectory scratch;
    write("a.jxl", std::string("\xFF\x0A\x00\x00", 4));
    EXPECT_EQ(endOfFile("a.jxl"), FileEnd::untold);
    cv::imwrite("a.hdr", cv::Mat(3, 4, CV_32FC3, cv::Scalar::all(1)));
    EXPECT_EQ(endOfFile("a.hdr"), FileEnd::untold);
    cv::imwrite("a.png", cv::Mat(3, 4, CV_8UC3, cv::Scalar::all(1)));
    EXPECT_EQ(endOfFile("a.png"), FileEnd::there);
}

}  // namespace
}  // namespace likeness::testing
