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

}  // namespace
}  // namespace likeness::testing
