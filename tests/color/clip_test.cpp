#include <likeness/color/clip.hpp>

#include "reference/color_reference.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <limits>

namespace likeness {
namespace {

TEST(Clip, LimitsToTheRange) {
    EXPECT_EQ(clip(2.0F, 0.0F, 1.0F), 1.0F);
    EXPECT_EQ(clip(-1.0F, 0.0F, 1.0F), 0.0F);
    EXPECT_EQ(clip(0.25F, 0.0F, 1.0F), 0.25F);
}

TEST(Clip, GivesTheLowEndForNaNAndForAnEmptyRange) {
    EXPECT_EQ(clip(std::numeric_limits<float>::quiet_NaN(), 0.0F, 1.0F), 0.0F);
    EXPECT_EQ(clip(0.5F, 1.0F, 0.0F), 1.0F);
    EXPECT_EQ(clip(7.0F, 1.0F, 0.0F), 1.0F);
    EXPECT_EQ(clip(-7.0F, 1.0F, 0.0F), 1.0F);
}

TEST(Clip, IsTheNestedMinimumAndMaximum) {
    using Limits = std::numeric_limits<float>;
    const float values[] = {
        0.0F, -0.0F, 1.0F, -1.0F, 0.5F, Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN()};
    for (const float x : values) {
        for (const float lo : values) {
            for (const float hi : values) {
                EXPECT_EQ(std::bit_cast<std::uint32_t>(clip(x, lo, hi)),
                          std::bit_cast<std::uint32_t>(reference::clip(x, lo, hi)))
                    << x << " in " << lo << ", " << hi;
            }
        }
    }
}

}  // namespace
}  // namespace likeness
