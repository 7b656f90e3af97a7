/// @file
/// Photographs of another brightness through the appearance model and back: sharpened B, G, R, CV_32FC3 on the scale 0..1,
/// in six passes of falling factors.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <functional>
#include <vector>

namespace likeness {

/// Images that `increaseBrightness` makes in one call.
inline constexpr int brightnessPasses = 6;

/// Factor of a pass of `increaseBrightness`, which is `first` in pass 0 and 0.7 less in each next one; every step is
/// rounded to float.
LIKENESS_API float brightnessFactor(float first, int pass);

/// Photographs of another brightness, and the same chroma and hue: the forward appearance model, a power law on the
/// brightness smoothed by a bilateral filter, and the inverse model, for six factors.
///
/// Pass k has the factor `factor` - 0.7 k and the exponent gamma = log10(10 / factor) + 1. With a brightness above 1, a
/// factor above 10 darkens (gamma < 1) and one below it brightens; from the pass on whose factor is below 0, gamma is
/// NaN and with it nearly the whole image (docs/brightness_increase.md). The viewing conditions are those of the
/// comparison of photographs.
///
/// Files: "tmpFlash.jpg", a copy of the photograph "Images/flash-nonFlash+multiExp/set06/Scaled/flash.JPG" of the
/// working directory (not written where that is missing; not otherwise used); the forward model's "A_before.jpg",
/// "10_in.txt", "mask.jpg", "t_before.jpg"; "rgba_before.jpg", "lms_before.jpg", "a_before.jpg", "b_before.jpg",
/// "lightness_before.jpg", "brightness_before.jpg", "brightness_before_filtered.jpg"; "pValues.txt", always empty;
/// and, each pass over the one before, "10_out.txt", "t_after.jpg", "brightness_after.jpg", "z_after.jpg",
/// "lightness_after.jpg", "A_after.jpg", "a_after.jpg", "b_after.jpg", "rgba_after.jpg", "lms_after.jpg", "dst.jpg".
///
/// Messages: those of `performGammaCorrectionByStyle`, "Already out !", those of `lightness2A` and
/// `inverseNonLinearities`, every NaN of the pass's result, and the next factor, each on a line of its own, pass after
/// pass; at the end every restored element of `src` that is above 1.
///
/// @param src     rows x cols, CV_32FC3, sharpened B, G, R on the scale 0..1; multiplied by 100 and divided by 100
///                again, so that it may come back with another last bit
/// @param dst     six images of that size and type, allocated by the caller; sharpened B, G, R on the scale 0..1, not
///                clamped
/// @param factor  brightness factor of the first pass
LIKENESS_API void increaseBrightness(cv::Mat& src, cv::Mat* dst, float factor,
                                     const Diagnostics& diagnostics = workingDirectory());

/// Passes of `increaseBrightness` one after the other, of which no more than one picture is kept at a time. The same
/// bits, dumps and messages as of these passes there, with the dumps and messages that come before and after them.
///
/// @param passes  which passes, 0 to 5, each at most once, in ascending order
/// @param take    is given each pass's number and picture, as `dst` holds it there, which lasts as long as the call and
///                may be altered
/// @param src, factor  as above; `factor` is that of pass 0 also where that is not made
/// @throws std::invalid_argument  for other passes, before anything is computed
LIKENESS_API void increaseBrightnessByPasses(cv::Mat& src, float factor, const std::vector<int>& passes,
                                             const std::function<void(int pass, cv::Mat& picture)>& take,
                                             const Diagnostics& diagnostics = workingDirectory());

}  // namespace likeness
