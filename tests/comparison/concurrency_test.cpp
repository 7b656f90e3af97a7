// Several threads in the library at once, for the thread sanitizer too.
#include <likeness/comparison/photograph_comparison.hpp>
#include "comparison/report.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

namespace likeness {
namespace {

using testing::contentOf;
using testing::ScratchDirectory;

constexpr int threadCount = 4;
constexpr int repetitions = 3;

template <typename Body>
void onThreads(Body body) {
    std::vector<std::thread> threads;
    for (int k = 0; k < threadCount; ++k) {
        threads.emplace_back([&body, k] { body(k); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

cv::Mat photographOf(int k) {
    return testing::randomPhotograph({40 + 13 * k, 50}, static_cast<std::uint64_t>(k));
}

std::vector<float> listed(const LikenessCoefficients& k) {
    return {k.brightness, k.lightness, k.chroma, k.colorfulness, k.saturation};
}

TEST(Concurrency, CallersGetTheirOwnCoefficients) {
    std::vector<std::vector<float>> alone;
    for (int k = 0; k < threadCount; ++k) {
        alone.push_back(listed(comparePhotographs(photographOf(k), photographOf(k + 1))));
    }
    std::vector<int> right(threadCount);
    onThreads([&](int k) {
        const auto place = static_cast<std::size_t>(k);
        for (int i = 0; i < repetitions; ++i) {
            right[place] += listed(comparePhotographs(photographOf(k), photographOf(k + 1))) == alone[place] ? 1 : 0;
        }
    });
    EXPECT_EQ(right, std::vector<int>(threadCount, repetitions));
}

TEST(Concurrency, DumpsOfOneNameStayWhole) {
    const char* const names[] = {"A_before.jpg", "10_in.txt", "mask.jpg", "t_before.jpg"};
    std::map<std::string, std::vector<std::string>> whole;
    for (int k = 0; k <= threadCount; ++k) {
        const ScratchDirectory scratch;
        comparePhotographs(photographOf(k), photographOf(k), workingDirectory());
        for (const char* const name : names) {
            whole[name].push_back(contentOf(name));
        }
    }
    const ScratchDirectory scratch;
    const DirectoryDiagnostics shared(scratch.path().string(), DirectoryDiagnostics::Messages::dropped);
    onThreads([&shared](int k) {
        for (int i = 0; i < repetitions; ++i) {
            comparePhotographs(photographOf(k), photographOf(k + 1), shared);
        }
    });
    EXPECT_TRUE(shared.failures().empty());
    for (const char* const name : names) {
        EXPECT_GE(std::count(whole[name].begin(), whole[name].end(), contentOf(name)), 1) << name;
    }
}

TEST(Concurrency, ReportsAreNotMixed) {
    const ScratchDirectory scratch;
    const std::string path = (scratch.path() / "report.txt").string();
    const auto textOf = [](int k) {
        std::string text(50, static_cast<char>('a' + k));
        text.append("\n-\n");
        return text;
    };
    std::vector<int> appended(threadCount);
    onThreads([&](int k) {
        for (int i = 0; i < 200; ++i) {
            appended[static_cast<std::size_t>(k)] += appendToReport(path, textOf(k)).empty() ? 1 : 0;
        }
    });
    EXPECT_EQ(appended, std::vector<int>(threadCount, 200));
    const std::string report = contentOf(path);
    const std::size_t length = textOf(0).size();
    ASSERT_EQ(report.size(), threadCount * 200 * length);
    for (std::size_t first = 0; first < report.size(); first += length) {
        ASSERT_EQ(report.substr(first, length), textOf(report[first] - 'a'));
    }
}

}  // namespace
}  // namespace likeness
