/// @file
/// The white that each pixel of a scene was seen under: the image, smoothed.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/diagnostics/watch.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// White of each pixel: the image smoothed by a guided filter under itself, radius 16, eps 1e-4.
///
/// @param img     one or three channels, any depth; not modified
/// @param white   replaced by the white image, of the size and type of `img`
/// @param radius  not read: the radius is always 16
/// @param diagnostics  receives what `guidedFilter` writes: eight images where `img` has three channels
/// @throws std::invalid_argument  if `img` is empty
LIKENESS_API void computeWhiteImg(cv::Mat& img, cv::Mat& white, int radius,
                                  const Diagnostics& diagnostics = workingDirectory());

/// White of each pixel: the image smoothed by a bilateral filter (Tomasi, Manduchi, ICCV 1998).
///
/// @param img    one or three channels, CV_8U or CV_32F; not modified
/// @param white  overwritten, allocated where it does not fit; must not be `img`
/// @param sigma  width of the filter in values
/// @param d      diameter of the neighbourhood, and the width of the filter, in pixels
/// @throws std::invalid_argument  if `img` is empty
LIKENESS_API void computeWhiteImgVs2(cv::Mat& img, cv::Mat& white, float sigma, int d);

/// What smooths a photograph to the white of each pixel.
enum class WhiteFilter {
    guided,    ///< `computeWhiteImg`: a guided filter under the photograph itself, radius 16, eps 1e-4
    bilateral  ///< `computeWhiteImgVs2`
};

/// How `localWhite` smooths.
struct LocalWhiteOptions {
    WhiteFilter filter = WhiteFilter::guided;  ///< the filter
    double sigma = 0.1;                        ///< of `bilateral`: width in values, above 0 and up to 100; white is 1
    int diameter = 15;                         ///< of `bilateral`: diameter and width in pixels, 1 to 255
};

/// White of each pixel: the photograph, smoothed.
///
/// @param photograph  any depth that `toUnit` takes, finite, for `bilateral` from -1e6 to 1e6; not modified
/// @param watch       its receiver gets the eight images of `guidedFilter`; four steps of `guided`, the photograph's
///                    own statistics and each channel, one of `bilateral`
/// @return            CV_32FC3 of its size, channels in its order; empty of an empty photograph. A view into a larger
///                    image is smoothed as if it were a whole one.
/// @throws std::invalid_argument  if the photograph is of another type or has other values, or an option is out of its
///                                range
/// @throws Cancelled  when the caller ends it
LIKENESS_API cv::Mat localWhite(const cv::Mat& photograph, const LocalWhiteOptions& options = {},
                                const Watch& watch = {});

}  // namespace likeness
