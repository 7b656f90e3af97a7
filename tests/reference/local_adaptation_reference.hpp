// Local adaptation as its formulas stand, one pixel after the other. Arguments and results are those of the functions
// of the same name in src/adaptation; all images have one size.
#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace likeness::reference {

void iCAMCAT(cv::Mat& img, const cv::Mat& sourceWhite, const cv::Mat& targetWhite, float blend, bool perPixel);
void iCAMCATLocal(cv::Mat& img, const cv::Mat& sourceWhite, const cv::Mat& targetWhite, const cv::Mat& mask,
                  float blend, bool perPixel);
bool areImgsEqualivalent(const cv::Mat& first, const cv::Mat& second);

/// `img` and `reference` are CV_32FC3. Writes into `directory`; `printed` receives what goes to standard output.
/// @return  the number of passes
int performLocalCAMCA(cv::Mat& img, const cv::Mat& reference, float blend, const std::string& directory,
                      std::string& printed);

}  // namespace likeness::reference
