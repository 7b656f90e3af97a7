#include "color/color_argument.hpp"

#include "color/photograph_argument.hpp"

#include <cmath>

namespace likeness {

cv::Mat ownColors(const std::string& name, const cv::Mat& image) {
    if (image.empty()) {
        return {};
    }
    requireRowsAndColumns(name, image);
    if (image.type() != CV_32FC3 && image.type() != CV_64FC3) {
        refuseArgument(name,
                       "its pixels must be three values of float or double, not " + cv::typeToString(image.type()));
    }
    cv::Mat colors;
    image.convertTo(colors, CV_32F);
    return colors;
}

cv::Mat whiteTriple(const std::string& name, const White& white) {
    cv::Mat triple(1, 1, CV_32FC3, cv::Scalar(white.xyz[0], white.xyz[1], white.xyz[2]));
    const auto& values = triple.at<cv::Vec3f>(0, 0);
    for (int k = 0; k < 3; ++k) {
        if (!std::isfinite(values[k]) || !(values[k] > 0)) {
            refuseArgument(name, "the X, Y, Z of a white must be finite and above 0");
        }
    }
    return triple;
}

}  // namespace likeness
