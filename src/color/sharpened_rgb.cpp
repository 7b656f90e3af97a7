#include <likeness/color/sharpened_rgb.hpp>

#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/pixel_matrix.hpp>
#include "color/color_argument.hpp"
#include "color/color_matrices.hpp"
#include "color/cone_matrices.hpp"
#include "numerics/argument_check.hpp"

namespace likeness {

cv::Mat sharpenedRgbFromXyz() {
    return floatMatrix(cat02FromXyz);
}

void convertXYZtoSharpenedBGR(const cv::Mat& xyz, cv::Mat& out) {
    requireType("convertXYZtoSharpenedBGR", CV_32FC3, {{"xyz", xyz}});
    requireRoom("convertXYZtoSharpenedBGR", xyz.size(), CV_32FC3, {{"out", out}});
    cv::Mat M = sharpenedRgbFromXyz();
    multiplyImageByMatrixBackward(xyz, out, M);
}

void convertSharpenedBGRtoXYZ(cv::Mat& in, cv::Mat& xyz) {
    requireType("convertSharpenedBGRtoXYZ", CV_32FC3, {{"in", in}});
    requireRoom("convertSharpenedBGRtoXYZ", in.size(), CV_32FC3, {{"xyz", xyz}});
    cv::Mat M = sharpenedRgbFromXyz().inv();
    multiplyImageByMatrixForward(in, xyz, M);
}

cv::Mat sharpenedFromXyz(const cv::Mat& xyz) {
    return convertedColors("xyz", xyz, [&](cv::Mat& colors) { convertXYZtoSharpenedBGR(colors, colors); });
}

cv::Mat xyzFromSharpened(const cv::Mat& sharpened) {
    return convertedColors("sharpened", sharpened, [&](cv::Mat& colors) { convertSharpenedBGRtoXYZ(colors, colors); });
}

cv::Mat sharpenedFromBgr(const cv::Mat& photograph) {
    return convertedPhotograph(photograph, [](cv::Mat& colors) {
        convertBGRToXYZDirect(colors, colors);
        convertXYZtoSharpenedBGR(colors, colors);
    });
}

cv::Mat bgrFromSharpened(const cv::Mat& sharpened) {
    return convertedColors("sharpened", sharpened, [](cv::Mat& colors) {
        convertSharpenedBGRtoXYZ(colors, colors);
        convertXYZToBGRDirect(colors, colors);
    });
}

}  // namespace likeness
