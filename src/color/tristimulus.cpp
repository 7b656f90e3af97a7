#include <likeness/color/tristimulus.hpp>

#include <likeness/color/srgb_companding.hpp>

namespace likeness {
namespace {

constexpr double perfectWhite = 100;

cv::Matx33d linearSrgbMatrix() {
    return cv::Matx33d(&xyzFromLinearSrgb[0][0]);
}

}  // namespace

Xyz xyzFromSrgb(const cv::Vec3d& rgb) {
    const cv::Vec3d linear(sRGBLinearOf(rgb[0]), sRGBLinearOf(rgb[1]), sRGBLinearOf(rgb[2]));
    const cv::Vec3d xyz = linearSrgbMatrix() * linear * perfectWhite;
    return {xyz[0], xyz[1], xyz[2]};
}

cv::Vec3d srgbFromXyz(const Xyz& xyz) {
    static const cv::Matx33d inverse = linearSrgbMatrix().inv();
    const cv::Vec3d linear = inverse * cv::Vec3d(xyz.x, xyz.y, xyz.z) * (1 / perfectWhite);
    return {sRGBEncodedOf(linear[0]), sRGBEncodedOf(linear[1]), sRGBEncodedOf(linear[2])};
}

Xyz srgbWhite() {
    return xyzFromSrgb({1, 1, 1});
}

Chromaticity chromaticityOf(const Xyz& xyz) {
    const double sum = xyz.x + xyz.y + xyz.z;
    return {xyz.x / sum, xyz.y / sum};
}

Xyz xyzOfChromaticity(const Chromaticity& xy, double y) {
    return {xy.x / xy.y * y, y, (1 - xy.x - xy.y) / xy.y * y};
}

}  // namespace likeness
