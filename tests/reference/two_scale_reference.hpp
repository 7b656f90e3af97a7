// Two-scale adaptation as its formulas stand, one pixel after the other. Arguments and results are those of the
// functions of the same name in src/adaptation; all images have one size. Files are written into `directory`, and
// `printed` receives what goes to standard output.
#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace likeness::reference {

void biCAT(cv::Mat& image, const cv::Mat& sourceWhite, const cv::Mat& target, const std::string& directory,
           std::string& printed);

void biCATRegression(cv::Mat& guidance, cv::Mat& whiteGuidance, cv::Mat& input, cv::Mat& spare, cv::Mat& whiteInput,
                     const cv::Mat& weightMap, float sigma, const std::string& directory, std::string& printed);

void computeCorrectedNonFlash(cv::Mat* exposures, cv::Mat& white, const cv::Mat& reference, int index, int diagonal,
                              const std::string& directory);

}  // namespace likeness::reference
