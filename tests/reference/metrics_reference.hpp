// The comparison of two photographs, run on every pixel of both.
#pragma once

#include <opencv2/core.hpp>

#include <array>
#include <map>

namespace likeness::reference {

void normImg(const cv::Mat& src, cv::Mat& dst);
void compute_cat(const cv::Mat& src, cv::Mat& dst);

/// Writes "A_before.jpg", "10_in.txt", "mask.jpg" and "t_before.jpg" into the working directory.
void perceptualMetrics(cv::Mat& src, cv::Mat& Q, cv::Mat& J, cv::Mat& C, cv::Mat& M, cv::Mat& s);

void computeFreqProbs(const cv::Mat& map, std::map<int, float>& probs);
float getBhattacharyaCoeff(const cv::Mat& first, const cv::Mat& second);

/// Coefficients in the order brightness, lightness, chroma, colourfulness, saturation; the dumps of both photographs go
/// to the working directory, those of the second last. Neither the report nor the line on standard output.
std::array<float, 5> metrics(const cv::Mat& first, const cv::Mat& second);

}  // namespace likeness::reference
