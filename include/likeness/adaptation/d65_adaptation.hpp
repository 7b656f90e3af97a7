/// @file
/// Von Kries adaptation in sharpened RGB, every pixel under a white of its own.
///
/// Images are CV_32FC3 in sharpened B, G, R order (color/sharpened_rgb.hpp); a white image has the size of the image
/// that it serves. NaN and infinite values are written through. An argument that is read and of another type, or too
/// small, raises std::invalid_argument before anything is changed.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// The numbers of the adaptation to D65, (0.9505, 1.0, 1.0888) in XYZ, at an adapting luminance of 20.
struct D65Adaptation {
    static constexpr double guard = 1e-6;  ///< added to a white
    float degree;                          ///< D = computeAdapFactD(20)
    float degreeTimesWhite[3];             ///< D W65; channels of a sharpened B, G, R image
};

/// These numbers.
LIKENESS_API D65Adaptation d65Adaptation();

/// Adapts `img` in place from the white of each pixel to D65, (0.9505, 1.0, 1.0888) in XYZ, at an adapting luminance of
/// 20: img * (D W65 / white + 1 - D) with D = computeAdapFactD(20).
///
/// @param img    adapted in place
/// @param white  white of each pixel, read; may be `img` itself. 1e-6 is added to guard against a white of 0; a white
///               next to -1e-6 gives a huge factor.
/// @param xyz    not read
LIKENESS_API void iCAMCATByD65(cv::Mat& img, cv::Mat& white, cv::Mat& xyz);

/// Undoes `iCAMCATByD65` under the same white image, in place. `third` is not read.
LIKENESS_API void inverseCATByD65(cv::Mat& img, cv::Mat& white, cv::Mat& third);

/// Takes an image back from the white it was adapted to, to the white that the scene was seen under, at an adapting
/// luminance of a fifth of each pixel's Y.
///
/// @param adapted      read
/// @param targetWhite  the white that `adapted` was adapted to, read
/// @param sourceWhite  the white of the scene; values below 1e-6 (negative ones too) are raised by 1e-6 in place, NaN
///                     stays and gives NaN
/// @param out          same size, holding a sharpened image at entry: its Y sets each pixel's adapting luminance; then
///                     overwritten. May be `adapted`.
LIKENESS_API void inverseCAT(cv::Mat& adapted, cv::Mat& targetWhite, cv::Mat& sourceWhite, cv::Mat& out);

}  // namespace likeness
