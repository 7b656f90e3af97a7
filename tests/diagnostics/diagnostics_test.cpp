#include <likeness/diagnostics/diagnostics.hpp>

#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace likeness {
namespace {

using testing::contentOf;
using testing::printedBy;
using testing::ScratchDirectory;

/// What the image library's own writer makes of an image.
std::string writtenByLibrary(const std::string& extension, const cv::Mat& image) {
    const std::string name = "expected" + extension;
    EXPECT_TRUE(cv::imwrite(name, image));
    const std::string content = contentOf(name);
    std::filesystem::remove(name);
    return content;
}

TEST(WorkingDirectory, WritesImagesAsTheImageLibraryDoes) {
    const ScratchDirectory scratch;
    ASSERT_TRUE(workingDirectory().wantsFiles());
    ASSERT_TRUE(workingDirectory().wantsMessages());
    for (const int channels : {1, 3}) {
        for (const auto& [name, image] : testing::floatImages(channels, -10.0F, 300.0F)) {
            workingDirectory().writeImage("image.jpg", image);
            EXPECT_TRUE(contentOf("image.jpg") == writtenByLibrary(".jpg", image)) << name;
        }
        cv::Mat bytes;
        testing::randomImage({31, 17}, channels, 0.0F, 255.0F, 1).convertTo(bytes, CV_8U);
        workingDirectory().writeImage("image.png", bytes);
        EXPECT_MAT_EQUAL(cv::imread("image.png", cv::IMREAD_UNCHANGED), bytes);
    }
}

TEST(WorkingDirectory, FollowsTheProcess) {
    const ScratchDirectory scratch;
    std::filesystem::create_directory("inner");
    const cv::Mat map = (cv::Mat_<float>(1, 2) << 1.0F, 2.5F);
    workingDirectory().writeMap("map.txt", map, 1, 2);
    std::filesystem::current_path("inner");
    workingDirectory().writeMap("other.txt", map, 1, 1);
    std::filesystem::current_path("..");
    EXPECT_EQ(contentOf("map.txt"), "1\n2.5\n");
    EXPECT_EQ(contentOf("inner/other.txt"), "1\n");
}

TEST(WorkingDirectory, PrintsOnStandardOutput) {
    EXPECT_EQ(printedBy([] { workingDirectory().print("one\ntwo\n"); }), "one\ntwo\n");
}

TEST(WorkingDirectory, KeepsNoEmptyImage) {
    const ScratchDirectory scratch;
    workingDirectory().writeImage("image.jpg", cv::Mat());
    EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST(DropAll, KeepsNothing) {
    const ScratchDirectory scratch;
    EXPECT_FALSE(dropAll().wantsFiles());
    EXPECT_FALSE(dropAll().wantsMessages());
    const cv::Mat map(2, 2, CV_32F, cv::Scalar(3));
    EXPECT_EQ(printedBy([&map] {
                  dropAll().writeImage("image.jpg", map);
                  dropAll().writeMap("map.txt", map, 2, 2);
                  dropAll().openText("text.txt")->write("line\n");
                  dropAll().print("message\n");
              }),
              "");
    EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST(DirectoryDiagnostics, WritesIntoItsDirectory) {
    const ScratchDirectory scratch;
    std::filesystem::create_directory("chosen");
    const DirectoryDiagnostics chosen("chosen");
    const cv::Mat map = (cv::Mat_<float>(2, 2) << 1.0F, -2.5F, 1e-7F, 4.0F);
    chosen.writeImage("image.jpg", map);
    chosen.writeMap("map.txt", map, 2, 2);
    chosen.openText("text.txt")->write("line\n");
    EXPECT_TRUE(contentOf("chosen/image.jpg") == writtenByLibrary(".jpg", map));
    EXPECT_EQ(contentOf("chosen/map.txt"), "1\n-2.5\n1e-07\n4\n");
    EXPECT_EQ(contentOf("chosen/text.txt"), "line\n");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 1);
    EXPECT_TRUE(chosen.failures().empty());
}

TEST(DirectoryDiagnostics, DropsMessagesWhenAskedTo) {
    const DirectoryDiagnostics quiet(".", DirectoryDiagnostics::Messages::dropped);
    EXPECT_TRUE(quiet.wantsFiles());
    EXPECT_FALSE(quiet.wantsMessages());
    EXPECT_EQ(printedBy([&quiet] { quiet.print("message\n"); }), "");
    const DirectoryDiagnostics talking(".");
    EXPECT_TRUE(talking.wantsMessages());
    EXPECT_EQ(printedBy([&talking] { talking.print("message\n"); }), "message\n");
}

TEST(DirectoryDiagnostics, TheLastTextDumpOfANameKeepsTheFile) {
    const ScratchDirectory scratch;
    const DirectoryDiagnostics here{std::string()};
    const std::unique_ptr<TextDump> first = here.openText("text.txt");
    first->write("a long first line\n");
    const std::unique_ptr<TextDump> second = here.openText("text.txt");
    first->write("more of the first\n");
    second->write("2\n");
    first->write("and more\n");
    second->write("3\n");
    EXPECT_EQ(contentOf("text.txt"), "2\n3\n");
    here.writeMap("text.txt", cv::Mat(1, 1, CV_32F, cv::Scalar(7)), 1, 1);
    second->write("4\n");
    EXPECT_EQ(contentOf("text.txt"), "7\n");
    EXPECT_TRUE(here.failures().empty());
}

TEST(DirectoryDiagnostics, CollectsPiecesOfATextDump) {
    const ScratchDirectory scratch;
    const DirectoryDiagnostics here{std::string()};
    {
        const std::unique_ptr<TextDump> dump = here.openText("text.txt");
        EXPECT_EQ(contentOf("text.txt"), "");
        dump->write("1\n");
        dump->write("");
        dump->write("2\n");
    }
    EXPECT_EQ(contentOf("text.txt"), "1\n2\n");
    here.openText("text.txt");
    EXPECT_EQ(contentOf("text.txt"), "");
}

TEST(DirectoryDiagnostics, NamesWhatItCouldNotWrite) {
    const ScratchDirectory scratch;
    const DirectoryDiagnostics missing("no such folder");
    const cv::Mat map(2, 2, CV_32F, cv::Scalar(3));
    missing.writeMap("map.txt", map, 2, 2);
    missing.writeImage("image.jpg", map);
    missing.openText("dump.txt")->write("line\n");
    missing.writeMap("map.txt", map, 2, 2);
    EXPECT_EQ(missing.failures(), (std::vector<std::string>{"dump.txt", "image.jpg", "map.txt"}));
    EXPECT_TRUE(std::filesystem::is_empty("."));

    const DirectoryDiagnostics here(".");
    here.writeImage("image.no-such-format", map);
    here.writeImage("image without format", map);
    here.writeMap("map.txt", map, 2, 2);
    EXPECT_EQ(here.failures(), (std::vector<std::string>{"image without format", "image.no-such-format"}));
}

TEST(DirectoryDiagnostics, KnowsWhatLaterDumpsReplace) {
    const ScratchDirectory scratch;
    const DirectoryDiagnostics here{std::string()};
    EXPECT_TRUE(here.wouldBeReplaced({"new.jpg"}, 1));
    std::ofstream("old.jpg") << "x";
    std::filesystem::create_symlink("old.jpg", "link.jpg");
    EXPECT_TRUE(here.wouldBeReplaced({"new.jpg", "old.jpg", "link.jpg"}, 1));
    std::filesystem::create_symlink("/dev/null", "device.jpg");
    EXPECT_FALSE(here.wouldBeReplaced({"new.jpg", "device.jpg"}, 1));
    std::filesystem::create_directory("folder.jpg");
    EXPECT_FALSE(here.wouldBeReplaced({"folder.jpg"}, 1));
    EXPECT_FALSE(here.wouldBeReplaced({"new.jpg"}, std::uintmax_t{1} << 60U));
    EXPECT_FALSE(DirectoryDiagnostics("/nowhere").wouldBeReplaced({"new.jpg"}, 1));
}

TEST(DirectoryDiagnostics, KeepsFilesWholeUnderManyThreads) {
    const ScratchDirectory scratch;
    const DirectoryDiagnostics here(".");
    constexpr int threads = 4;
    std::vector<std::string> texts;
    std::vector<std::string> images;
    std::vector<cv::Mat> maps;
    for (int k = 0; k < threads; ++k) {
        maps.push_back(testing::randomImage({90 + 20 * k, 40}, 1, 0.0F, 255.0F, static_cast<std::uint64_t>(k)));
        here.writeMap("map.txt", maps.back(), maps.back().rows, maps.back().cols);
        here.writeImage("image.jpg", maps.back());
        texts.push_back(contentOf("map.txt"));
        images.push_back(contentOf("image.jpg"));
    }
    std::unique_ptr<TextDump> shared = here.openText("lines.txt");
    std::vector<std::thread> running;
    for (int k = 0; k < threads; ++k) {
        running.emplace_back([&, k] {
            const cv::Mat& map = maps[static_cast<std::size_t>(k)];
            std::string twoLines(82, static_cast<char>('a' + k));
            twoLines[40] = twoLines[81] = '\n';
            for (int repetition = 0; repetition < 20; ++repetition) {
                here.writeMap("map.txt", map, map.rows, map.cols);
                here.writeImage("image.jpg", map);
                shared->write(twoLines);
            }
        });
    }
    for (std::thread& thread : running) {
        thread.join();
    }
    shared.reset();
    EXPECT_EQ(std::count(texts.begin(), texts.end(), contentOf("map.txt")), 1);
    EXPECT_EQ(std::count(images.begin(), images.end(), contentOf("image.jpg")), 1);
    std::istringstream lines(contentOf("lines.txt"));
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_EQ(line, std::string(40, line[0]));
        std::string second;
        std::getline(lines, second);
        EXPECT_EQ(second, line);
    }
    EXPECT_EQ(count, 20 * threads);
    EXPECT_TRUE(here.failures().empty());
}

}  // namespace
}  // namespace likeness
