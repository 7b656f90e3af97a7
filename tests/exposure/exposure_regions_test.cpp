// The parallel regions of the exposure stack with several team sizes; for the thread sanitizer too.
#include "exposure/exposure_regions.hpp"

#include <likeness/exposure/exposure_stack.hpp>
#include "exposure/exposure_stack_scene.hpp"
#include "support/mat_matchers.hpp"

#include <gtest/gtest.h>
#include <omp.h>

#include <array>
#include <sstream>
#include <stdexcept>

namespace likeness {
namespace {

using testing::expectSameTraces;
using testing::FlashPair;
using testing::namesOf;
using testing::TeamOf;
using testing::Traces;
using testing::tracesOf;

struct Outcome {
    FlashPair pair;
    Traces traces;
};

Outcome run(int threads, int iterations) {
    const TeamOf team(threads);
    Outcome outcome;
    outcome.traces =
        tracesOf([&] { createBrightnessExposures(outcome.pair.flash, outcome.pair.nonFlash, 12, iterations, "out"); });
    return outcome;
}

std::vector<std::string> sortedLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

// Files of the tinting that every exposure writes under one name: any one exposure's is left.
bool isSharedName(const std::string& name) {
    static const char* const names[] = {"catRatio.txt", "increaseMap.jpg", "0R.jpg",  "0G.jpg",  "0B.jpg",
                                        "cov_a_r.jpg",  "a_r.jpg",         "a_g.jpg", "a_b.jpg", "b.jpg"};
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

TEST(ExposureRegions, GiveTheSameBytesForEveryTeam) {
    const Outcome one = run(1, 2);
    std::size_t compared = 0;
    for (const int threads : {2, 3, 6, 8}) {
        const Outcome team = run(threads, 2);
        EXPECT_MAT_EQUAL(team.pair.flash, one.pair.flash);
        EXPECT_MAT_EQUAL(team.pair.nonFlash, one.pair.nonFlash);
        EXPECT_EQ(namesOf(team.traces.files), namesOf(one.traces.files));
        for (const auto& [name, content] : one.traces.files) {
            if (!isSharedName(name)) {
                EXPECT_TRUE(team.traces.files.at(name) == content) << name << " with " << threads << " threads";
                ++compared;
            }
        }
        // Lines come in another order, none is torn.
        EXPECT_EQ(sortedLines(team.traces.printed), sortedLines(one.traces.printed));
        // A shared file is one exposure's, whole.
        EXPECT_EQ(sortedLines(team.traces.files.at("catRatio.txt")).size(), 64U * 48U);
    }
    EXPECT_GT(compared, 4U * 50U);
}

TEST(ExposureRegions, OneThreadTakesTheExposuresInTheirOrder) {
    const Outcome one = run(1, 1);
    std::size_t from = one.traces.printed.find("paralell\n");
    for (int i = 0; i < 6; ++i) {
        const std::string line = "out " + std::to_string(i) + "\n";
        from = one.traces.printed.find(line + line, from);
        ASSERT_NE(from, std::string::npos) << i;
    }
}

// With n threads, q = 6 / n and r = 6 mod n: the first r threads take q + 1 exposures each, the others q, in order.
TEST(ExposureRegions, AreSplitIntoContiguousBlocks) {
    for (const int threads : {1, 2, 3, 4, 5, 6, 8}) {
        const TeamOf team(threads);
        std::array<int, 6> takenBy{};
        int size = 0;
        forEachExposure([&](int i) {
            takenBy[static_cast<std::size_t>(i)] = omp_get_thread_num();
            if (i == 0) {
                size = omp_get_num_threads();
            }
        });
        ASSERT_EQ(size, threads);
        std::vector<int> expected;
        for (int t = 0; t < threads; ++t) {
            expected.insert(expected.end(), static_cast<std::size_t>(6 / threads + (t < 6 % threads ? 1 : 0)), t);
        }
        EXPECT_EQ(std::vector<int>(takenBy.begin(), takenBy.end()), expected) << threads;
    }
}

TEST(ExposureRegions, TheFirstErrorIsThrownAfterAllHaveRun) {
    for (const int threads : {1, 3}) {
        const TeamOf team(threads);
        std::array<int, 6> ran{};
        try {
            forEachExposure([&ran](int i) {
                ran[static_cast<std::size_t>(i)] = 1;
                if (i >= 2) {
                    throw std::runtime_error(std::to_string(i));
                }
            });
            FAIL();
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "2");
        }
        EXPECT_EQ(ran, (std::array<int, 6>{1, 1, 1, 1, 1, 1}));
    }
}

TEST(ExposureRegions, SecondVersion) {
    const auto tracesWith = [](int threads) {
        const TeamOf team(threads);
        FlashPair pair;
        return tracesOf([&] { createBrightnessExposuresVs2(pair.flash, pair.nonFlash, 12, 1, "out"); });
    };
    const Traces one = tracesWith(1);
    expectSameTraces(tracesWith(2), one);
    expectSameTraces(tracesWith(6), one);
}

}  // namespace
}  // namespace likeness
