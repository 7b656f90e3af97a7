#include "batch/isolated_workers.hpp"

#include "batch/isolated_analysis.hpp"
#include "files/refusal.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>
#include <chrono>
#include <csignal>
#include <fstream>
#include <set>
#include <stdexcept>
#include <thread>

namespace likeness::testing {
namespace {

IsolatedWorkers::Serve served() {
    return [](std::string_view request) -> std::string {
        if (request == "crash") {
            std::signal(SIGSEGV, SIG_DFL);
            std::raise(SIGSEGV);
        } else if (request == "exit") {
            ::_exit(3);
        } else if (request == "hang") {
            for (;;) {
                ::pause();
            }
        } else if (request == "killed") {
            std::raise(SIGKILL);
        } else if (request == "refuse") {
            throw Refusal("the disk is broken");
        } else if (request == "process") {
            return std::to_string(::getpid());
        }
        return "said " + std::string(request);
    };
}

TEST(IsolatedWorkers, AnswerAndAreReplaced) {
    IsolatedWorkers workers(served, {0.3, 0});
    EXPECT_EQ(workers.ask("a").text, "said a");
    EXPECT_EQ(workers.ask("").text, "said ");
    const std::string long1(1 << 20, 'x');
    EXPECT_EQ(workers.ask(long1).text, "said " + long1);
    const std::string process = workers.ask("process").text;
    EXPECT_EQ(workers.ask("process").text, process);  // one stays for the next
    EXPECT_NE(process, std::to_string(::getpid()));
    EXPECT_EQ(workers.ask("crash").problem, ": reading it crashed (Segmentation fault)");
    EXPECT_NE(workers.ask("process").text, process);
    EXPECT_EQ(workers.ask("exit").problem, ": reading it ended the process (status 3)");
    EXPECT_EQ(workers.ask("hang").problem, ": reading it takes more than 0.3 seconds; --file-seconds allows more");
    EXPECT_EQ(workers.ask("killed").problem, ": reading it was killed twice, as the system does where memory is short");
    EXPECT_THROW(workers.ask("refuse"), Refusal);
    EXPECT_EQ(workers.ask("b").text, "said b");
}

TEST(IsolatedWorkers, ServeManyThreads) {
    IsolatedWorkers workers(served, {});
    std::vector<std::thread> threads;
    for (int k = 0; k < 8; ++k) {
        threads.emplace_back([&workers, k] {
            for (int i = 0; i < 20; ++i) {
                const std::string request = std::to_string(100 * k + i);
                EXPECT_EQ(workers.ask(request).text, "said " + request);
                if (i % 10 == 5) {
                    EXPECT_FALSE(workers.ask("crash").problem.empty());
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(IsolatedWorkers, LimitMemory) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers need address space of their own";
#endif
    const auto makeServe = []() -> IsolatedWorkers::Serve {
        return [](std::string_view request) {
            const std::size_t mebibytes = std::stoul(std::string(request));
            const std::vector<char> taken(mebibytes << 20U, 'x');
            return std::to_string(taken.size());
        };
    };
    IsolatedWorkers workers(makeServe, {300, std::uint64_t{100} << 20U});
    EXPECT_EQ(workers.ask("50").text, std::to_string(50 << 20));
    EXPECT_EQ(workers.ask("200").problem, ": reading it takes more than 100 MiB of memory; --file-memory allows more");
    EXPECT_EQ(workers.ask("50").text, std::to_string(50 << 20));
}

TEST(IsolatedAnalyses, KeepNoDescriptorsOfDamagedFiles) {
    const ScratchDirectory folder;
    std::ofstream("a.hdr") << "#?RADIANCE\n\n-Y 2 +X 2\n";  // without its FORMAT
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit few{40, limit.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    {
        IsolatedAnalyses analyses(1000, {}, {}, {300, 0});
        for (int k = 0; k < 60; ++k) {
            EXPECT_EQ(analyses.analyze("a.hdr", "").problem,
                      ": it begins as Radiance, but its content cannot be decoded")
                << k;
        }
    }
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
}

TEST(AnalysisMessage, KeepsEveryBit) {
    PhotographAnalysis analysis;
    analysis.facts = {640, 480, {0, 0.25, 1.0 / 3, 1, 0}, FileStamp{5, 7}, "abc"};
    analysis.profile = "Display P3";
    analysis.remarks = {"one", ""};
    for (std::size_t k = 0; k < 5; ++k) {
        analysis.distributions[k] = {{-3, 0.1F}, {static_cast<int>(k), 1e-38F}, {1000000, 0.9F}};
        analysis.distributions.nanShares[k] = 0.1 * static_cast<double>(k);
    }
    analysis.distributions.hue = BinProbabilities{{359, 1.0F}};
    analysis.distributions.blackShare = 0.7;
    const std::string message = analysisMessage(analysis);
    const PhotographAnalysis read = analysisFromMessage(message);
    EXPECT_EQ(analysisMessage(read), message);
    EXPECT_EQ(read.facts, analysis.facts);
    EXPECT_EQ(read.remarks, analysis.remarks);
    EXPECT_EQ(read.distributions.hue, analysis.distributions.hue);
    EXPECT_EQ(read.distributions.chroma, analysis.distributions.chroma);
    for (std::size_t length = 0; length < message.size(); length += 7) {
        EXPECT_THROW(analysisFromMessage(std::string_view(message).substr(0, length)), Refusal);
    }
}

}  // namespace
}  // namespace likeness::testing
