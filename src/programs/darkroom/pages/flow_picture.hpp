#pragma once

#include <opencv2/core.hpp>

namespace likeness::darkroom {

/// Length of the longest displacement in pixels; displacements that are no numbers do not count.
/// @param flow  CV_32FC2, displacements (dx, dy), x to the right and y down
double greatestLength(const cv::Mat& flow);

/// A displacement as a colour: its direction as hue (right is red, up yellow-green, left cyan, down violet), its length
/// as saturation.
/// @param greatest  length of a fully saturated colour; longer ones are fully saturated too
/// @return  B, G, R; white for a length of 0, black for what is no number
cv::Vec3b flowColor(const cv::Vec2f& displacement, double greatest);

/// The field as a picture in the colours of `flowColor`, with a legend below it: the wheel of directions and the length
/// in pixels that is fully saturated.
/// @param flow  CV_32FC2
/// @return  CV_8UC3, flow.rows + legendHeight rows and at least legendWidth columns
cv::Mat flowPicture(const cv::Mat& flow);

inline constexpr int legendHeight = 64;
inline constexpr int legendWidth = 320;

}  // namespace likeness::darkroom
