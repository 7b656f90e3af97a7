// Colour conversions, one pixel after the other. Arguments and results are those of the functions of the same name in
// src/color.
#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace likeness::reference {

void dotProduct(const cv::Mat& A, const cv::Mat& B, cv::Mat& C);
float product(const cv::Mat& triple, const cv::Mat& M, int row);
void multiplyImageByMatrixForward(const cv::Mat& src, cv::Mat& dst, const cv::Mat& M);
void multiplyImageByMatrixBackward(const cv::Mat& src, cv::Mat& dst, const cv::Mat& M);
float clip(float x, float lo, float hi);
std::string convertIntToString(int n);
std::string remove_extension(const std::string& name);
void scaleLab(cv::Mat& lab);
void rescaleLab(cv::Mat& lab);

float sRGBCompanding(float v);
float sRGBInverseCompanding(float v);
void getRGBtoXYZMatrix(const cv::Mat& white, cv::Mat& M);
void convertBGRtoXYZ(cv::Mat& bgr, const cv::Mat& white, cv::Mat& xyz);
void convertXYZtoBGR(const cv::Mat& xyz, const cv::Mat& white, cv::Mat& bgr);
void convertBGRToXYZDirect(const cv::Mat& bgr, cv::Mat& xyz);
void convertXYZToBGRDirect(const cv::Mat& xyz, cv::Mat& bgr);
void XYZtoxy(const cv::Mat& XYZ, cv::Mat& xy);
void xytoXYZ(const cv::Mat& xy, float Y, cv::Mat& XYZ);

void convertXYZtoSharpenedBGR(const cv::Mat& xyz, cv::Mat& out);
void convertSharpenedBGRtoXYZ(const cv::Mat& in, cv::Mat& xyz);

}  // namespace likeness::reference
