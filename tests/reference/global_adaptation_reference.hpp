// Global adaptation, step by step as the formulas stand.
#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace likeness::reference {

void CAT(cv::Mat& img, const cv::Mat& sourceWhite, const cv::Mat& targetWhite, float D);

/// Without the mask, which nothing reads. `printed` receives what goes to standard output.
/// @return  the number of adaptations
int performIlluminantAdaptation(cv::Mat& img, const cv::Mat& target, float D, std::string& printed);

}  // namespace likeness::reference
