#include <likeness/color/cie_lab.hpp>

#include <cmath>
#include <numbers>

namespace likeness {
namespace {

constexpr double ratioKnee = 24.0 / 116.0;
constexpr double lineSlope = 841.0 / 108.0;  // 1 / (3 (6 / 29)^2)
constexpr double lineOffset = 16.0 / 116.0;

double curve(double ratio) {
    return ratio > ratioKnee * ratioKnee * ratioKnee ? std::cbrt(ratio) : lineSlope * ratio + lineOffset;
}

double inverseCurve(double f) {
    return f > ratioKnee ? f * f * f : (f - lineOffset) / lineSlope;
}

double radians(double degrees) {
    return degrees * std::numbers::pi / 180;
}

/// Hue angle in degrees, 0 to 360; 0 of grey.
double hueOf(double a, double b) {
    if (a == 0 && b == 0) {
        return 0;
    }
    const double degrees = std::atan2(b, a) * 180 / std::numbers::pi;
    return degrees < 0 ? degrees + 360 : degrees;
}

double seventhPower(double value) {
    const double cube = value * value * value;
    return cube * cube * value;
}

/// sqrt(C^7 / (C^7 + 25^7))
double shareOfChroma(double chroma) {
    constexpr double twentyFive = 6103515625.0;
    const double power = seventhPower(chroma);
    return std::sqrt(power / (power + twentyFive));
}

}  // namespace

CieLab labFromXyz(const Xyz& xyz, const Xyz& white) {
    const double x = curve(xyz.x / white.x);
    const double y = curve(xyz.y / white.y);
    const double z = curve(xyz.z / white.z);
    return {116 * y - 16, 500 * (x - y), 200 * (y - z)};
}

Xyz xyzFromLab(const CieLab& lab, const Xyz& white) {
    const double y = (lab.lightness + 16) / 116;
    return {white.x * inverseCurve(y + lab.a / 500), white.y * inverseCurve(y),
            white.z * inverseCurve(y - lab.b / 200)};
}

double ciede2000(const CieLab& first, const CieLab& second, const Ciede2000Factors& factors) {
    const double stretch =
        1.5 - 0.5 * shareOfChroma((std::hypot(first.a, first.b) + std::hypot(second.a, second.b)) / 2);
    const double a1 = first.a * stretch;
    const double a2 = second.a * stretch;
    const double c1 = std::hypot(a1, first.b);
    const double c2 = std::hypot(a2, second.b);
    const double h1 = hueOf(a1, first.b);
    const double h2 = hueOf(a2, second.b);
    const bool chromatic = c1 * c2 != 0;

    double hueStep = chromatic ? h2 - h1 : 0;
    hueStep += hueStep > 180 ? -360 : hueStep < -180 ? 360 : 0;
    const double lightnessDifference = second.lightness - first.lightness;
    const double chromaDifference = c2 - c1;
    const double hueDifference = 2 * std::sqrt(c1 * c2) * std::sin(radians(hueStep / 2));

    const double lightness = (first.lightness + second.lightness) / 2;
    const double chroma = (c1 + c2) / 2;
    double hue = h1 + h2;  // the other one's where one is grey
    if (chromatic) {
        const double turn = std::abs(h1 - h2) <= 180 ? 0 : hue < 360 ? 360 : -360;
        hue = (hue + turn) / 2;
    }

    const double t = 1 - 0.17 * std::cos(radians(hue - 30)) + 0.24 * std::cos(radians(2 * hue)) +
                     0.32 * std::cos(radians(3 * hue + 6)) - 0.20 * std::cos(radians(4 * hue - 63));
    const double fromMiddle = (lightness - 50) * (lightness - 50);
    const double lightnessWeight = 1 + 0.015 * fromMiddle / std::sqrt(20 + fromMiddle);
    const double chromaWeight = 1 + 0.045 * chroma;
    const double hueWeight = 1 + 0.015 * chroma * t;
    const double blue = (hue - 275) / 25;
    const double rotation = -std::sin(radians(60 * std::exp(-blue * blue))) * 2 * shareOfChroma(chroma);

    const double l = lightnessDifference / (factors.lightness * lightnessWeight);
    const double c = chromaDifference / (factors.chroma * chromaWeight);
    const double h = hueDifference / (factors.hue * hueWeight);
    return std::sqrt(l * l + c * c + h * h + rotation * c * h);
}

}  // namespace likeness
