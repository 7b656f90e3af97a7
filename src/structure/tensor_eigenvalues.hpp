// Eigenvalues of symmetric 2 x 2 matrices in single precision, with the roundings of the image library's general
// solver.
#pragma once

#include <cmath>
#include <limits>

namespace likeness {

struct Eigenvalues {
    float greater;
    float lesser;
};

namespace symmetric2x2 {

/// Length of (x, y) without overflow or underflow on the way.
inline float length(float x, float y) noexcept {
    const float a = std::fabs(x);
    const float b = std::fabs(y);
    const float longer = a < b ? b : a;
    const float ratio = (a < b ? a : b) / longer;
    return longer == 0.0F ? 0.0F : longer * std::sqrt(1.0F + ratio * ratio);
}

/// One step of the QR iteration with Wilkinson's shift on [d0 e; e d1], e != 0. Two steps make e negligible, mostly
/// one.
inline void qrStep(float& d0, float& d1, float& e) noexcept {
    const float halfDifference = (d0 - d1) * 0.5F;
    float shift = d1;
    if (halfDifference == 0.0F) {
        shift -= std::fabs(e);
    } else {
        const float radius = length(halfDifference, e);
        const float divisor = halfDifference + (halfDifference > 0.0F ? radius : -radius);
        const float square = e * e;
        shift -= square == 0.0F ? e / (divisor / e) : square / divisor;  // the square may underflow
    }

    // Givens rotation that turns (x, e) onto the first axis.
    const float x = d0 - shift;
    float c = 0.0F;
    float s = e < 0.0F ? 1.0F : -1.0F;
    if (x != 0.0F) {
        const bool steep = std::fabs(x) <= std::fabs(e);
        const float tangent = steep ? x / e : e / x;
        const float root = std::sqrt(1.0F + tangent * tangent);
        const float near = 1.0F / ((steep ? e : x) < 0.0F ? -root : root);
        s = steep ? -near : -tangent * near;
        c = steep ? -tangent * s : near;
    }

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
    constexpr float inverseEpsilon = 1.0F / std::numeric_limits<float>::epsilon();
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

    const auto negligible = [&] {
        const float scaled = inverseEpsilon * e;
        return std::fabs(e) < std::numeric_limits<float>::min() || scaled * scaled <= std::fabs(d0) + std::fabs(d1);
    };
    for (int step = 0; !negligible(); ++step) {
        if (step == greatestStepCount) {
            return {notANumber, notANumber};  // only a NaN keeps the iteration from ending
        }
        symmetric2x2::qrStep(d0, d1, e);
    }
    return d1 < d0 ? Eigenvalues{d0 * scale, d1 * scale} : Eigenvalues{d1 * scale, d0 * scale};
}

}  // namespace likeness
