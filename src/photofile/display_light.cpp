#include "photofile/display_light.hpp"

#include <likeness/color/unit_image.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace likeness {
namespace {

/// BT.2100-2, table 4: the share of 10,000 cd/m2 of a signal on 0..1.
double pqLight(double signal) {
    constexpr double m1 = 2610.0 / 16384;
    constexpr double m2 = 2523.0 / 4096 * 128;
    constexpr double c1 = 3424.0 / 4096;
    constexpr double c2 = 2413.0 / 4096 * 32;
    constexpr double c3 = 2392.0 / 4096 * 32;
    const double root = std::pow(signal, 1 / m2);
    return std::pow(std::max(root - c1, 0.0) / (c2 - c3 * root), 1 / m1);
}

/// BT.2100-2, table 5: the light of the scene, on 0..1, of a signal on 0..1.
double hlgScene(double signal) {
    constexpr double a = 0.17883277;
    const double b = 1 - 4 * a;
    const double c = 0.5 - a * std::log(4 * a);
    return signal <= 0.5 ? signal * signal / 3 : (std::exp((signal - c) / a) + b) / 12;
}

/// Of one value; relative to the reference white for PQ, and of the scene for HLG.
float lightOf(double signal, LightCurve light) {
    if (std::isnan(signal)) {
        return std::numeric_limits<float>::quiet_NaN();
    }
    const double clamped = std::clamp(signal, 0.0, 1.0);
    constexpr double pqPeak = 10000;
    return static_cast<float>(light == LightCurve::pq ? pqPeak / referenceWhite * pqLight(clamped) : hlgScene(clamped));
}

/// Integers have few values: each is computed once.
template <typename Value>
cv::Mat lightOfIntegers(const cv::Mat& stored, LightCurve light) {
    constexpr std::size_t greatest = std::numeric_limits<Value>::max();
    std::vector<float> table(greatest + 1);
    for (std::size_t value = 0; value <= greatest; ++value) {
        table[value] = lightOf(static_cast<double>(value) / static_cast<double>(greatest), light);
    }
    cv::Mat result(stored.size(), CV_32FC3);
    cv::parallel_for_(cv::Range(0, stored.rows), [&](const cv::Range& rows) {
        for (int i = rows.start; i < rows.end; ++i) {
            const auto* const from = stored.ptr<Value>(i);
            std::transform(from, from + 3 * std::ptrdiff_t{stored.cols}, result.ptr<float>(i),
                           [&table](Value value) { return table[value]; });
        }
    });
    return result;
}

cv::Mat lightOfFloats(const cv::Mat& stored, LightCurve light) {
    cv::Mat result(stored.size(), CV_32FC3);
    cv::parallel_for_(cv::Range(0, stored.rows), [&](const cv::Range& rows) {
        for (int i = rows.start; i < rows.end; ++i) {
            const auto* const from = stored.ptr<float>(i);
            std::transform(from, from + 3 * std::ptrdiff_t{stored.cols}, result.ptr<float>(i),
                           [light](float value) { return lightOf(double{value}, light); });
        }
    });
    return result;
}

/// Luminances of linear B, G, R, whose sum is 1.
cv::Vec3d luminancesOf(const Chromaticities& c) {
    cv::Matx33d xyz;
    for (int primary = 0; primary < 3; ++primary) {
        const double x = c[2 + 2 * static_cast<std::size_t>(primary)];
        const double y = c[3 + 2 * static_cast<std::size_t>(primary)];
        xyz(0, primary) = x / y;
        xyz(1, primary) = 1;
        xyz(2, primary) = (1 - x - y) / y;
    }
    const cv::Vec3d white(c[0] / c[1], 1, (1 - c[0] - c[1]) / c[1]);
    const cv::Vec3d rgb = xyz.solve(white, cv::DECOMP_LU);
    return {rgb[2], rgb[1], rgb[0]};
}

/// BT.2100-2, table 5, the opto-optical transfer function: light of the scene becomes that of the display.
void showOnDisplay(cv::Mat& scene, const Chromaticities& chromaticities) {
    constexpr double systemGamma = 1.2;
    const cv::Vec3d luminances = luminancesOf(chromaticities);
    cv::parallel_for_(cv::Range(0, scene.rows), [&](const cv::Range& rows) {
        for (int i = rows.start; i < rows.end; ++i) {
            auto* const row = scene.ptr<cv::Vec3f>(i);
            for (int j = 0; j < scene.cols; ++j) {
                const double y = luminances.dot(cv::Vec3d(row[j]));
                const double factor = hybridLogGammaPeak / referenceWhite * std::pow(std::max(y, 0.0), systemGamma - 1);
                for (int k = 0; k < 3; ++k) {
                    row[j][k] = static_cast<float>(factor * double{row[j][k]});
                }
            }
        }
    });
}

}  // namespace

cv::Mat displayLight(const cv::Mat& stored, LightCurve light, const Chromaticities& chromaticities) {
    cv::Mat result = stored.depth() == CV_8U    ? lightOfIntegers<unsigned char>(stored, light)
                     : stored.depth() == CV_16U ? lightOfIntegers<std::uint16_t>(stored, light)
                                                : lightOfFloats(toUnit(stored), light);
    if (light == LightCurve::hlg) {
        showOnDisplay(result, chromaticities);
    }
    return result;
}

}  // namespace likeness
