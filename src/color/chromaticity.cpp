#include <likeness/color/chromaticity.hpp>

#include "numerics/argument_check.hpp"

namespace likeness {

void XYZtoxy(const cv::Mat& XYZ, cv::Mat& xy) {
    requireElement("XYZtoxy", CV_32FC3, {{"XYZ", XYZ}});
    requireElement("XYZtoxy", CV_32FC2, {{"xy", xy}});
    const auto& t = XYZ.at<cv::Vec3f>(0, 0);
    const float sum = t[0] + t[1] + t[2];
    xy.at<cv::Vec2f>(0, 0) = {t[0] / sum, t[1] / sum};
}

void xytoXYZ(const cv::Mat& xy, float Y, cv::Mat& XYZ) {
    requireElement("xytoXYZ", CV_32FC2, {{"xy", xy}});
    requireElement("xytoXYZ", CV_32FC3, {{"XYZ", XYZ}});
    const float x = xy.at<cv::Vec2f>(0, 0)[0];
    const float y = xy.at<cv::Vec2f>(0, 0)[1];
    XYZ.at<cv::Vec3f>(0, 0) = {x * Y / y, Y, (1 - x - y) * Y / y};
}

}  // namespace likeness
