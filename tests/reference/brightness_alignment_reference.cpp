#include "reference/brightness_alignment_reference.hpp"

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <sstream>
#include <vector>

namespace likeness::reference {

float computeMean(cv::Mat& plane, std::string& printed) {
    float sum = 0;
    int count = 0;
    for (int i = 0; i < plane.rows; ++i) {
        for (int j = 0; j < plane.cols; ++j) {
            if (!std::isnan(plane.at<float>(i, j))) {
                sum += plane.at<float>(i, j);
                count += 1;
            }
        }
    }
    std::ostringstream line;
    line << sum << " " << count << std::endl;
    printed += line.str();
    return count != 0 ? sum / static_cast<float>(count) : sum;
}

float computeStdDev(const cv::Mat& plane, float& mean) {
    float sum = 0;
    int count = 0;
    for (int i = 0; i < plane.rows; ++i) {
        for (int j = 0; j < plane.cols; ++j) {
            const float value = plane.at<float>(i, j);
            if (!std::isnan(value)) {
                sum += value * value - mean * mean;
                count += 1;
            }
        }
    }
    return std::sqrt(sum / static_cast<float>(count));
}

void alterNonFlashBrightness(cv::Mat& nonFlash, cv::Mat& target, cv::Mat& result, std::string& printed) {
    cv::Mat targetLab(target.size(), CV_32FC3);
    cv::cvtColor(nonFlash, result, cv::COLOR_BGR2Lab);
    cv::cvtColor(target, targetLab, cv::COLOR_BGR2Lab);
    std::vector<cv::Mat> planes;
    std::vector<cv::Mat> targetPlanes;
    cv::split(result, planes);
    cv::split(targetLab, targetPlanes);
    float meanN = computeMean(planes[0], printed);
    float meanT = computeMean(targetPlanes[0], printed);
    const float sdN = computeStdDev(planes[0], meanN);
    const float sdT = computeStdDev(targetPlanes[0], meanT);
    for (int i = 0; i < target.rows; ++i) {
        for (int j = 0; j < target.cols; ++j) {
            float& lightness = planes[0].at<float>(i, j);
            lightness = (lightness - meanN) * sdT / sdN + meanT;
        }
    }
    cv::merge(planes, targetLab);
    cv::cvtColor(targetLab, result, cv::COLOR_Lab2BGR);
}

}  // namespace likeness::reference
