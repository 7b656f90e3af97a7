/// @file
/// Estimate of the white that a scene was seen under, one for the whole image.
///
/// Images are CV_32FC3, nominally in [0, 1].
#pragma once

#include <likeness/color/pixel_weights.hpp>
#include <likeness/color/white.hpp>
#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/diagnostics/watch.hpp>
#include <likeness/export.hpp>

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
LIKENESS_API bool computeWhitePointFromGrayWorld(const cv::Mat& img, cv::Mat& white, cv::Mat& previous, cv::Mat& mask,
                                                 const Diagnostics& diagnostics = workingDirectory());

/// A white that was found in a photograph.
struct WhiteEstimate {
    White white;     ///< X, Y, Z of `bgr` (`White::fromBgr`)
    cv::Vec3d bgr;   ///< the white as a gamma-encoded colour, in [0, 1]
    cv::Vec3d yuv;   ///< mean Y, U, V of the pixels it was made of, Y set to 1, not clipped
    bool found;      ///< whether there are such pixels; otherwise the white is that of no U and V, a guess
    bool converged;  ///< whether an iteration that began with `previous` is at its end; false without a previous one
};

/// Gray-world white of a photograph: one call of `computeWhitePointFromGrayWorld`, the same bits.
///
/// @param photograph  any depth that `toUnit` takes, B, G, R; not modified. NaN has no part in the estimate
/// @param previous    the estimate before, in an iteration that adapts the photograph in between; null where there is
///                    none
/// @param watch       its receiver gets the line of the white; eight steps of about the same length
/// @return            `found` is false of an empty photograph
/// @throws std::invalid_argument  if the photograph is of another type
/// @throws Cancelled  when the caller ends it
LIKENESS_API WhiteEstimate grayWorldWhite(const cv::Mat& photograph, const WhiteEstimate* previous = nullptr,
                                          const Watch& watch = {});

/// Gray-world white of the part of a photograph that counts. Where weights are 0 and 1 it is that of the pixels that
/// count alone, row after row, to the bit; where there are others, the means of U and V are weighted, and their sums run
/// in double, row by row.
///
/// @param watch  its receiver gets the line of the white
/// @return       `found` is false where no pixel that counts is nearly neutral
/// @throws std::invalid_argument  if the photograph is of another type or size
/// @throws NothingCounts          if every weight is 0
LIKENESS_API WhiteEstimate grayWorldWhite(const PhotographPart& part, const Watch& watch = {});

}  // namespace likeness
