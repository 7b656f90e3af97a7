/// @file
/// Adaptation of a photograph whose white varies from pixel to pixel to the white of another one.
///
/// Images are CV_32FC3; sharpened images in B, G, R order (color/sharpened_rgb.hpp). A white image has the size of the
/// image that it serves; where images differ in size, the pixels that all of them have are adapted and the others stay.
/// The degree of adaptation D of a pixel is computeAdapFactD(L_A) with L_A a fifth of the Y of its white. Values are not
/// limited; NaN and infinite values are written through. Nothing is allocated that stays. An argument that is read and
/// of another type, or a triple that is empty, raises std::invalid_argument before anything is changed.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Adapts `img` in place, channel by channel, from the white of each pixel: img (r + 1 - D). Towards a white image,
/// r = D target / (source + 1e-6); towards one white, r = D (blend target + (1 - blend) source) / source, without a
/// guard: a source of 0 gives infinity or NaN.
///
/// @param img          sharpened, adapted in place
/// @param sourceWhite  sharpened white of each pixel, read; may be `img`
/// @param targetWhite  sharpened, read: a white image when `perPixel` is set (it may be `img`), otherwise a
///                     1 x 1 triple
/// @param spare, unused  not read
/// @param blend        share of the target in the white that is adapted to; not read when `perPixel` is set
/// @note  r is rounded to float, r + 1 - D and its product with the pixel are formed in double.
LIKENESS_API void iCAMCAT(cv::Mat& img, cv::Mat& sourceWhite, cv::Mat& targetWhite, cv::Mat& spare, cv::Mat& unused,
                          float blend, bool perPixel);

/// The same at three tenths of the strength, in float throughout, and only where the mask is not 0:
/// img (0.3 r + 1 - 0.3 D).
///
/// @param mask  CV_8U; pixels beyond its edges are adapted, so that an empty mask lets every pixel take part
LIKENESS_API void iCAMCATLocal(cv::Mat& img, cv::Mat& sourceWhite, cv::Mat& targetWhite, cv::Mat& spare,
                               cv::Mat& unused, cv::Mat& mask, float blend, bool perPixel);

/// Whether two white images are close enough to end an iteration: the sum over their channels of the squared
/// differences, divided by the number of pixels of `first`, is at most 1e-6.
///
/// @return  false for images without any difference: identical images do not count as converged (departure 18). True
///          when the sum is NaN, from equal infinite values.
/// @note    The sum runs in float, row by row. Pairs with a NaN are skipped. Images of different sizes are compared
///          where both have pixels.
LIKENESS_API bool areImgsEqualivalent(cv::Mat& first, cv::Mat& second);

/// Adapts a photograph to the white of another one, once: from its own white, found at each pixel by `computeWhiteImg`
/// on X, Y, Z, towards a blend of it with the gray-world white of `reference`, as `iCAMCATLocal` does.
///
/// @param img        CV_32FC3 in B, G, R order in [0, 1], or CV_8UC3, which is divided by 255. Overwritten with the
///                   result, CV_32FC3 in B, G, R order, not clipped.
/// @param reference  CV_32FC3 or CV_8UC3 likewise, of any size, read
/// @param blend      share of the reference's white: 0 its own white, 1 the reference's
/// @param diagnostics  receives two lines, the gray-world whites "[b, g, r]" of `reference` and of `img`, always both;
///                     and the eight images that `computeWhiteImg` writes for `img`. Those for the reference would be
///                     replaced by them and are not made.
/// @note  No mask is in use: every pixel takes part, and a file "Masks/giantShadow.jpg" is not opened.
LIKENESS_API void performLocalCAMCA(cv::Mat& img, cv::Mat& reference, float blend,
                                    const Diagnostics& diagnostics = workingDirectory());

}  // namespace likeness
