// What is said on standard error, and the progress on a terminal.
#include "console/console.hpp"

#include "console/operation_watch.hpp"
#include "console/progress.hpp"
#include "darkroom/darkroom_program.hpp"
#include "files/refusal.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace likeness::testing {
namespace {

using darkroom::CommonOptions;
using darkroom::Console;
using darkroom::Progress;
using darkroom::progressLine;

using std::chrono_literals::operator""h;
using std::chrono_literals::operator""ms;

/// A terminal in the place of standard error while a test runs. The test is skipped where the machine has none to give.
class TerminalTest : public ::testing::Test {
protected:
    void SetUp() override {
        terminal_ = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
        if (terminal_ < 0 || ::grantpt(terminal_) != 0 || ::unlockpt(terminal_) != 0) {
            GTEST_SKIP() << "no terminal can be opened here";
        }
        const int programsEnd = ::open(::ptsname(terminal_), O_RDWR | O_NOCTTY);
        if (programsEnd < 0) {
            GTEST_SKIP() << "no terminal can be opened here";
        }
        previous_ = ::dup(STDERR_FILENO);
        ::dup2(programsEnd, STDERR_FILENO);
        ::close(programsEnd);
    }
    void TearDown() override {
        if (previous_ >= 0) {
            ::dup2(previous_, STDERR_FILENO);
            ::close(previous_);
        }
        if (terminal_ >= 0) {
            ::close(terminal_);
        }
    }

    /// What has arrived since the last call.
    std::string shown() const {
        std::string text;
        char buffer[512];
        for (::ssize_t n = 0; (n = ::read(terminal_, buffer, sizeof buffer)) > 0;) {
            text.append(buffer, static_cast<std::size_t>(n));
        }
        return text;
    }

    /// Everything from now until a text has arrived; whatever has arrived where it does not come.
    std::string shownUntil(const std::string& awaited) const {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        std::string text = shown();
        while (text.find(awaited) == std::string::npos && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(1ms);
            text += shown();
        }
        return text;
    }

private:
    int terminal_ = -1;
    int previous_ = -1;
};

using ProgressTest = TerminalTest;

const std::string erased = "\r\033[K";

TEST(ConsoleTest, SaysOneLineWithItsName) {
    ::testing::internal::CaptureStderr();
    const Console console("smooth", CommonOptions{});
    console.tell("done");
    console.warn("odd");
    console.showProgress("never on what is no terminal");
    EXPECT_FALSE(console.showsProgress());
    console.diagnostics().print("a message of the library\n");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "darkroom smooth: done\ndarkroom smooth: warning: odd\n");
}

TEST(ConsoleTest, ShowsWhatATerminalWouldActOnEscaped) {
    ::testing::internal::CaptureStderr();
    CommonOptions options;
    options.verbose = true;
    const Console console("smooth", options);
    console.tell("wrote 'a\x1b[2J\nb'");
    console.warn("'\u65e5\u672c\u00e9\xff'");
    console.diagnostics().print("one\ttwo\n\x1b\n");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "darkroom smooth: wrote 'a\\x1b[2J\\nb'\n"
              "darkroom smooth: warning: '\u65e5\u672c\u00e9\\xff'\n"
              "one\ttwo\n\\x1b\n");
}

TEST(ConsoleTest, QuietDropsAllButWarningsAndVerboseShowsMessages) {
    ::testing::internal::CaptureStderr();
    CommonOptions options;
    options.quiet = true;
    const Console quiet("smooth", options);
    quiet.tell("done");
    quiet.warn("odd");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "darkroom smooth: warning: odd\n");

    ::testing::internal::CaptureStderr();
    ::testing::internal::CaptureStdout();
    options = {};
    options.verbose = true;
    const Console verbose("smooth", options);
    EXPECT_TRUE(verbose.diagnostics().wantsMessages());
    verbose.diagnostics().print("a message\n");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "a message\n");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

TEST(ConsoleTest, DumpsGoIntoTheirFolderOrNowhere) {
    const ScratchDirectory folder;
    EXPECT_FALSE(Console("smooth", CommonOptions{}).diagnostics().wantsFiles());
    CommonOptions options;
    options.dumps = folder.path();
    ::testing::internal::CaptureStderr();
    const Console console("smooth", options);
    console.diagnostics().writeImage("a.png", cv::Mat(2, 2, CV_8U, cv::Scalar(7)));
    console.diagnostics().openText("none/b.txt")->write("lost\n");
    console.reportDumps();
    EXPECT_TRUE(std::filesystem::exists(folder.path() / "a.png"));
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "darkroom smooth: warning: cannot write '" + options.dumps + "/none/b.txt'\n");
    options.dumps = folder.path() / "missing";
    EXPECT_THROW(Console("smooth", options), Refusal);
}

