/// @file
/// Photographs as if they had been seen under another light.
///
/// A photograph has any depth that `toUnit` takes, B, G, R, and is not modified. Results are CV_32FC3 of its size, B, G,
/// R, nominally in [0, 1], in memory of their own; empty of an empty photograph. What is wrong with an argument is a
/// std::invalid_argument that begins with its name; a caller ends an operation through `Watch` with `Cancelled`.
#pragma once

#include <likeness/color/white.hpp>
#include <likeness/color/white_point.hpp>
#include <likeness/diagnostics/watch.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Adapts a photograph from the white that it was seen under to D65, (0.9505, 1.0, 1.0888), at an adapting luminance of
/// 20: the bits of `iCAMCATByD65` on the sharpened image. Not clipped; NaN stays in its pixel.
///
/// @param white  for the photograph as a whole; `grayWorldWhite(photograph).white` where it is not known
LIKENESS_API cv::Mat adaptToD65(const cv::Mat& photograph, const White& white, const Watch& watch = {});

/// The same from a white of each pixel.
/// @param whiteXyz  X, Y, Z, CV_32FC3 or CV_64FC3, of the photograph's size; finite
LIKENESS_API cv::Mat adaptToD65(const cv::Mat& photograph, const cv::Mat& whiteXyz, const Watch& watch = {});

/// Where the white of each pixel comes from.
enum class PixelWhite {
    smoothed,  ///< the photograph's X, Y, Z, smoothed by `computeWhiteImg`; the photograph must be finite
    own        ///< each pixel is its own white, as the comparison of photographs adapts
};

/// The same from a white of each pixel that the photograph itself gives.
/// @param watch  its receiver gets the dumps of `computeWhiteImg`
LIKENESS_API cv::Mat adaptToD65(const cv::Mat& photograph, PixelWhite white, const Watch& watch = {});

/// Takes a photograph that was adapted to D65 back to the white of the scene: the bits of `inverseCATByD65`. The way
/// back from `adaptToD65`, up to float rounding.
LIKENESS_API cv::Mat undoD65Adaptation(const cv::Mat& photograph, const White& white, const Watch& watch = {});

/// The same to a white of each pixel.
LIKENESS_API cv::Mat undoD65Adaptation(const cv::Mat& photograph, const cv::Mat& whiteXyz, const Watch& watch = {});

/// Takes a photograph that was adapted to a white back to that of the scene, at an adapting luminance of a fifth of
/// each pixel's Y: the bits of `inverseCAT`. Not clipped; NaN stays in its pixel.
LIKENESS_API cv::Mat undoAdaptation(const cv::Mat& photograph, const White& adaptedTo, const White& scene,
                                    const Watch& watch = {});

/// How `adaptTo` adapts.
struct AdaptOptions {
    /// Degree of adaptation in each of up to 80 steps, 0 (none) to 1 (full). Not with `local`.
    double degree = 1;
    /// CV_8UC1 of the photograph's size: pixels brighter than 100 of 255 keep their colours and do not count for the
    /// white. Empty: there are none. Not with `local`.
    cv::Mat leftOut;
    /// Adapt each pixel from the white around it, once, as `performLocalCAMCA` does; otherwise the photograph as a
    /// whole, as `performIlluminantAdaptation` does.
    bool local = false;
    /// With `local`, the share of the other light in the white that is adapted to, 0 (the pixel's own, nothing changes)
    /// to 1.
    double blend = 1;
};

/// Adapts a photograph to the gray-world white of another one, of any size and depth. The bits of
/// `performIlluminantAdaptation` or `performLocalCAMCA`; but no file of a mask is read.
///
/// Where `like` has no nearly neutral pixel, the white is a guess, and nothing here tells: that of no U and V. For a
/// warning, call `grayWorldWhite`, look at its `found`, and hand the estimate over in place of the photograph.
///
/// @param photograph, like  finite
/// @param watch  its receiver gets what those show; a step for each adaptation, the last one at the end, or three
LIKENESS_API cv::Mat adaptTo(const cv::Mat& photograph, const cv::Mat& like, const AdaptOptions& options = {},
                             const Watch& watch = {});

/// The same to a white that was estimated before, for use with many photographs.
/// @param light  its `bgr` must be finite and above 0
LIKENESS_API cv::Mat adaptTo(const cv::Mat& photograph, const WhiteEstimate& light, const AdaptOptions& options = {},
                             const Watch& watch = {});

}  // namespace likeness
