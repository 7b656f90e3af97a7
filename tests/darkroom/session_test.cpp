// What is said on standard error, and the progress on a terminal.
#include "darkroom/session.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "darkroom/darkroom_program.hpp"
#include "darkroom/progress.hpp"
#include "darkroom/refusal.hpp"

namespace likeness::testing {
namespace {

using darkroom::CommonOptions;
using darkroom::Progress;
using darkroom::progressLine;
using darkroom::Session;

/// A terminal in the place of standard error while the object lives.
class TerminalStandardError {
public:
    TerminalStandardError() : terminal_(::posix_openpt(O_RDWR | O_NOCTTY)) {
        EXPECT_GE(terminal_, 0);
        EXPECT_EQ(::grantpt(terminal_), 0);
        EXPECT_EQ(::unlockpt(terminal_), 0);
        const int programsEnd = ::open(::ptsname(terminal_), O_RDWR | O_NOCTTY);
        EXPECT_GE(programsEnd, 0);
        previous_ = ::dup(STDERR_FILENO);
        ::dup2(programsEnd, STDERR_FILENO);
        ::close(programsEnd);
        ::fcntl(terminal_, F_SETFL, O_NONBLOCK);
    }
    ~TerminalStandardError() {
        ::dup2(previous_, STDERR_FILENO);
        ::close(previous_);
        ::close(terminal_);
    }
    TerminalStandardError(const TerminalStandardError&) = delete;
    TerminalStandardError& operator=(const TerminalStandardError&) = delete;

    /// What has arrived since the last call.
    std::string shown() const {
        std::string text;
        char buffer[512];
        for (::ssize_t n = 0; (n = ::read(terminal_, buffer, sizeof buffer)) > 0;) {
            text.append(buffer, static_cast<std::size_t>(n));
        }
        return text;
    }

private:
    int terminal_;
    int previous_ = -1;
};

const std::string erased = "\r\033[K";

void wait(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

TEST(SessionTest, SaysOneLineWithItsName) {
    ::testing::internal::CaptureStderr();
    const Session session("smooth", CommonOptions{});
    session.tell("done");
    session.warn("odd");
    session.showProgress("never on what is no terminal");
    EXPECT_FALSE(session.showsProgress());
    session.diagnostics().print("a message of the library\n");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "darkroom smooth: done\ndarkroom smooth: warning: odd\n");
}

TEST(SessionTest, QuietDropsAllButWarningsAndVerboseShowsMessages) {
    ::testing::internal::CaptureStderr();
    CommonOptions options;
    options.quiet = true;
    const Session quiet("smooth", options);
    quiet.tell("done");
    quiet.warn("odd");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "darkroom smooth: warning: odd\n");

    ::testing::internal::CaptureStderr();
    ::testing::internal::CaptureStdout();
    options = {};
    options.verbose = true;
    const Session verbose("smooth", options);
    EXPECT_TRUE(verbose.diagnostics().wantsMessages());
    verbose.diagnostics().print("a message\n");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "a message\n");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

TEST(SessionTest, DumpsGoIntoTheirFolderOrNowhere) {
    const ScratchDirectory folder;
    EXPECT_FALSE(Session("smooth", CommonOptions{}).diagnostics().wantsFiles());
    CommonOptions options;
    options.dumps = folder.path();
    ::testing::internal::CaptureStderr();
    const Session session("smooth", options);
    session.diagnostics().writeImage("a.png", cv::Mat(2, 2, CV_8U, cv::Scalar(7)));
    session.diagnostics().openText("none/b.txt")->write("lost\n");
    session.reportDumps();
    EXPECT_TRUE(std::filesystem::exists(folder.path() / "a.png"));
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "darkroom smooth: warning: cannot write '" + options.dumps + "/none/b.txt'\n");
    options.dumps = folder.path() / "missing";
    EXPECT_THROW(Session("smooth", options), darkroom::Refusal);
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

TEST(ProgressTest, AppearsAfterASecondAndIsErased) {
    const TerminalStandardError terminal;
    const Session session("stack", CommonOptions{});
    ASSERT_TRUE(session.showsProgress());
    {
        Progress progress(session, "exposures", 4);
        progress.step();
        wait(700);
        EXPECT_EQ(terminal.shown(), "") << "not within the first second";
        wait(700);
        const std::string shown = terminal.shown();
        EXPECT_NE(shown.find("exposures [#######.......................] 1/4 1 s"), std::string::npos) << shown;
        progress.step();
        wait(400);
        EXPECT_NE(terminal.shown().find(erased + "exposures [###############...............] 2/4 "), std::string::npos);
        session.tell("a line");
        const std::string told = terminal.shown();
        EXPECT_NE(told.find(erased + "darkroom stack: a line\r\n"), std::string::npos) << told;
        wait(300);
        EXPECT_NE(terminal.shown().find("2/4"), std::string::npos) << "comes back below the line";
    }
    const std::string end = terminal.shown();
    ASSERT_GE(end.size(), erased.size());
    EXPECT_EQ(end.substr(end.size() - erased.size()), erased);
}

TEST(ProgressTest, ShortWorkAndQuietShowNothing) {
    const TerminalStandardError terminal;
    { const Progress progress(Session("stack", CommonOptions{}), "short"); }
    CommonOptions options;
    options.quiet = true;
    const Session quiet("stack", options);
    EXPECT_FALSE(quiet.showsProgress());
    {
        const Progress progress(quiet, "quiet");
        wait(1300);
    }
    EXPECT_EQ(terminal.shown(), "");
}

}  // namespace
}  // namespace likeness::testing
