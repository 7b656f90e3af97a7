// Adaptation to D65, one pixel after the other. Arguments and results are those of the functions of the same name in
// src/adaptation.
#pragma once

#include <opencv2/core.hpp>

namespace likeness::reference {

float computeAdapFactD(float L_A);
void iCAMCATByD65(cv::Mat& img, cv::Mat& white);
void inverseCATByD65(cv::Mat& img, cv::Mat& white);
void inverseCAT(cv::Mat& adapted, cv::Mat& targetWhite, cv::Mat& sourceWhite, cv::Mat& out);

}  // namespace likeness::reference
