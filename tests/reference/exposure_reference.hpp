// Exposure loading, response recovery, fusion and the synthetic exposure stack as their formulas stand, on one thread.
// Arguments, results, files (in the working directory) and messages are those of the functions of the same name in
// src/exposure.
#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace likeness::reference {

void toneMapDurand(const cv::Mat& radiance, cv::Mat& toneMapped, float gamma = 2.2F, float contrast = 4,
                   float saturation = 1, float spaceSigma = 2, float colorSigma = 2);
void loadExposureSeq(cv::Mat* exposures, cv::Mat& nonFlash, float* times, std::vector<cv::Mat>& images,
                     std::vector<float>& imageTimes, int count);
void recoverCRF(cv::Mat*& exposures, cv::Mat& nonFlash, int count, std::string prefix);
void recoverLightnessExposureCurve(cv::Mat*& exposures, int count);
void getFinalImg(cv::Mat& img, std::string name);

void createBrightnessExposures(cv::Mat& flash, cv::Mat& nonFlash, float brightness, int iterations, std::string prefix);
void createBrightnessExposuresVs2(cv::Mat& flash, cv::Mat& nonFlash, float brightness, int iterations,
                                  std::string prefix);
void createBrightnessExposuresVs3(cv::Mat& flash, cv::Mat& nonFlash, float brightness, int iterations,
                                  std::string prefix);

/// The loops over the exposures of `createBrightnessExposures`: to sharpened B, G, R under their own light, and the
/// tinting of the flash photograph towards them.
void unadaptExposures(cv::Mat* exposures, cv::Mat& white);
void tintTowardsExposures(cv::Mat& flash, cv::Mat& flashXyz, cv::Mat* exposures, int iterations,
                          const std::string& prefix);

}  // namespace likeness::reference
