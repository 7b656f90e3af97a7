#include "diagnostics/step_count.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

namespace likeness {
namespace {

TEST(StepCount, WithoutAListenerCountsInSilence) {
    const Watch nobody;
    StepCount steps(nobody, 1);
    for (int k = 0; k < 3; ++k) {
        EXPECT_NO_THROW(steps.step());
        EXPECT_NO_THROW(steps.check());
    }
}

TEST(StepCount, TellsOneStepAfterTheOtherWhateverTheThread) {
    std::atomic<int> inside{0};
    int heard = 0;
    Watch watch;
    watch.progress = [&](int done, int total) {
        EXPECT_EQ(inside.fetch_add(1), 0);
        EXPECT_EQ(done, ++heard);
        EXPECT_EQ(total, 400);
        inside.fetch_sub(1);
        return true;
    };
    StepCount steps(watch, 400);
    std::vector<std::thread> threads;
    for (int k = 0; k < 4; ++k) {
        threads.emplace_back([&steps] {
            for (int step = 0; step < 100; ++step) {
                steps.step();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(heard, 400);
}

TEST(StepCount, EveryThreadMeetsTheEndThatTheCallerMade) {
    int heard = 0;
    Watch watch;
    watch.progress = [&heard](int done, int /*total*/) {
        ++heard;
        if (done == 7) {
            throw std::out_of_range("the caller's own");
        }
        return true;
    };
    StepCount steps(watch, 400);
    std::atomic<int> ended{0};
    std::vector<std::thread> threads;
    for (int k = 0; k < 4; ++k) {
        threads.emplace_back([&] {
            try {
                for (;;) {
                    steps.step();
                }
            } catch (const std::out_of_range& error) {
                EXPECT_STREQ(error.what(), "the caller's own");
                ended.fetch_add(1);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(ended.load(), 4);
    EXPECT_EQ(heard, 7) << "nobody is told anything after the end";
    EXPECT_THROW(steps.check(), std::out_of_range);
}

TEST(StepCount, CancellingEndsItToo) {
    Watch watch;
    watch.progress = [](int done, int /*total*/) { return done < 2; };
    StepCount steps(watch, 5);
    EXPECT_NO_THROW(steps.step());
    EXPECT_NO_THROW(steps.check());
    EXPECT_THROW(steps.step(), Cancelled);
    EXPECT_THROW(steps.check(), Cancelled);
    EXPECT_THROW(steps.step(), Cancelled);
}

}  // namespace
}  // namespace likeness
