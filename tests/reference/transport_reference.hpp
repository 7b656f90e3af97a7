// Colour transfer as its formulas stand, in float; every statistic computed and printed as often as it is needed.
#pragma once

#include <opencv2/core.hpp>

namespace likeness::reference {

float computeMean(const cv::Mat& plane);
float computeWeightedMean(const cv::Mat& plane);
void computeWeightedMeanVector(const cv::Mat& img, float* means, int dims);
float computeVariance(const cv::Mat& plane, float mean);
float computeAlphaFromBetaDistr(const cv::Mat& plane);
float computeBetaFromBetaDistr(const cv::Mat& plane, float alpha);
float computeCovarianceElement(const cv::Mat& a, const cv::Mat& b);
void computeCovariance(const cv::Mat& img, cv::Mat& cov, int dims);
void computeChannelCov(const cv::Mat& img, const cv::Mat& other, cv::Mat& cov, int dims);
void computeHue(const cv::Mat& src, cv::Mat& hue, int first, int second);

void dot(const cv::Mat& A, const cv::Mat& B, cv::Mat& C);
void matrixSquareRoot(const cv::Mat& A, cv::Mat& R, int n);
void closedFormMatrix(const cv::Mat& sourceCov, const cv::Mat& targetCov, cv::Mat& T, int n);

/// The map step by step as `closedFormMatrix` has it, but in double from the float covariances on; CV_64F.
cv::Mat closedFormMatrixInDouble(const cv::Mat& sourceCov, const cv::Mat& targetCov);

void computeGeodesicPath(float* inpMeans, float* tarMeans, const cv::Mat& inpCov, cv::Mat& tarCov, cv::Mat& T, float t,
                         int dims);
void computeMapping2D(const cv::Mat& inputImg, const float* inpMeans, const float* tarMeans, const cv::Mat& T,
                      cv::Mat& result);
void computeMapping3D(const cv::Mat& inputImg, const float* inpMeans, const float* tarMeans, const cv::Mat& T,
                      cv::Mat& result);
void computeMapping2DBonneel(const cv::Mat& inputImg, const float* inpMeans, const float* tarMeans, const cv::Mat& T,
                             cv::Mat& result);

void applyOptimalTransport(const cv::Mat& inputImg, const cv::Mat& targetImg, cv::Mat& result, cv::Mat& inpMeanRow,
                           cv::Mat& tarMeanRow, cv::Mat& transportMat, float t, int dims);
void applyOptimalTransportBonneel(const cv::Mat& inputImg, const cv::Mat& targetImg, cv::Mat& result,
                                  cv::Mat& inpCovInv, cv::Mat& inpMeanRow, cv::Mat& tarCov2, cv::Mat& tarMeanRow,
                                  cv::Mat& transportMat, float t, int dims);

enum class MapPrecision { single, twofold };

/// The joint filter of three channels under a guide of three channels, both CV_32FC3. The maps come from
/// `closedFormMatrix` or from `closedFormMatrixInDouble`.
cv::Mat filterColorChannelsMK(const cv::Mat& guide, const cv::Mat& p, int windowSide,
                              MapPrecision precision = MapPrecision::single);

}  // namespace likeness::reference