TEST(ProgressLine, ShowsTheShareOfSteps) {
    EXPECT_EQ(progressLine("pass", 0, 6, 1.2), "pass [..............................] 0/6 1 s");
    EXPECT_EQ(progressLine("pass", 3, 6, 12.7), "pass [###############...............] 3/6 13 s");
    EXPECT_EQ(progressLine("pass", 6, 6, 100), "pass [##############################] 6/6 100 s");
    EXPECT_EQ(progressLine("pass", 9, 6, 1), "pass [##############################] 9/6 1 s");
    EXPECT_LE(progressLine(std::string(24, 't'), 99999, 100000, 86400).size(), 79U);
}

TEST(ProgressLine, WalksWhereNoShareIsKnown) {
    EXPECT_EQ(progressLine("flow", 0, 1, 0), "flow [####..........................] 0 s");
    EXPECT_EQ(progressLine("flow", 0, 1, 1.001), "flow [.....####.....................] 1 s");
    EXPECT_EQ(progressLine("flow", 0, 1, 5.3), "flow [..........................####] 5 s");
    EXPECT_EQ(progressLine("flow", 0, 1, 5.5), "flow [####..........................] 6 s");
}

TEST_F(ProgressTest, IsDrawnAnewWithEveryStepAndErasedAtTheEnd) {
    const Console console("stack", CommonOptions{});
    ASSERT_TRUE(console.showsProgress());
    {
        Progress progress(console, "exposures", 4, {0ms, 1ms});
        progress.step();
        std::string awaited = "exposures [#######.......................] 1/4 ";
        std::string seen = shownUntil(awaited);
        EXPECT_NE(seen.find(awaited), std::string::npos) << seen;
        progress.step();
        awaited = erased + "exposures [###############...............] 2/4 ";
        seen = shownUntil(awaited);
        EXPECT_NE(seen.find(awaited), std::string::npos) << seen;
        console.tell("a line");
        awaited = "darkroom stack: a line\r\nexposures [###############...............] 2/4 ";
        seen = shownUntil(awaited);
        EXPECT_NE(seen.find(awaited), std::string::npos) << "comes back below the line: " << seen;
        EXPECT_NE(seen.find(erased + "darkroom stack: a line"), std::string::npos) << "the line takes the bar's place";
    }
    const std::string end = shown();
    ASSERT_GE(end.size(), erased.size());
    EXPECT_EQ(end.substr(end.size() - erased.size()), erased);
}

TEST_F(ProgressTest, FollowsTheStepsOfAnOperation) {
    const Console console("adapt", CommonOptions{});
    ASSERT_TRUE(console.showsProgress());
    Progress progress(console, "adapting", 1, {0ms, 1ms});
    const Watch watch = darkroom::watchOf(console, progress);
    EXPECT_EQ(watch.diagnostics, &console.diagnostics());
    watch.step(1, 3);
    std::string awaited = "adapting [##########....................] 1/3 ";
    std::string seen = shownUntil(awaited);
    EXPECT_NE(seen.find(awaited), std::string::npos) << seen;
    watch.step(5, 5);
    awaited = "adapting [##############################] 5/5 ";
    seen = shownUntil(awaited);
    EXPECT_NE(seen.find(awaited), std::string::npos) << seen;
    EXPECT_FALSE(darkroom::watchOf(console).progress);
}

TEST_F(ProgressTest, ShortWorkAndQuietShowNothing) {
    EXPECT_EQ(darkroom::ProgressPace{}.patience, 1000ms);
    const Console patient("stack", CommonOptions{});
    ASSERT_TRUE(patient.showsProgress());
    {
        const Progress progress(patient, "short", 1, {1h, 1ms});
        std::this_thread::sleep_for(50ms);
    }
    CommonOptions options;
    options.quiet = true;
    const Console quiet("stack", options);
    EXPECT_FALSE(quiet.showsProgress());
    {
        const Progress progress(quiet, "quiet", 1, {0ms, 1ms});
        std::this_thread::sleep_for(50ms);
    }
    EXPECT_EQ(shown(), "");
}

}  // namespace
}  // namespace likeness::testing
