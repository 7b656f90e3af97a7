// The image library's bilateral filter (Tomasi, Manduchi, ICCV 1998), kept within its tables.
//
// The library weighs differences of floats by a table over the range of the image, which it takes from its own
// `minMaxLoc`. On some processors, Arm among them, that loses extremes where there is NaN; greater differences are then
// looked up beyond the end of the table. Such an image is filtered here instead, by the same formula. On x86-64 the
// extremes are right, and the bits the library's.
#pragma once

#include <opencv2/core.hpp>

namespace likeness {

/// `cv::bilateralFilter` with the mirrored border. NaN does not count for its neighbours; in its place stands the mean
/// of those.
/// @param image   CV_8U or CV_32F of one or three channels; no infinite values
/// @param result  allocated where it does not fit; must not be `image`
/// @param diameter     of the neighbourhood in pixels; 0 and below: from `spaceSigma`
/// @param valueSigma   width in values
/// @param spaceSigma   width in pixels
void bilateralFilter(const cv::Mat& image, cv::Mat& result, int diameter, double valueSigma, double spaceSigma);

/// The same of floats, pixel by pixel, whatever the image library finds. In float, to some six digits the library's.
void bilateralFilterByDefinition(const cv::Mat& image, cv::Mat& result, int diameter, double valueSigma,
                                 double spaceSigma);

}  // namespace likeness
