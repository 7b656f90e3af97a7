/// @file
/// Entry of the module `video`.
#pragma once

#include <opencv2/core.hpp>

namespace likeness {

/// Arguments of `cv::calcOpticalFlowFarneback` after the images.
struct FarnebackArguments {
    double pyramidScale;
    int levels;
    int window;
    int iterations;
    int neighborhood;
    double neighborhoodSigma;
};

/// `likeness_farneback`: what `cv::calcOpticalFlowFarneback` does, without flags. It throws `cv::Exception`.
using FarnebackEntry = void (*)(const cv::Mat& previous, const cv::Mat& next, cv::Mat& flow,
                                const FarnebackArguments& arguments);

}  // namespace likeness
