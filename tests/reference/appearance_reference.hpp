// The forward appearance model, one pixel after the other. Arguments, results and files (in the working directory) are
// those of the functions of the same name in src/appearance.
#pragma once

#include <opencv2/core.hpp>

namespace likeness::reference {

float computeYback(cv::Mat& Yplane);
float computeN(float Yb, float Yw);
float computeFl(float La);
float computeNcb(float Yb, float Yw);
float computeZ(float Yb, float Yw);

/// Matrix from sharpened R, G, B to cone responses.
cv::Mat sharpenedToHpe();
void convertSharpenedBGRtoHPE(const cv::Mat& sharpenedBGR, cv::Mat& hpe);
void computeNonLinearities(const cv::Mat& hpe, cv::Mat& nl, cv::Mat& FL);
void computeAB(cv::Mat& nl, cv::Mat& a, cv::Mat& b);
void computeHue(cv::Mat& a, cv::Mat& b, cv::Mat& hue, cv::Mat& eccentricity);
float computeLightness(cv::Mat& nl, cv::Mat& Nbb, cv::Mat& z, cv::Mat& J, cv::Mat& A);
float computeBrightness(cv::Mat& J, cv::Mat& FL, cv::Mat& z, cv::Mat& Q, float Aw);
void computeChroma(cv::Mat& nl, cv::Mat& a, cv::Mat& b, cv::Mat& J, cv::Mat& eccentricity, cv::Mat& Ncb, cv::Mat& n,
                   cv::Mat& C, float Nc);
void computeColorfulness(cv::Mat& C, cv::Mat& FL, cv::Mat& M);
void computeSaturation(cv::Mat& M, cv::Mat& Q, cv::Mat& s);
void writeIntoFile(cv::Mat& map, const char* fileName, int rows, int cols);

/// `cv::imwrite`, except that an empty image, which some versions of the writer refuse, is left out.
void writeImage(const char* fileName, const cv::Mat& image);

}  // namespace likeness::reference
