// The module `photo`.
#include "modules/photo.hpp"

#include "modules/module_entry.hpp"

#include <opencv2/photo.hpp>

LIKENESS_MODULE_ENTRY void likeness_calibrate_debevec(const std::vector<cv::Mat>& planes,
                                                      const std::vector<float>& times, int gridPoints, float smoothness,
                                                      cv::Mat& response) {
    cv::createCalibrateDebevec(gridPoints, smoothness, false)->process(planes, response, times);
}

LIKENESS_MODULE_ENTRY void likeness_merge_debevec(const std::vector<cv::Mat>& images, const std::vector<float>& times,
                                                  const cv::Mat& response, cv::Mat& radiance) {
    cv::createMergeDebevec()->process(images, radiance, times, response);
}

LIKENESS_MODULE_ENTRY void likeness_merge_mertens(const std::vector<cv::Mat>& images, float contrast, float saturation,
                                                  float exposedness, cv::Mat& fused) {
    cv::createMergeMertens(contrast, saturation, exposedness)->process(images, fused);
}
