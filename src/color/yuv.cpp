#include <likeness/color/yuv.hpp>

#include <likeness/color/pixel_matrix.hpp>
#include "color/color_argument.hpp"
#include "numerics/argument_check.hpp"

namespace likeness {

cv::Mat yuvFromRgb() {
    // -0.229 is departure 9; white estimates are pinned to it.
    // clang-format off
    return (cv::Mat_<float>(3, 3) <<  0.299,  0.587,  0.114,
                                     -0.229, -0.587,  0.886,
                                      0.701, -0.587, -0.114);
    // clang-format on
}

void convertBGRtoYUV(const cv::Mat& bgr, cv::Mat& yuv) {
    requireType("convertBGRtoYUV", CV_32FC3, {{"bgr", bgr}});
    requireRoom("convertBGRtoYUV", bgr.size(), CV_32FC3, {{"yuv", yuv}});
    cv::Mat M = yuvFromRgb();
    multiplyImageByMatrixForward(bgr, yuv, M);
}

cv::Mat yuvFromBgr(const cv::Mat& photograph) {
    return convertedPhotograph(photograph, [&](cv::Mat& colors) { convertBGRtoYUV(colors, colors); });
}

cv::Mat bgrFromYuv(const cv::Mat& yuv) {
    return convertedColors("yuv", yuv, [&](cv::Mat& colors) {
        cv::Mat rgbFromYuv = yuvFromRgb().inv();
        multiplyImageByMatrixBackward(colors, colors, rgbFromYuv);
    });
}

}  // namespace likeness
