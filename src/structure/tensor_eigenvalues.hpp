// Eigenvalues of symmetric 2 x 2 matrices in float, with the roundings of the image library's general solver.
#pragma once

#include <cmath>
#include <limits>

namespace likeness {

struct Eigenvalues {
    float greater;
    float lesser;
};

namespace symmetric2x2 {

/// Whether the off-diagonal entry e of [d0 e; e d1], entries within [-1, 1], counts as 0.
inline bool isNegligible(float d0, float d1, float e) noexcept {
    constexpr float inverseEpsilon = 1.0F / std::numeric_limits<float>::epsilon();
    const float scaled = inverseEpsilon * e;
    const bool tiny = std::fabs(e) < std::numeric_limits<float>::min();
    const bool small = scaled * scaled <= std::fabs(d0) + std::fabs(d1);
    // Both are looked at, without a branch between them.
    return static_cast<int>(tiny) + static_cast<int>(small) > 0;
}

/// One step of the QR iteration with Wilkinson's shift on [d0 e; e d1], e not negligible: no divisor below is 0, no
/// square underflows. One or two steps make e negligible.
inline void qrStep(float& d0, float& d1, float& e) noexcept {
    const float halfDifference = (d0 - d1) * 0.5F;
    const float across = std::fabs(halfDifference);
    const float along = std::fabs(e);
    const float longer = across < along ? along : across;
    const float ratio = (across < along ? across : along) / longer;
    const float radius = longer * std::sqrt(1.0F + ratio * ratio);
    const float fromShift = e * e / (halfDifference + (halfDifference > 0.0F ? radius : -radius));
    const float shift = d1 - (halfDifference == 0.0F ? along : fromShift);

    // Givens rotation that turns (x, e) onto the first axis.
    const float x = d0 - shift;
    const bool steep = std::fabs(x) <= along;
    const float far = steep ? e : x;
    const float tangent = (steep ? x : e) / far;
    const float root = std::sqrt(1.0F + tangent * tangent);
    const float near = 1.0F / (far < 0.0F ? -root : root);
    const float s = steep ? -near : -tangent * near;
    const float c = steep ? -tangent * s : near;

    const float offDiagonal = s * d0 + c * e;
    const float lower = s * e + c * d1;
    d0 = c * (c * d0 - s * e) - s * (c * e - s * d1);
    d1 = s * offDiagonal + c * lower;
    e = c * offDiagonal - s * lower;
}

}  // namespace symmetric2x2

/// Eigenvalues of the symmetric matrix [t00 t10; t10 t11] by QR iteration with Wilkinson's shift (Golub and Van Loan,
/// Matrix Computations, 8.3).
///
/// Bit for bit what `cv::eigen` gives where the image library was built with Eigen, as Debian's is, for every finite
/// matrix; entries of +0 and -0 included. A closed form by the quadratic formula would be off by some units in the last
/// place, and by much more in the lesser one of two very different eigenvalues. A NaN or infinite entry gives NaN in at
/// least one of the two; where the solver gives up on it, in both.
inline Eigenvalues symmetricEigenvalues(float t00, float t10, float t11) noexcept {
    constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
    constexpr int greatestStepCount = 60;

    // Scaled to entries within [-1, 1] against overflow and underflow.
    float scale = std::fabs(t00);
    scale = std::fabs(t10) > scale ? std::fabs(t10) : scale;
    scale = std::fabs(t11) > scale ? std::fabs(t11) : scale;
    if (scale == 0.0F) {
        scale = 1.0F;
    }
    float d0 = t00 / scale;
    float d1 = t11 / scale;
    float e = t10 / scale;

    for (int step = 0; !symmetric2x2::isNegligible(d0, d1, e); ++step) {
        if (step == greatestStepCount) {
            return {notANumber, notANumber};  // only a NaN keeps the iteration from ending
        }
        symmetric2x2::qrStep(d0, d1, e);
    }
    return d1 < d0 ? Eigenvalues{d0 * scale, d1 * scale} : Eigenvalues{d1 * scale, d0 * scale};
}

}  // namespace likeness
