/// @file
/// Moving the colours of one photograph towards those of another of the same scene, pixel by pixel: the gain at a pixel
/// compares one photograph with the local white, a smoothed copy, of the other.
///
/// Images are CV_32FC3, nominally in [0, 1]. D is computeAdapFactD(20). Where images differ in size, the pixels that all
/// of them have are worked on and the others stay; without any such pixel nothing is done, written or printed. NaN and
/// infinite values are written through. Nothing is allocated that stays. Everything but the filters of the image library
/// runs on the caller's thread; all functions may be called from several threads at once, on images of their own. An
/// argument that is read and of another type raises std::invalid_argument before anything is changed.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Adapts `image` in place, channel by channel, so that its local white goes towards the target's pixel:
/// with ratio = target / sourceWhite and factor = 1 - D + D ratio, image (1 - D + D factor). The degree of adaptation
/// is applied twice (departure 8): the gain is 1 - D + D (1 - D + D ratio).
///
/// @param image           sharpened B, G, R, adapted in place
/// @param sourceWhite     local white of `image`, sharpened, read; may be `image`. Below 0.001 (negative, too)
///                        the ratio is target / (sourceWhite + 0.02) instead, so that a white of 0 under a target
///                        of 0.5 gives 25.
/// @param sourceWhiteXYZ  not read
/// @param target          photograph whose colours are wanted, sharpened, read; may be `image`
/// @param mask            not read
/// @param diagnostics  receives, of channel 2 alone, "catRatio.txt" (the ratios, one per line, row by row) and
///                     "increaseMap.jpg" (factor / greatest ratio * 255); and a line for each channel: the greatest
///                     ratio, sourceWhite and target at the first pixel that has it. Only ratios above 0 are looked
///                     for: a channel without any has the greatest ratio 0, by which its map is divided, and shows its
///                     values at the place found for the channel before, or at (0, 0).
/// @note  Calls that share a receiver of diagnostics take turns at each file: what is left of a name is one call's.
LIKENESS_API void biCAT(cv::Mat& image, cv::Mat& sourceWhite, cv::Mat& sourceWhiteXYZ, cv::Mat& target, cv::Mat& mask,
                        const Diagnostics& diagnostics = workingDirectory());

/// Gives `guidance` the colours of `input` by a gain and an offset at each pixel, in the shape of a guided filter's
/// regression, on the scale 0..255: with ratio = whiteInput / whiteGuidance, a = 1 - D + ratio D and
/// b = whiteInput - whiteGuidance a, guidance becomes a weight guidance + b weight. A whiteGuidance below 1 is not
/// divided by: ratio = whiteInput there.
///
/// @param guidance       image whose detail is kept; overwritten with the result
/// @param whiteGuidance  local mean of `guidance`
/// @param input          image whose colours are wanted; read for the diagnostics and their size only
/// @param spare          unused, except that it is scaled by 255 and back
/// @param whiteInput     local mean of `input`
/// @param weightMap      CV_32FC1: weight of the result
/// @param sigma          width in values, on the scale of squares 0..255^2, of the bilateral filter for the local means
/// @param diagnostics  receives what `computeStructuralTensor` with size 3 prints for `input` and then `guidance`, and
///                     writes for `guidance` (that of `input`, which it would replace, is not made); on the scale
///                     0..255 "covariance1.jpg" (input guidance), "covariance2.jpg" (its local mean, over a diameter of
///                     1/25 of the diagonal), "variance.jpg" (local variance of the guidance), "ratio_bowls.jpg" (ratio
///                     times 50), "diff1.jpg" (0 where whiteGuidance < 1 or ratio > 4 in every channel, else 255),
///                     "whiteGuidance.jpg", "whiteInput.jpg"; and an empty "catRatio.txt".
/// @note  `guidance`, `whiteGuidance`, `whiteInput`, `spare` and `input` are multiplied by 255 in place and at the end
///        divided by it again, whole and in this order, by the image library's operators (the division is a product
///        with 1/255): they come back up to float rounding. Infinite values are not fit for the bilateral filter, which
///        runs only where files are wanted.
/// @note  Smoothed versions of a and b, which the method has, do not reach any result and are not made.
LIKENESS_API void biCATRegression(cv::Mat& guidance, cv::Mat& whiteGuidance, cv::Mat& input, cv::Mat& spare,
                                  cv::Mat& whiteInput, cv::Mat& weightMap, float sigma,
                                  const Diagnostics& diagnostics = workingDirectory());

/// Smooths one exposure of a stack in B, G, R under its own white: takes it back from its adaptation to D65
/// (`inverseCATByD65`), to B, G, R, through a bilateral filter, and to sharpened B, G, R again, without adapting it
/// again.
///
/// @param exposures  array of sharpened images adapted to D65; element `index` is overwritten. Finite: infinite values
///                   are not fit for the bilateral filter.
/// @param white      white image that the exposure was adapted under, sharpened, read; pixels beyond its edges are not
///                   taken back from their adaptation
/// @param reference  not read
/// @param index      element to correct
/// @param diagonal   diagonal of the image in pixels. The filter's diameter and width in pixels are diagonal / 100; the
///                   width in values is 0.01. Below 100 that is 0, which the image library's filter takes for a width
///                   of 1 and a diameter of 5.
/// @param diagnostics  receives "<index>_nonFlash.jpg", the image in B, G, R before it is smoothed, times 255
LIKENESS_API void computeCorrectedNonFlash(cv::Mat* exposures, cv::Mat& white, cv::Mat& reference, int index,
                                           int diagonal, const Diagnostics& diagnostics = workingDirectory());

}  // namespace likeness
