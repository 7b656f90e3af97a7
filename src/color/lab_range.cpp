#include <likeness/color/lab_range.hpp>

#include "numerics/argument_check.hpp"
#include "numerics/image_walk.hpp"

namespace likeness {
namespace {

void scaleAndShift(cv::Mat& lab, double scale, float shift) {
    const ImageWalk walk = walkOver(lab);
    for (int i = 0; i < walk.rows; ++i) {
        float* pixel = lab.ptr<float>(i);
        for (int j = 0; j < walk.cols; ++j, pixel += 3) {
            pixel[0] = static_cast<float>(static_cast<double>(pixel[0]) * scale);
            pixel[1] += shift;
            pixel[2] += shift;
        }
    }
}

}  // namespace

void scaleLab(cv::Mat& lab) {
    requireType("scaleLab", CV_32FC3, {{"lab", lab}});
    scaleAndShift(lab, 2.55, 128.0F);
}

void rescaleLab(cv::Mat& lab) {
    requireType("rescaleLab", CV_32FC3, {{"lab", lab}});
    constexpr double hundredOver255 = 0.39215686274509803;
    scaleAndShift(lab, hundredOver255, -128.0F);
}

}  // namespace likeness
