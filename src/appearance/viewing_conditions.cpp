#include <likeness/appearance/viewing_conditions.hpp>

#include "numerics/argument_check.hpp"
#include "numerics/repeated_sum.hpp"

#include <cmath>

namespace likeness {
namespace {

// The product is formed in 64 bits: five times the pixels of a very large plane do not fit into 32.
float fifthOfMean(float sum, std::int64_t pixels) {
    return sum / static_cast<float>(pixels * 5);
}

}  // namespace

float computeYback(cv::Mat& Yplane) {
    requireType("computeYback", CV_32F, {{"Yplane", Yplane}});
    float sum = 0;
    for (int i = 0; i < Yplane.rows; ++i) {
        const float* const row = Yplane.ptr<float>(i);
        for (int j = 0; j < Yplane.cols; ++j) {
            sum += row[j];
        }
    }
    return fifthOfMean(sum, static_cast<std::int64_t>(Yplane.rows) * Yplane.cols);
}

float backgroundOfUniformWhite(std::int64_t pixels, float luminance) {
    return fifthOfMean(numerics::repeatedSum(luminance, pixels), pixels);
}

float computeN(float Yb, float Yw) {
    return Yb / Yw;
}

float computeFl(float La) {
    const auto k = static_cast<float>(1.0 / (5.0 * La + 1.0));
    const float k4 = k * k * k * k;
    const double rest = 1.0 - k4;
    return static_cast<float>(k4 * La + 0.1 * (rest * rest) * std::pow(5.0 * La, 0.3333333333333333));
}

float computeNcb(float Yb, float Yw) {
    return static_cast<float>(0.725 * std::pow(1.0 / computeN(Yb, Yw), 0.2));
}

float computeZ(float Yb, float Yw) {
    return static_cast<float>(1.48 + std::sqrt(computeN(Yb, Yw)));
}

ViewingConditionMaps uniformViewingConditions(cv::Size size, float backgroundLuminance) {
    const auto filled = [size](float value) { return cv::Mat(size, CV_32F, cv::Scalar(value)); };
    return {filled(computeFl(adaptingLuminance)), filled(computeN(backgroundLuminance, whiteLuminance)),
            filled(computeNcb(backgroundLuminance, whiteLuminance)),
            filled(computeZ(backgroundLuminance, whiteLuminance))};
}

}  // namespace likeness
