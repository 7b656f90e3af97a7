// The forward appearance model of one colour, step by step, as the loops over images take it: floats where they store
// floats, double between. `F_L^0.25` and the share of the background are `luminanceLevelRoot` and `chromaOfBackground`.
#pragma once

#include <likeness/appearance/appearance_correlates.hpp>
#include <likeness/appearance/viewing_conditions.hpp>

#include <cmath>

namespace likeness::kernels {

inline constexpr double pi = 3.141592653589793;

inline constexpr double compressionExponent = 0.42;

/// What is raised to `compressionExponent`.
inline double compressionBase(float response, float FL) {
    const float x = FL * response;
    return static_cast<double>(x) / 100.0;
}

/// A response, compressed.
/// @param t  the power, rounded
inline float compressed(float t) {
    return static_cast<float>(static_cast<double>(400.0F * t) / (static_cast<double>(t) + 27.13) + 0.1);
}

/// a
inline float redGreen(float rho, float gamma, float beta) {
    return static_cast<float>(beta / 11.0 + (rho - (12.0F * gamma) / 11.0));
}

/// b
inline float yellowBlue(float rho, float gamma, float beta) {
    return (rho + gamma - 2 * beta) / 9.0F;
}

/// h in degrees, not rounded.
inline double hueDegrees(float b, float a) {
    return std::atan2(static_cast<double>(b), static_cast<double>(a)) * 180.0 / pi;
}

/// e, not rounded.
inline double eccentricity(float hue) {
    return (std::cos(static_cast<double>(hue) * pi / 180.0 + 2.0) + 3.8) / 4.0;
}

/// A
inline float achromatic(float rho, float gamma, float beta, float Nbb) {
    const float longAndMiddle = 2 * rho + gamma;
    return static_cast<float>(Nbb * (beta / 20.0 + longAndMiddle - 0.305));
}

/// J
inline float lightness(float A, float Aw, float z) {
    return 100.0F * std::pow(A / Aw, z * darkSurroundImpact);
}

/// Q
inline float brightness(float J, float Aw, double levelRoot) {
    const double root = std::sqrt(J / 100.0F);
    return static_cast<float>(4.0 * root * static_cast<double>(4.0F + Aw) * levelRoot / darkSurroundImpact);
}

/// t
inline float magnitude(float rho, float gamma, float beta, float a, float b, float e, float Ncb, float Nc) {
    const double k = Nc * chromaScale * Ncb * e;
    const float radius = std::sqrt(a * a + b * b);
    const float longAndMiddle = rho + gamma;
    return static_cast<float>(radius * k / (1.05 * beta + longAndMiddle));
}

inline constexpr double magnitudeExponent = 0.9;

/// sqrt(J / 100) as chroma takes it.
inline double rootOfLightness(float J) {
    return std::sqrt(J / 100.0);
}

/// C, not rounded.
/// @param power  t to the `magnitudeExponent`
/// @param root   `rootOfLightness`
inline double chroma(double power, double root, double background) {
    return power * root * background;
}

/// M
inline float colorfulness(float C, double levelRoot) {
    return static_cast<float>(levelRoot * C);
}

/// s
inline float saturation(float M, float Q) {
    return 100.0F * std::sqrt(M / Q);
}

}  // namespace likeness::kernels
