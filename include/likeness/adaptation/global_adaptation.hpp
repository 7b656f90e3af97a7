/// @file
/// Adaptation of a whole photograph to another one's illuminant by one von Kries transform of cone responses.
///
/// Images are CV_32FC3 in B, G, R order, gamma-encoded, in [0, 1]; a white is a 1 x 1 CV_32FC3 in the same order.
/// An argument that is read and of another type, or a white that is empty, raises std::invalid_argument before anything
/// is changed.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Adapts `img` in place from one white to another: X, Y, Z of both whites by the image library's linear sRGB matrix,
/// cone responses s and t of them, each response of the image times ((1 - D) s + D t) / s.
///
/// The image goes to X, Y, Z and back under the source white (color/bgr_xyz.hpp) and is clipped to [0, 1] in X, Y, Z
/// and again in B, G, R; NaN becomes 0 in X, Y, Z. The cone matrix is that of CAT02 (CIE 159:2004) except for -0.0136
/// in place of +0.0136 (departure 7).
///
/// @param img          read and replaced
/// @param sourceWhite  white of img's illuminant, read; a cone response of 0 divides by zero, the image is then made of
///                     what is clipped from infinite or NaN values
/// @param targetWhite  white of the wanted illuminant, read
/// @param D            degree of adaptation: 0 none, 1 full; not limited
/// @param mask         not read
LIKENESS_API void CAT(cv::Mat& img, cv::Mat& sourceWhite, const cv::Mat& targetWhite, float D, cv::Mat& mask);

/// Adapts `img` in place to the gray-world white of `target` (color/white_point.hpp), again and again, each time from
/// the white that the adapted image has now, until that white no longer moves or 80 adaptations are made.
///
/// @param img     adapted in place
/// @param target  image whose illuminant is wanted, read
/// @param D       degree of adaptation in each step
/// @param diagnostics  receives a line "[b, g, r]" for the target's white, one for the image's, and one more after each
///                     adaptation that has not converged
/// @note  "Masks/giantShadow.jpg" in the working directory is read as a grey image where there is one, and masks out
///        what it shows brighter than 100; but neither the white estimate nor `CAT` reads the mask. A missing file or
///        an unreadable one masks nothing, a small one only what it covers.
/// @note  The target's white counts as never seen before, so its line is always printed.
LIKENESS_API void performIlluminantAdaptation(cv::Mat& img, const cv::Mat& target, float D,
                                              const Diagnostics& diagnostics = workingDirectory());

/// The same for a part of `img`: pixels that are left out are not looked at for its white, and keep their values. No
/// file is read.
///
/// @param leftOut  CV_8U of img's size: what it shows brighter than 100 is left out, in every column; empty: nothing is
LIKENESS_API void performIlluminantAdaptation(cv::Mat& img, const cv::Mat& target, float D, const cv::Mat& leftOut,
                                              const Diagnostics& diagnostics = workingDirectory());

}  // namespace likeness
