// Estimates of the white that a scene was seen under, for the whole image or for each pixel.
//
// Images are CV_32FC3, nominally in [0, 1].
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Gray-world estimate over the pixels that are nearly neutral: those with (|U| + |V|) / Y < 0.3 (Y, U, V of
/// color/yuv.hpp), a test that a negative Y passes too and a Y of 0 or NaN fails. The estimate has luma 1 and the mean
/// U and V of these pixels, 0 where there are none; sums run in float, row by row. Called repeatedly, on an image that
/// the caller adapts in between.
///
/// @param img       CV_32FC3 in B, G, R order, gamma-encoded; not modified
/// @param white     1 x 1 CV_32FC3, overwritten with the estimate in B, G, R order, clipped to [0, 1]
/// @param previous  1 x 1 CV_32FC3 in the order Y, U, V: the estimate of the call before, to be set to NaN before the
///                  first; overwritten with this call's, not clipped
/// @param mask      not read
/// @param diagnostics  receives the line "[b, g, r]" of `white` whenever the result is false
/// @return          true when the estimate moved by less than 1e-6, or when |U| and |V| are below 0.001; always false
///                  when the U of `previous` was NaN
/// @throws std::invalid_argument  if `img` is of another type, or `white` or `previous` is, or is empty
/// @see             Buchsbaum, "A spatial processor model for object colour perception", J. Franklin
///                  Institute 310, 1980
bool computeWhitePointFromGrayWorld(const cv::Mat& img, cv::Mat& white, cv::Mat& previous, cv::Mat& mask,
                                    const Diagnostics& diagnostics = workingDirectory());

/// White of each pixel: the image smoothed by a guided filter under itself, radius 16, eps 1e-4.
///
/// @param img     one or three channels, any depth; not modified
/// @param white   replaced by the white image, of the size and type of `img`
/// @param radius  not read: the radius is always 16
/// @param diagnostics  receives what `guidedFilter` writes: eight images where `img` has three channels
void computeWhiteImg(cv::Mat& img, cv::Mat& white, int radius, const Diagnostics& diagnostics = workingDirectory());

/// White of each pixel: the image smoothed by a bilateral filter (Tomasi, Manduchi, ICCV 1998).
///
/// @param img    one or three channels, CV_8U or CV_32F; not modified
/// @param white  overwritten, allocated where it does not fit; must not be `img`
/// @param sigma  width of the filter in values
/// @param d      diameter of the neighbourhood, and the width of the filter, in pixels
void computeWhiteImgVs2(cv::Mat& img, cv::Mat& white, float sigma, int d);

}  // namespace likeness
