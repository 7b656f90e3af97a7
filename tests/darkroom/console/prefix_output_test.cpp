#include "console/prefix_output.hpp"

#include "files/refusal.hpp"
#include "support/process.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <sys/wait.h>
#include <unistd.h>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

namespace likeness::darkroom {
namespace {

namespace fs = std::filesystem;

using testing::contentOf;
using testing::ScratchDirectory;

std::size_t entriesOf(const fs::path& folder) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

TEST(StagedResults, AppearWholeAndLeaveNothingElse) {
    const ScratchDirectory directory;
    const Console console("stack", {"", true, false});
    const std::string prefix = directory.path() / "run";
    std::ofstream(prefix + "a.txt") << "older";
    {
        const StagedResults staged(prefix);
        EXPECT_EQ(fs::path(staged.stagedPrefix()).filename(), "run");
        EXPECT_EQ(fs::path(staged.stagedPrefix()).parent_path().parent_path(), directory.path());
        std::ofstream(staged.stagedPrefix() + "a.txt") << "one\ntwo";
        std::ofstream(staged.stagedPrefix() + "b.txt") << std::string("\0\1", 2);
        std::ofstream(staged.stagedPrefix() + "unasked.txt") << "three";
        EXPECT_EQ(contentOf(prefix + "a.txt"), "older");
        staged.publish(console, {{"a.txt", "first"}, {"b.txt", "second"}});
    }
    EXPECT_EQ(contentOf(prefix + "a.txt"), "one\ntwo");
    EXPECT_EQ(contentOf(prefix + "b.txt"), std::string("\0\1", 2));
    EXPECT_EQ(entriesOf(directory.path()), 2U);
}

TEST(StagedResults, WhereOneIsMissingNoneAppears) {
    const ScratchDirectory directory;
    const Console console("stack", {"", true, false});
    const std::string prefix = directory.path() / "run";
    {
        const StagedResults staged(prefix);
        std::ofstream(staged.stagedPrefix() + "a.txt") << "one";
        try {
            staged.publish(console, {{"a.txt", ""}, {"b.txt", ""}});
            ADD_FAILURE() << "not refused";
        } catch (const Refusal& refusal) {
            EXPECT_EQ(refusal.what(), "cannot write '" + prefix + "b.txt'");
        }
    }
    EXPECT_EQ(entriesOf(directory.path()), 0U);
}

TEST(StagedResults, AnInterruptedProgramLeavesNothing) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        const ScratchDirectory directory;
        std::array<int, 2> ready{};
        ASSERT_EQ(::pipe(ready.data()), 0);
        const ::pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            std::signal(signal, SIG_DFL);
            const StagedResults staged(directory.path() / "run");
            std::ofstream(staged.stagedPrefix() + "a.txt") << "one";
            const bool told = ::write(ready[1], "x", 1) == 1;
            std::this_thread::sleep_for(std::chrono::seconds(told ? 60 : 0));  // goes on after a signal
            std::_Exit(1);
        }
        char byte = 0;
        ASSERT_EQ(::read(ready[0], &byte, 1), 1);
        EXPECT_EQ(entriesOf(directory.path()), 1U);
        ::kill(child, signal);
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
        EXPECT_EQ(entriesOf(directory.path()), 0U);
        ::close(ready[0]);
        ::close(ready[1]);
    }
}

TEST(StagedResults, AnIgnoredSignalStaysIgnored) {
    const ScratchDirectory directory;
    const auto before = std::signal(SIGHUP, SIG_IGN);
    {
        const StagedResults staged(directory.path() / "run");
        std::raise(SIGHUP);
    }
    EXPECT_EQ(std::signal(SIGHUP, before), SIG_IGN);
}

TEST(StagedResults, PicturesAreTheFilesOfTheMerging) {
    const ScratchDirectory directory;
    const Console console("fuse", {"", true, false});
    const std::string prefix = directory.path() / "run";
    const cv::Mat radiance = testing::randomImage({9, 8}, 3, 0, 50, 1);
    const cv::Mat toneMapped = testing::randomImage({9, 8}, 3, -0.2F, 1.2F, 2);
    const cv::Mat fused = testing::randomImage({9, 8}, 3, 0, 1, 3);
    {
        const StagedResults staged(prefix);
        staged.writeMerged(radiance, toneMapped, fused);
        EXPECT_EQ(entriesOf(directory.path()), 1U) << "the folder alone";
        staged.publish(console, mergedResults());
    }
    const auto encoded = [](const std::string& extension, const cv::Mat& image) {
        std::vector<uchar> file;
        cv::imencode(extension, image, file);
        return std::string(file.begin(), file.end());
    };
    EXPECT_TRUE(contentOf(prefix + ".hdr") == encoded(".hdr", radiance));
    EXPECT_TRUE(contentOf(prefix + ".jpg") == encoded(".jpg", toneMapped * 255));
    EXPECT_TRUE(contentOf(prefix + "fusion.jpg") == encoded(".jpg", fused * 255));
}

TEST(StagedResults, APictureThatCannotBeWrittenIsMissing) {
    const ScratchDirectory directory;
    const Console console("fuse", {"", true, false});
    const std::string prefix = directory.path() / "run";
    const StagedResults staged(prefix);
    staged.write("none/a.jpg", cv::Mat(4, 4, CV_8UC3, cv::Scalar::all(9)));
    try {
        staged.publish(console, {{"none/a.jpg", "picture"}});
        ADD_FAILURE() << "not refused";
    } catch (const Refusal& refusal) {
        EXPECT_EQ(refusal.what(), "cannot write '" + prefix + "none/a.jpg'");
    }
}

TEST(StagedResults, RefuseAFolderThatIsNotThere) {
    const ScratchDirectory directory;
    const std::string prefix = directory.path() / "none" / "run";
    try {
        const StagedResults staged(prefix);
        ADD_FAILURE() << "not refused";
    } catch (const Refusal& refusal) {
        EXPECT_EQ(refusal.what(), "cannot write beside '" + prefix + "': No such file or directory");
    }
}

}  // namespace
}  // namespace likeness::darkroom
