#include <likeness/appearance/uniform_space.hpp>

#include <cmath>
#include <numbers>

namespace likeness {
namespace {

struct Coefficients {
    double lightnessScale;  ///< K_L
    double c1;
    double c2;
};

Coefficients coefficientsOf(UniformVariant variant) {
    switch (variant) {
        case UniformVariant::lcd:
            return {0.77, 0.007, 0.0053};
        case UniformVariant::scd:
            return {1.24, 0.007, 0.0363};
        default:
            return {1.0, 0.007, 0.0228};
    }
}

}  // namespace

UniformColor uniformColorOf(const Correlates& correlates, UniformVariant variant) {
    const Coefficients k = coefficientsOf(variant);
    const double lightness = (1 + 100 * k.c1) * correlates.lightness / (1 + k.c1 * correlates.lightness);
    const double colorfulness = std::log1p(k.c2 * correlates.colorfulness) / k.c2;
    const double h = correlates.hueDegrees * std::numbers::pi / 180;
    return {lightness, colorfulness * std::cos(h), colorfulness * std::sin(h)};
}

CorrelateTriple tripleOf(const UniformColor& color, UniformVariant variant) {
    const Coefficients k = coefficientsOf(variant);
    CorrelateTriple triple;
    triple.kinds = {LevelCorrelate::lightness, ChromaCorrelate::colorfulness, HueCorrelate::degrees};
    triple.level = color.lightness / (1 + 100 * k.c1 - k.c1 * color.lightness);
    triple.chroma = std::expm1(k.c2 * std::hypot(color.a, color.b)) / k.c2;
    const double h = std::atan2(color.b, color.a) * 180 / std::numbers::pi;
    triple.hue = h < 0 ? h + 360 : h;
    return triple;
}

double uniformDifference(const UniformColor& first, const UniformColor& second, UniformVariant variant) {
    return std::hypot((first.lightness - second.lightness) / coefficientsOf(variant).lightnessScale, first.a - second.a,
                      first.b - second.b);
}

}  // namespace likeness
