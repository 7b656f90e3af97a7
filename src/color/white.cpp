#include <likeness/color/white.hpp>

#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/chromaticity.hpp>
#include "color/photograph_argument.hpp"

namespace likeness {
White White::d65() {
    return {{0.9505, 1.0, 1.0888}};
}

White White::d50() {
    return {{0.9642, 1.0, 0.8249}};
}

White White::fromBgr(const cv::Vec3d& bgr) {
    if (!cv::checkRange(cv::Mat(bgr))) {
        refuseArgument("bgr", "the components of a white must be finite");
    }
    cv::Mat white(1, 1, CV_32FC3, cv::Scalar(bgr[0], bgr[1], bgr[2]));
    convertBGRToXYZDirect(white, white);
    return {cv::Vec3d(white.at<cv::Vec3f>(0, 0))};
}

White White::fromChromaticity(const cv::Vec2d& xy) {
    if (!cv::checkRange(cv::Mat(xy)) || !(xy[1] > 0)) {
        refuseArgument("xy", "a chromaticity must be finite, with y above 0");
    }
    cv::Mat white(1, 1, CV_32FC3);
    xytoXYZ(cv::Mat(1, 1, CV_32FC2, cv::Scalar(xy[0], xy[1])), 1.0F, white);
    return {cv::Vec3d(white.at<cv::Vec3f>(0, 0))};
}

cv::Vec2d White::chromaticity() const {
    cv::Mat xy(1, 1, CV_32FC2);
    XYZtoxy(cv::Mat(1, 1, CV_32FC3, cv::Scalar(xyz[0], xyz[1], xyz[2])), xy);
    return cv::Vec2d(xy.at<cv::Vec2f>(0, 0));
}

}  // namespace likeness
