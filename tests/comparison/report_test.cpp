#include "comparison/report.hpp"

#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <fstream>
#include <functional>
#include <vector>

namespace likeness {
namespace {

using testing::contentOf;
using testing::ScratchDirectory;

TEST(Report, IsCreatedAndGrows) {
    const ScratchDirectory scratch;
    EXPECT_EQ(appendToReport("report.txt", "1\n2\n"), "");
    EXPECT_EQ(contentOf("report.txt"), "1\n2\n");
    EXPECT_EQ(appendToReport("report.txt", "3\n"), "");
    EXPECT_EQ(appendToReport("report.txt", ""), "");
    EXPECT_EQ(contentOf("report.txt"), "1\n2\n3\n");
}

TEST(Report, SaysWhyItCannotBeWritten) {
    const ScratchDirectory scratch;
    EXPECT_NE(appendToReport("no such folder/report.txt", "1\n").find("No such file"), std::string::npos);
    std::filesystem::create_directory("folder");
    EXPECT_NE(appendToReport("folder", "1\n").find("cannot be opened"), std::string::npos);
    if (std::filesystem::exists("/dev/full")) {
        EXPECT_NE(appendToReport("/dev/full", "1\n").find("cannot be written"), std::string::npos);
    }
}

/// What a forked child makes of `body`: its own limits and signals.
bool holdsInChild(const std::function<bool()>& body) {
    const ::pid_t child = ::fork();
    if (child == 0) {
        ::_exit(body() ? 0 : 1);
    }
    int status = 0;
    return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

const std::string record = "0.987654\n0.976543\n0.965432\n0.954321\n0.943210\n";

TEST(Report, IsWholeOrNotThereAtTheLimitOfItsSize) {
    const ScratchDirectory scratch;
    const std::string earlier(4096 - 45, '\n');
    for (std::size_t room = 0; room <= record.size(); ++room) {
        std::ofstream("report.txt", std::ios::binary) << earlier;
        EXPECT_TRUE(holdsInChild([&] {
            std::signal(SIGXFSZ, SIG_IGN);
            const ::rlimit limit{earlier.size() + room, earlier.size() + room};
            return ::setrlimit(RLIMIT_FSIZE, &limit) == 0 &&
                   appendToReport("report.txt", record).empty() == (room == record.size());
        })) << room;
        EXPECT_TRUE(contentOf("report.txt") == (room == record.size() ? earlier + record : earlier)) << room;
    }
}

TEST(Report, IsWholeOrNotThereOnAFullDisk) {
    const ScratchDirectory scratch;
    std::filesystem::create_directory("disk");
    if (::mount("none", "disk", "tmpfs", 0, "size=64k") != 0) {
        GTEST_SKIP() << "only root makes a small disk";
    }
    const std::size_t page = 4096;
    for (std::size_t room = 1; room < record.size(); ++room) {
        std::ofstream("disk/report.txt", std::ios::binary) << std::string(page - room, '\n');
        std::ofstream filler("disk/filler", std::ios::binary);
        while (filler << std::string(page, 'x') << std::flush) {
        }
        EXPECT_EQ(appendToReport("disk/report.txt", record), "was cut off: no space left") << room;
        EXPECT_TRUE(contentOf("disk/report.txt") == std::string(page - room, '\n')) << room;
        filler.close();
        std::filesystem::remove("disk/filler");
        EXPECT_EQ(appendToReport("disk/report.txt", record), "") << room;
        EXPECT_TRUE(contentOf("disk/report.txt") == std::string(page - room, '\n') + record) << room;
    }
    ::umount("disk");
}

TEST(Report, IsWrittenThoughSomebodyKeepsALock) {
    const ScratchDirectory scratch;
    const int other = ::open("report.txt", O_WRONLY | O_CREAT, 0666);
    ASSERT_EQ(::flock(other, LOCK_EX), 0);
    EXPECT_EQ(appendToReport("report.txt", record), "");
    ::close(other);
    EXPECT_EQ(contentOf("report.txt"), record);
}

TEST(Report, IsNotMixedByProcesses) {
    const ScratchDirectory scratch;
    constexpr int processes = 4;
    constexpr int repetitions = 200;
    const auto textOf = [](int k) {
        std::string text(50, static_cast<char>('a' + k));
        text.append("\n-\n");
        return text;
    };
    std::vector<::pid_t> children;
    for (int k = 0; k < processes; ++k) {
        const ::pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            bool appended = true;
            for (int i = 0; i < repetitions; ++i) {
                appended = appendToReport("report.txt", textOf(k)).empty() && appended;
            }
            ::_exit(appended ? 0 : 1);
        }
        children.push_back(child);
    }
    for (const ::pid_t child : children) {
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    const std::string report = contentOf("report.txt");
    const std::size_t length = textOf(0).size();
    ASSERT_EQ(report.size(), processes * repetitions * length);
    std::vector<int> counts(processes);
    for (std::size_t first = 0; first < report.size(); first += length) {
        const int k = report[first] - 'a';
        ASSERT_TRUE(k >= 0 && k < processes);
        ASSERT_EQ(report.substr(first, length), textOf(k));
        ++counts[static_cast<std::size_t>(k)];
    }
    EXPECT_EQ(counts, std::vector<int>(processes, repetitions));
}

}  // namespace
}  // namespace likeness
