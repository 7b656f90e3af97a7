// Checks of what the operations on images of colours other than photographs are called with.
#pragma once

#include <likeness/color/white.hpp>
#include "color/photograph_argument.hpp"

#include <opencv2/core.hpp>

#include <string>

namespace likeness {

/// The image as CV_32FC3 in memory of its own, double values rounded to float; NaN stays. Empty of an empty image.
/// @throws std::invalid_argument  unless the image has three channels of float or double: whole numbers have no scale
cv::Mat ownColors(const std::string& name, const cv::Mat& image);

/// Lets `convert` work on the image in place, as `ownColors`; an empty one comes back.
template <typename Convert>
cv::Mat convertedColors(const std::string& name, const cv::Mat& image, Convert convert) {
    cv::Mat colors = ownColors(name, image);
    if (!colors.empty()) {
        convert(colors);
    }
    return colors;
}

/// The same for the argument `photograph`, of any depth that `toUnit` takes.
template <typename Convert>
cv::Mat convertedPhotograph(const cv::Mat& photograph, Convert convert) {
    if (photograph.empty()) {
        return {};
    }
    cv::Mat colors = ownUnitPhotograph("photograph", photograph);
    convert(colors);
    return colors;
}

/// The white as a 1 x 1 CV_32FC3.
/// @throws std::invalid_argument  where a component is not finite or, in float, not above 0
cv::Mat whiteTriple(const std::string& name, const White& white);

}  // namespace likeness
