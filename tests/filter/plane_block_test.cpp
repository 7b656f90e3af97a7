#include "filter/plane_block.hpp"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <vector>

namespace likeness {
namespace {

TEST(PlaneBlock, PlanesHaveTheirSizeAndDoNotOverlap) {
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(7, 5), cv::Size(1024, 600)}) {  // the last takes large pages
        for (const int type : {CV_32F, CV_64F}) {
            PlaneBlock block(size, type, 5);
            std::vector<cv::Mat> planes;
            for (int k = 0; k < 5; ++k) {
                planes.push_back(block.take());
                planes.back().setTo(k + 1);
            }
            for (std::size_t k = 0; k < planes.size(); ++k) {
                EXPECT_EQ(planes[k].size(), size);
                EXPECT_EQ(planes[k].type(), type);
                EXPECT_TRUE(planes[k].isContinuous());
                EXPECT_EQ(reinterpret_cast<std::uintptr_t>(planes[k].data) % 64, 0U);
                EXPECT_EQ(cv::countNonZero(planes[k] != static_cast<double>(k + 1)), 0);
            }
        }
    }
}

TEST(PlaneBlock, WindowsOfAPlaneDoNotReachIntoItsNeighbour) {
    PlaneBlock block({8, 8}, CV_32F, 2);
    const cv::Mat first = block.take();
    cv::Size whole;
    cv::Point offset;
    first.locateROI(whole, offset);
    EXPECT_EQ(whole, first.size());
    EXPECT_EQ(offset, cv::Point(0, 0));
}

}  // namespace
}  // namespace likeness
