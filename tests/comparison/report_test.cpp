#include "comparison/report.hpp"

#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>
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
