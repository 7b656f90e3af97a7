// Lightness matching and its statistics, step by step as the formulas stand. What is printed is appended to `printed`.
#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace likeness::reference {

float computeMean(cv::Mat& plane, std::string& printed);

float computeStdDev(const cv::Mat& plane, float& mean);

/// For images of one size.
void alterNonFlashBrightness(cv::Mat& nonFlash, cv::Mat& target, cv::Mat& result, std::string& printed);

}  // namespace likeness::reference
