// The exposure stack in a process that was forked from one that had used it: the threads of its team stay behind.
#include <likeness/exposure/exposure_stack.hpp>
#include "exposure/exposure_regions.hpp"
#include "exposure/exposure_stack_scene.hpp"
#include "support/forked.hpp"

#include <gtest/gtest.h>
#include <omp.h>

#include <array>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

namespace likeness {
namespace {

using testing::filesHere;
using testing::FlashPair;
using testing::ScratchDirectory;
using testing::statusOfForked;
using testing::TeamOf;

struct Result {
    FlashPair pair;
    std::map<std::string, std::string> files;
};

Result stackOf(std::string prefix) {
    Result result;
    createBrightnessExposures(result.pair.flash, result.pair.nonFlash, 12, 1, std::move(prefix), dropAll());
    result.files = filesHere();
    return result;
}

bool equalBits(const cv::Mat& a, const cv::Mat& b) {
    return a.size() == b.size() && a.type() == b.type() && std::equal(a.datastart, a.dataend, b.datastart, b.dataend);
}

TEST(ExposureStackInAForkedProcess, GivesTheSameBytes) {
    const TeamOf team(3);
    const ScratchDirectory scratch;
    const Result here = stackOf("out");
    ASSERT_EQ(here.files.size(), 9U);
    EXPECT_EQ(statusOfForked([&here] {
                  for (const auto& [name, content] : here.files) {
                      std::filesystem::remove(name);
                  }
                  const Result there = stackOf("out");
                  return there.files == here.files && equalBits(there.pair.flash, here.pair.flash) &&
                         equalBits(there.pair.nonFlash, here.pair.nonFlash);
              }),
              0);
}

TEST(ExposureStackInAForkedProcess, GrandchildrenToo) {
    const TeamOf team(2);
    forEachExposure([](int) {});
    EXPECT_EQ(statusOfForked([] {
                  forEachExposure([](int) {});
                  return statusOfForked([] {
                             forEachExposure([](int) {});
                             return true;
                         }) == 0;
              }),
              0);
}

// The team is of as many threads as the runtime's would be, in the same contiguous blocks.
TEST(ExposureStackInAForkedProcess, SharesOutLikeTheRuntime) {
    for (const int threads : {1, 2, 3, 4, 5, 6, 8}) {
        const TeamOf team(threads);
        EXPECT_EQ(statusOfForked([threads] {
                      std::array<std::thread::id, 6> takenBy;
                      forEachExposure(
                          [&takenBy](int i) { takenBy[static_cast<std::size_t>(i)] = std::this_thread::get_id(); });
                      int i = 0;
                      for (int t = 0; t < std::min(threads, 6); ++t) {
                          const int end = i + 6 / threads + (t < 6 % threads ? 1 : 0);
                          const std::thread::id id = takenBy[static_cast<std::size_t>(i)];
                          for (; i < end; ++i) {
                              if (takenBy[static_cast<std::size_t>(i)] != id) {
                                  return false;
                              }
                          }
                          if (i < 6 && takenBy[static_cast<std::size_t>(i)] == id) {
                              return false;
                          }
                      }
                      return i == 6 && takenBy[0] == std::this_thread::get_id();
                  }),
                  0)
            << threads;
    }
}

TEST(ExposureStackInAForkedProcess, TheFirstErrorIsThrownAfterAllHaveRun) {
    const TeamOf team(3);
    EXPECT_EQ(statusOfForked([] {
                  std::array<int, 6> ran{};
                  try {
                      forEachExposure([&ran](int i) {
                          ran[static_cast<std::size_t>(i)] = 1;
                          if (i >= 2) {
                              throw std::runtime_error(std::to_string(i));
                          }
                      });
                  } catch (const std::runtime_error& error) {
                      return error.what() == std::string("2") && ran == std::array<int, 6>{1, 1, 1, 1, 1, 1};
                  }
                  return false;
              }),
              0);
}

}  // namespace
}  // namespace likeness
