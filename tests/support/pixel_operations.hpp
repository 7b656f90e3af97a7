// The operations of the library that share the pixels of a photograph out over threads.
#pragma once

#include <opencv2/core.hpp>

#include <functional>
#include <string>
#include <vector>

namespace likeness::testing {

struct PixelOperation {
    std::string name;
    std::function<cv::Mat(const cv::Mat& photograph, const cv::Mat& other)> run;
};

/// Each operation with its usual options, some with others too. Photographs are CV_8UC3, B, G, R, of one size.
std::vector<PixelOperation> pixelOperations();

}  // namespace likeness::testing
