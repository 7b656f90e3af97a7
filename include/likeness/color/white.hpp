/// @file
/// The white that colours are seen under, as a value.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// A white. Operations that take one refuse components that are not finite or not above 0 (std::invalid_argument), and
/// compute with them in float.
struct LIKENESS_API White {
    cv::Vec3d xyz;  ///< X, Y, Z, on the scale where Y = 1

    /// The white of sRGB and of the comparison, (0.9505, 1, 1.0888).
    static White d65();

    /// (0.9642, 1, 0.8249), the white of most print work.
    static White d50();

    /// The white of a gamma-encoded B, G, R colour: its X, Y, Z by the matrix of sRGB under D65, the bits of
    /// `convertBGRToXYZDirect`. Y is not scaled to 1.
    /// @throws std::invalid_argument  where a component is not finite
    static White fromBgr(const cv::Vec3d& bgr);

    /// The white of Y = 1 and a chromaticity x, y (CIE 1931), the bits of `xytoXYZ`.
    /// @throws std::invalid_argument  where a component is not finite or y is not above 0
    static White fromChromaticity(const cv::Vec2d& xy);

    /// Chromaticity x, y, the bits of `XYZtoxy`; NaN of a white of X + Y + Z = 0. `correlatedColorTemperature` takes
    /// it.
    cv::Vec2d chromaticity() const;
};

}  // namespace likeness
