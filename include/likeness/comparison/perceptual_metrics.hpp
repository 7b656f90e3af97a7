/// @file
/// The appearance correlates of an image under the viewing conditions of the comparison: CV_32F maps of the image's size
/// from sharpened B, G, R that are adapted to D65, CV_32FC3 on the scale 0..1.
#pragma once

#include <likeness/appearance/published_model.hpp>
#include <likeness/comparison/per_correlate.hpp>
#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <cstdint>

namespace likeness {

/// Five appearance correlates of an image under the viewing conditions of the comparison: adapting luminance 20, white
/// 100, background a fifth of the mean white (`computeYback`; drifts with the number of pixels, departure 6), dark
/// surround.
///
/// @param src  CV_32FC3, sharpened B, G, R adapted to D65 on the scale 0..1; left multiplied by 100
/// @param Q    brightness, CV_32F of src's size, allocated by the caller like the other four
/// @param J    lightness, 0..100
/// @param C    chroma
/// @param M    colourfulness
/// @param s    saturation
/// @param diagnostics  "A_before.jpg", "10_in.txt", "mask.jpg" and "t_before.jpg" of the forward model
///                     (appearance/appearance_correlates.hpp)
/// @throws std::invalid_argument  if an image is of another type, or a map too small; `src` is then as it was
/// @note  NaN where a cone response is negative. No colour of an 8-bit photograph that was adapted by `compute_cat` has
///        one; saturated colours of other images can.
LIKENESS_API void perceptualMetrics(cv::Mat& src, cv::Mat& Q, cv::Mat& J, cv::Mat& C, cv::Mat& M, cv::Mat& s,
                                    const Diagnostics& diagnostics = workingDirectory());

/// The same with an explicit background luminance, for an image of distinct colours that represents a photograph: they
/// are seen under the background of the whole photograph.
LIKENESS_API void perceptualMetricsUnderBackground(cv::Mat& src, float backgroundLuminance, cv::Mat& Q, cv::Mat& J,
                                                   cv::Mat& C, cv::Mat& M, cv::Mat& s, const Diagnostics& diagnostics);

/// The correlates of an image, CV_32F of its size; `lightness` in 0..100.
struct AppearanceMaps : PerCorrelate<cv::Mat> {
    cv::Mat hueDegrees;  ///< h, in (-180, 180]
};

/// What `perceptualMetricsUnderBackground` computes, and the hue (`computeHue`) under the same conditions.
/// @param src  left multiplied by 100
LIKENESS_API AppearanceMaps appearanceMapsUnderBackground(cv::Mat& src, float backgroundLuminance,
                                                          const Diagnostics& diagnostics);

/// How one colour looks to the comparison beside the white of sRGB, under a background of 20: the bits of the maps of a
/// picture that holds the two. The hue is in 0..360 here, and its quadrature is that of the published models.
/// @param bgr  gamma-encoded B, G, R; one brighter than white is its own white. NaN where a cone response is negative
LIKENESS_API Correlates appearanceOf(const cv::Vec3f& bgr);

/// Luminance of the background that `perceptualMetrics` assumes for an image of so many pixels: 20 up to some 0.67
/// megapixels, then a little off because the mean is summed in float.
LIKENESS_API float backgroundLuminanceOf(std::int64_t pixels);

}  // namespace likeness
