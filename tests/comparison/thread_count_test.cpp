// Every operation that shares its pixels out gives the same bits on any number of threads.
#include <likeness/color/unit_image.hpp>
#include <likeness/comparison/analysis.hpp>
#include <likeness/threads.hpp>
#include "support/distribution_matchers.hpp"
#include "support/mat_matchers.hpp"
#include "support/pixel_operations.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

namespace likeness {
namespace {

TEST(ThreadCount, MakesNoDifference) {
    const cv::Mat photograph = testing::randomPhotograph({533, 401}, 1);
    const cv::Mat other = testing::randomPhotograph({533, 401}, 2);
    for (const testing::PixelOperation& operation : testing::pixelOperations()) {
        SCOPED_TRACE(operation.name);
        setThreads(1);
        const cv::Mat alone = operation.run(photograph, other);
        EXPECT_FALSE(alone.empty());
        for (const int count : {2, 3, 8}) {
            setThreads(count);
            EXPECT_MAT_EQUAL(operation.run(photograph, other), alone);
        }
    }
    setThreads(0);
}

// Floats are counted in pieces, and the pieces in whatever order they are ready.
TEST(ThreadCount, DistributionsOfFloatsAreTheSame) {
    const cv::Mat photograph = toUnit(testing::randomPhotograph({533, 401}, 3));
    AnalysisOptions fixed;
    fixed.model.white = WhiteResponse::fixed;
    for (const AnalysisOptions& options : {AnalysisOptions(), fixed}) {
        setThreads(1);
        const Analysis alone = analyze(photograph, options);
        EXPECT_GT(alone.distributions().brightness.size(), 10U);
        for (const int count : {2, 3, 8}) {
            setThreads(count);
            testing::expectEqual(analyze(photograph, options).distributions(), alone.distributions());
        }
    }
    setThreads(0);
}

}  // namespace
}  // namespace likeness
