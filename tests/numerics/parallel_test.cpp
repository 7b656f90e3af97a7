#include "numerics/parallel.hpp"

#include <likeness/threads.hpp>
#include "support/forked.hpp"

#include <gtest/gtest.h>

#include <opencv2/core.hpp>

#include <atomic>
#include <chrono>
#include <limits>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace likeness::testing {
namespace {

using numerics::forEachPiece;
using numerics::inParallel;

/// Sets the number of threads for the length of a test.
class ThreadCount {
public:
    explicit ThreadCount(int count) { setThreads(count); }
    ~ThreadCount() { setThreads(0); }
    ThreadCount(const ThreadCount&) = delete;
    ThreadCount& operator=(const ThreadCount&) = delete;
};

/// How often each element was handed out.
std::vector<int> visits(std::size_t total, std::size_t grain) {
    std::vector<int> times(total, 0);
    inParallel(total, grain, [&](std::size_t begin, std::size_t end) {
        for (std::size_t k = begin; k < end; ++k) {
            ++times[k];
        }
    });
    return times;
}

TEST(Parallel, HandsOutEveryElementOnce) {
    for (const int threads : {1, 2, 3, 8, 64}) {
        const ThreadCount count(threads);
        for (const std::size_t total : {0U, 1U, 2U, 7U, 16U, 17U, 1000U, 4097U}) {
            for (const std::size_t grain : {0U, 1U, 5U, 5000U}) {
                EXPECT_EQ(visits(total, grain), std::vector<int>(total, 1)) << threads << ' ' << total << ' ' << grain;
            }
        }
    }
}

TEST(Parallel, UsesAsManyThreadsAsAreWorthIt) {
    const ThreadCount four(4);
    const auto threadsFor = [](std::size_t total, std::size_t grain) {
        std::mutex mutex;
        std::set<std::thread::id> seen;
        std::atomic<int> begun{0};
        inParallel(total, grain, [&](std::size_t, std::size_t) {
            {
                const std::lock_guard<std::mutex> lock(mutex);
                seen.insert(std::this_thread::get_id());
            }
            // A range lasts until others have begun, if others come soon.
            ++begun;
            for (int k = 0; k < 10 && begun < 4; ++k) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
        return seen.size();
    };
    EXPECT_EQ(threadsFor(100, 100), 1U);
    EXPECT_EQ(threadsFor(199, 100), 1U);
    EXPECT_LE(threadsFor(200, 100), 2U);
    EXPECT_LE(threadsFor(10000, 100), 4U);
}

TEST(Parallel, WorkWithinWorkStaysOnItsThread) {
    const ThreadCount two(2);
    std::atomic<int> elsewhere{0};
    inParallel(16, 1, [&](std::size_t, std::size_t) {
        const std::thread::id outer = std::this_thread::get_id();
        inParallel(1000, 1,
                   [&](std::size_t, std::size_t) { elsewhere += std::this_thread::get_id() == outer ? 0 : 1; });
    });
    EXPECT_EQ(elsewhere, 0);
    const numerics::SerialScope serial;
    const std::thread::id caller = std::this_thread::get_id();
    inParallel(1000, 1, [&](std::size_t, std::size_t) { elsewhere += std::this_thread::get_id() == caller ? 0 : 1; });
    EXPECT_EQ(elsewhere, 0);
}

TEST(Parallel, ThrowsWhatTheWorkThrows) {
    for (const int threads : {1, 4}) {
        const ThreadCount count(threads);
        EXPECT_THROW(inParallel(100, 1,
                                [](std::size_t begin, std::size_t end) {
                                    if (begin <= 50 && 50 < end) {
                                        throw std::runtime_error("fifty");
                                    }
                                }),
                     std::runtime_error);
        // And works on afterwards.
        EXPECT_EQ(visits(100, 1), std::vector<int>(100, 1));
    }
}

TEST(Parallel, PiecesCoverAnImageWhateverItsShape) {
    const ThreadCount four(4);
    for (const cv::Size size : {cv::Size(0, 0), cv::Size(1, 1), cv::Size(3, 5), cv::Size(700, 300), cv::Size(1, 200000),
                                cv::Size(200000, 1)}) {
        cv::Mat wide(size.height, size.width + 3, CV_8U, cv::Scalar(0));
        for (cv::Mat image : {cv::Mat(cv::Mat::zeros(size, CV_8U)), wide(cv::Rect(0, 0, size.width, size.height))}) {
            forEachPiece(walkOver(image), 84, [&](int row, std::size_t first, std::size_t count) {
                ASSERT_LE(count, 84U);
                for (std::size_t k = first; k < first + count; ++k) {
                    ++image.ptr<uchar>(row)[k];
                }
            });
            EXPECT_EQ(cv::sum(image)[0], size.area()) << size;
            double greatest = 0;
            if (!image.empty()) {
                cv::minMaxLoc(image, nullptr, &greatest);
            }
            EXPECT_LE(greatest, 1);
        }
        EXPECT_EQ(cv::sum(wide)[0], size.area()) << size;
    }
}

TEST(Parallel, TheGreatestIsThatOfAll) {
    const ThreadCount four(4);
    numerics::SharedMaximum greatest(0);
    inParallel(100000, 1, [&](std::size_t begin, std::size_t end) {
        for (std::size_t k = begin; k < end; ++k) {
            greatest.offer(static_cast<float>(k * 7919 % 100003));
        }
        greatest.offer(std::numeric_limits<float>::quiet_NaN());
        greatest.offer(-1);
    });
    EXPECT_EQ(greatest.value(), 100002);
}

TEST(Threads, DefaultIsWhatTheLibrariesAllow) {
    const int before = cv::getNumThreads();
    EXPECT_GE(threads(), 1);
    cv::setNumThreads(1);
    EXPECT_EQ(threads(), 1);
    setThreads(5);
    EXPECT_EQ(threads(), 5);
    setThreads(0);
    EXPECT_EQ(threads(), 1);
    cv::setNumThreads(before);
    EXPECT_THROW(setThreads(-1), std::invalid_argument);
}

TEST(Threads, AForkedProcessHasItsOwn) {
    const ThreadCount four(4);
    ASSERT_EQ(visits(1000, 1), std::vector<int>(1000, 1));
    EXPECT_EQ(statusOfForked([] { return visits(1000, 1) == std::vector<int>(1000, 1); }), 0);
}

}  // namespace
}  // namespace likeness::testing
