// Several threads in the two-scale adaptation at once, their dumps sharing names; for the thread sanitizer too.
#include <likeness/adaptation/two_scale_adaptation.hpp>
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

namespace likeness {
namespace {

using testing::contentOf;
using testing::printedBy;
using testing::ScratchDirectory;

constexpr int threadCount = 6;
constexpr int repetitions = 4;

/// One thread's images: sizes of their own, so that a torn file would have the wrong length.
struct Scene {
    explicit Scene(int k)
        : image(testing::randomImage({60 + 17 * k, 50}, 3, 0, 1, seed(k))),
          white(testing::randomImage(image.size(), 3, 0, 1, seed(k + 100))),
          target(testing::randomImage(image.size(), 3, 0, 1, seed(k + 200))) {}

    static std::uint64_t seed(int k) { return static_cast<std::uint64_t>(k); }

    cv::Mat adapted() {
        cv::Mat result = image.clone();
        cv::Mat unread;
        biCAT(result, white, unread, target, unread);
        return result;
    }

    cv::Mat image;
    cv::Mat white;
    cv::Mat target;
};

/// What one call of `biCAT` leaves behind.
struct Traces {
    cv::Mat result;
    std::string text;
    std::string map;
    std::string lines;
};

Traces tracesOf(int k) {
    const ScratchDirectory scratch;
    Traces traces;
    traces.lines = printedBy([&] { traces.result = Scene(k).adapted(); });
    traces.text = contentOf("catRatio.txt");
    traces.map = contentOf("increaseMap.jpg");
    return traces;
}

TEST(AdaptationConcurrency, CallsThatShareTheWorkingDirectoryTakeTurns) {
    std::vector<Traces> alone;
    for (int k = 0; k < threadCount; ++k) {
        alone.push_back(tracesOf(k));
    }
    const ScratchDirectory scratch;
    std::vector<cv::Mat> results(threadCount);
    std::string printed = printedBy([&] {
        std::vector<std::thread> threads;
        for (int k = 0; k < threadCount; ++k) {
            threads.emplace_back([&results, k] {
                Scene scene(k);
                for (int i = 0; i < repetitions; ++i) {
                    results[static_cast<std::size_t>(k)] = scene.adapted();
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    });
    const std::string text = contentOf("catRatio.txt");
    const std::string map = contentOf("increaseMap.jpg");
    EXPECT_EQ(std::count_if(alone.begin(), alone.end(), [&](const Traces& t) { return t.text == text; }), 1);
    EXPECT_EQ(std::count_if(alone.begin(), alone.end(), [&](const Traces& t) { return t.map == map; }), 1);
    for (std::size_t k = 0; k < alone.size(); ++k) {
        SCOPED_TRACE(k);
        EXPECT_MAT_EQUAL(results[k], alone[k].result);
        // The lines of a call stay together.
        for (int i = 0; i < repetitions; ++i) {
            const std::size_t place = printed.find(alone[k].lines);
            ASSERT_NE(place, std::string::npos);
            printed.erase(place, alone[k].lines.size());
        }
    }
    EXPECT_EQ(printed, "");
}

TEST(AdaptationConcurrency, FilesAreWholeAfterEveryRace) {
    std::vector<Traces> alone;
    for (int k = 0; k < threadCount; ++k) {
        alone.push_back(tracesOf(k));
    }
    for (int round = 0; round < 5; ++round) {
        const ScratchDirectory scratch;
        const DirectoryDiagnostics shared(scratch.path().string(), DirectoryDiagnostics::Messages::dropped);
        std::vector<std::thread> threads;
        for (int k = 0; k < threadCount; ++k) {
            threads.emplace_back([&shared, k] {
                Scene scene(k);
                cv::Mat unread;
                biCAT(scene.image, scene.white, unread, scene.target, unread, shared);
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_TRUE(shared.failures().empty());
        const std::string text = contentOf("catRatio.txt");
        const std::string map = contentOf("increaseMap.jpg");
        EXPECT_EQ(std::count_if(alone.begin(), alone.end(), [&](const Traces& t) { return t.text == text; }), 1);
        EXPECT_EQ(std::count_if(alone.begin(), alone.end(), [&](const Traces& t) { return t.map == map; }), 1);
    }
}

}  // namespace
}  // namespace likeness
