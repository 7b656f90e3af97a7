// What a file of converted numbers says of itself.
#include "photofile/space_mark.hpp"

#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <fstream>

namespace likeness::testing {
namespace {

std::vector<unsigned char> encoded(const std::string& extension) {
    std::vector<unsigned char> bytes;
    cv::imencode(extension, randomPhotograph({7, 5}, 1), bytes);
    return bytes;
}

void write(const std::string& path, const std::vector<unsigned char>& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

TEST(SpaceMark, IsReadBackAndLeavesThePixels) {
    const ScratchDirectory directory;
    for (const std::string extension : {".png", ".tiff"}) {
        std::vector<unsigned char> bytes = encoded(extension);
        write("plain", bytes);
        EXPECT_EQ(spaceMarkOf("plain"), "");
        addSpaceMark(bytes, "lab 0.9,1,1");
        write("marked", bytes);
        EXPECT_EQ(spaceMarkOf("marked"), "lab 0.9,1,1") << extension;
        EXPECT_EQ(cv::norm(cv::imread("marked"), cv::imread("plain"), cv::NORM_INF), 0) << extension;
    }
}

TEST(SpaceMark, OtherFormatsHaveNone) {
    const ScratchDirectory directory;
    const std::vector<unsigned char> before = encoded(".jpg");
    std::vector<unsigned char> bytes = before;
    addSpaceMark(bytes, "lab 1,1,1");
    EXPECT_EQ(bytes, before);
    write("a.jpg", bytes);
    EXPECT_EQ(spaceMarkOf("a.jpg"), "");
    EXPECT_EQ(spaceMarkOf("missing"), "");
    EXPECT_EQ(spaceMarkOf("."), "");
    write("empty", {});
    EXPECT_EQ(spaceMarkOf("empty"), "");
}

TEST(SpaceMark, OfCutOffFiles) {
    const ScratchDirectory directory;
    for (const std::string extension : {".png", ".tiff"}) {
        std::vector<unsigned char> bytes = encoded(extension);
        addSpaceMark(bytes, "xyz");
        for (std::size_t size = 0; size < bytes.size(); ++size) {
            write("cut", {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)});
            const std::string mark = spaceMarkOf("cut");
            EXPECT_TRUE(mark.empty() || std::string("xyz").rfind(mark, 0) == 0) << extension << ' ' << size;
        }
    }
}

}  // namespace
}  // namespace likeness::testing
