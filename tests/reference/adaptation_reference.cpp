#include "reference/adaptation_reference.hpp"

#include "reference/color_reference.hpp"

#include <cmath>

namespace likeness::reference {
namespace {

const double epsilon = std::pow(10.0, -6);

cv::Mat sharpenedD65() {
    cv::Mat white(1, 1, CV_32FC3);
    white.at<cv::Vec3f>(0, 0) = cv::Vec3f(0.9505F, 1.0F, 1.0888F);
    cv::Mat sharpened(1, 1, CV_32FC3);
    convertXYZtoSharpenedBGR(white, sharpened);
    return sharpened;
}

}  // namespace

float computeAdapFactD(float L_A) {
    const float e = -(L_A - 42.0F);
    return static_cast<float>(1.0 * (1.0 - std::exp(e / 92.0) * 0.2777777777777778));
}

void iCAMCATByD65(cv::Mat& img, cv::Mat& white) {
    const cv::Vec3f w65 = sharpenedD65().at<cv::Vec3f>(0, 0);
    for (int i = 0; i < img.rows; ++i) {
        for (int j = 0; j < img.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                const float D = computeAdapFactD(20.0F);
                const float scaled = w65[c] * D;
                const auto r = static_cast<float>(static_cast<double>(scaled) /
                                                  (epsilon + static_cast<double>(white.at<cv::Vec3f>(i, j)[c])));
                img.at<cv::Vec3f>(i, j)[c] = (1.0F + r - D) * img.at<cv::Vec3f>(i, j)[c];
            }
        }
    }
}

void inverseCATByD65(cv::Mat& img, cv::Mat& white) {
    const cv::Vec3f w65 = sharpenedD65().at<cv::Vec3f>(0, 0);
    for (int i = 0; i < img.rows; ++i) {
        for (int j = 0; j < img.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                const float D = computeAdapFactD(20.0F);
                const float scaled = w65[c] * D;
                const auto r = static_cast<float>(static_cast<double>(scaled) /
                                                  (epsilon + static_cast<double>(white.at<cv::Vec3f>(i, j)[c])));
                img.at<cv::Vec3f>(i, j)[c] = img.at<cv::Vec3f>(i, j)[c] / (1.0F + r - D);
            }
        }
    }
}

void inverseCAT(cv::Mat& adapted, cv::Mat& targetWhite, cv::Mat& sourceWhite, cv::Mat& out) {
    cv::Mat xyz(out.rows, out.cols, CV_32FC3);
    convertSharpenedBGRtoXYZ(out, xyz);
    for (int i = 0; i < adapted.rows; ++i) {
        for (int j = 0; j < adapted.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                const auto L_A = static_cast<float>(static_cast<double>(xyz.at<cv::Vec3f>(i, j)[1]) * 0.2);
                const float D = computeAdapFactD(L_A);
                float& source = sourceWhite.at<cv::Vec3f>(i, j)[c];
                if (epsilon > static_cast<double>(source)) {
                    source = static_cast<float>(static_cast<double>(source) + epsilon);
                }
                const float r = (targetWhite.at<cv::Vec3f>(i, j)[c] * D) / source;
                out.at<cv::Vec3f>(i, j)[c] = adapted.at<cv::Vec3f>(i, j)[c] / (1.0F + r - D);
            }
        }
    }
}

}  // namespace likeness::reference
