#include "comparison/color_slots.hpp"

#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <vector>

namespace likeness {
namespace {

std::uint32_t literalSlot(const cv::Vec3b& bgr) {
    std::uint32_t slot = 0;
    for (int bit = 0; bit < 8; ++bit) {
        for (int c = 0; c < 3; ++c) {
            slot |= static_cast<std::uint32_t>(bgr[c] >> bit & 1) << (3 * bit + c);
        }
    }
    return slot;
}

TEST(ColorSlots, InterleaveTheBitsOfTheChannels) {
    // Every length around the vectors', from every start: the tails and the whole vectors.
    const cv::Mat photograph = testing::randomPhotograph({300, 1}, 1);
    for (int first = 0; first < 9; ++first) {
        for (int count = 0; count < 60; ++count) {
            std::vector<std::uint32_t> slots(static_cast<std::size_t>(count) + 1, 7U);
            colorSlots(photograph.ptr<uchar>(0, first), static_cast<std::size_t>(count), slots.data());
            for (int i = 0; i < count; ++i) {
                ASSERT_EQ(slots[static_cast<std::size_t>(i)], literalSlot(photograph.at<cv::Vec3b>(0, first + i)))
                    << first << ", " << count << ", " << i;
            }
            EXPECT_EQ(slots.back(), 7U) << "nothing behind the last";
        }
    }
}

TEST(ColorSlots, AreTheSameInBothOrders) {
    const cv::Mat photograph = testing::randomPhotograph({300, 1}, 2);
    cv::Mat rgb;
    cv::cvtColor(photograph, rgb, cv::COLOR_BGR2RGB);
    for (int count = 0; count < 60; ++count) {
        std::vector<std::uint32_t> slots(static_cast<std::size_t>(count) + 1, 7U);
        colorSlots(rgb.ptr<uchar>(0, 5), static_cast<std::size_t>(count), slots.data(), ChannelOrder::rgb);
        for (int i = 0; i < count; ++i) {
            ASSERT_EQ(slots[static_cast<std::size_t>(i)], literalSlot(photograph.at<cv::Vec3b>(0, 5 + i)));
        }
        EXPECT_EQ(slots.back(), 7U) << "nothing behind the last";
    }
}

TEST(ColorSlots, AreTheOnesOfTheirColors) {
    std::vector<cv::Vec3b> colors(4096);
    std::vector<std::uint32_t> slots(colors.size());
    for (std::uint32_t first = 0; first < colorSlotCount; first += 4096) {
        for (std::uint32_t k = 0; k < 4096; ++k) {
            colors[k] = colorOfSlot(first + k);
        }
        colorSlots(colors[0].val, colors.size(), slots.data());
        for (std::uint32_t k = 0; k < 4096; ++k) {
            ASSERT_EQ(slots[k], first + k);
        }
    }
    EXPECT_EQ(colorOfSlot(1), cv::Vec3b(1, 0, 0));
    EXPECT_EQ(colorOfSlot(2 + 4 * 8), cv::Vec3b(0, 1, 2));
}

}  // namespace
}  // namespace likeness
