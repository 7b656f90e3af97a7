// Published matrices of cone responses, as they are printed. The comparison's own chain takes them in float, the
// published models in double.
#pragma once

#include <opencv2/core.hpp>

namespace likeness {

// clang-format off
/// CAT02 of CIE 159:2004: sharpened R, G, B of X, Y, Z.
inline constexpr double cat02FromXyz[3][3] = {{ 0.7328, 0.4296, -0.1624},
                                              {-0.7036, 1.6975,  0.0061},
                                              { 0.0030, 0.0136,  0.9834}};

/// Hunt-Pointer-Estevez, as in CIE 159:2004: rho, gamma, beta of X, Y, Z.
inline constexpr double hpeFromXyz[3][3] = {{ 0.38971, 0.68898, -0.07868},
                                            {-0.22981, 1.18340,  0.04641},
                                            { 0.0,     0.0,      1.0}};
// clang-format on

/// The elements rounded: CV_32F.
inline cv::Mat floatMatrix(const double (&matrix)[3][3]) {
    cv::Mat rounded(3, 3, CV_32F);
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            rounded.at<float>(row, column) = static_cast<float>(matrix[row][column]);
        }
    }
    return rounded;
}

}  // namespace likeness
