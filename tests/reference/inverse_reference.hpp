// Plain versions of the inverse appearance model and of the brightness increase: files in the working directory,
// messages on standard output.
#pragma once

#include <opencv2/core.hpp>

namespace likeness::reference {

void brightness2Lightness(cv::Mat& Q, cv::Mat& FL, cv::Mat& J, float Aw);
void lightness2A(cv::Mat& J, cv::Mat& z, cv::Mat& A, float Aw);
void chromaAndLightness2t(cv::Mat& C, cv::Mat& J, cv::Mat& n, cv::Mat& t);
void hue2AB(cv::Mat& A, cv::Mat& hue, cv::Mat& t, cv::Mat& eccentricity, cv::Mat& Nbb, cv::Mat& a, cv::Mat& b,
            float Nc);
void AB2NonLinearities(cv::Mat& a, cv::Mat& b, cv::Mat& A, cv::Mat& nl, cv::Mat& Nbb);
void inverseNonLinearities(cv::Mat& nl, cv::Mat& hpe, cv::Mat& FL);
void convertHPEtoSharpenedRGB(cv::Mat& hpe, cv::Mat& sharpenedBGR);
void performGammaCorrectionByStyle(cv::Mat& src, cv::Mat& dst, float low, float high);
void increaseBrightness(cv::Mat& src, cv::Mat* dst, float factor);

}  // namespace likeness::reference
