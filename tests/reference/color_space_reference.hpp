// Colour space conversions and white estimates as their formulas stand, one pixel after the other.
#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace likeness::reference {

void conversion(const cv::Mat& src, cv::Mat& dst, const cv::Mat& M, int rows, int cols);
void convertToSimpleOpponentSpace(cv::Mat& bgr, cv::Mat& opp);
void convertBGRtoLMS(cv::Mat& bgr, cv::Mat& lms);
void convertLMStoLab(const cv::Mat& lms, cv::Mat& lab);
void convertLabtoLMS(const cv::Mat& lab, cv::Mat& lms);
void convertLMStoBGR(const cv::Mat& lms, cv::Mat& bgr);
void convertBGRtoYUV(const cv::Mat& bgr, cv::Mat& yuv);

/// `printed` receives what goes to standard output.
bool computeWhitePointFromGrayWorld(const cv::Mat& img, cv::Mat& white, cv::Mat& previous, std::string& printed);

void adaptXYZToNewWhitePoint(cv::Mat& white, const cv::Mat& bgrWhite);
void convertBGRToLab(cv::Mat& bgr, cv::Mat& bgrWhite, cv::Mat& lab);
void convertLabToBGR(const cv::Mat& lab, const cv::Mat& bgrWhite, cv::Mat& bgr);

}  // namespace likeness::reference
