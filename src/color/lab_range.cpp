#include <likeness/color/lab_range.hpp>

#include "color/color_argument.hpp"
#include "color/photograph_argument.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/parallel.hpp"

namespace likeness {
namespace {

void scaleAndShift(cv::Mat& lab, double scale, float shift) {
    const ImageWalk walk = walkOver(lab);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        float* pixel = lab.ptr<float>(i) + 3 * first;
        for (std::size_t j = 0; j < count; ++j, pixel += 3) {
            pixel[0] = static_cast<float>(static_cast<double>(pixel[0]) * scale);
            pixel[1] += shift;
            pixel[2] += shift;
        }
    });
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

cv::Mat lab255FromLab(const cv::Mat& lab) {
    return convertedColors("lab", lab, [&](cv::Mat& colors) { scaleLab(colors); });
}

cv::Mat labFromLab255(const cv::Mat& lab255) {
    if (lab255.depth() == CV_8U || lab255.depth() == CV_16U) {
        if (lab255.empty()) {
            return {};
        }
        cv::Mat colors = ownUnitPhotograph("lab255", lab255);
        colors *= 255.0;
        rescaleLab(colors);
        return colors;
    }
    return convertedColors("lab255", lab255, [](cv::Mat& colors) { rescaleLab(colors); });
}

}  // namespace likeness
