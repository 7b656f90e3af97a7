/// @file
/// Smoothing of a photograph that does not cross the edges of a guide: the guided filter in its three variants.
#pragma once

#include <likeness/diagnostics/watch.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// What guides the smoothing.
enum class SmoothingVariant {
    /// The guide's grey, 0.299 R + 0.587 G + 0.114 B.
    gray,
    /// The guide's three colours jointly. There is no `epsilon` then: what is a linear function of the guide's colours
    /// comes back as it is, above all the guide itself; where the guide is flat the photograph is averaged.
    color,
    /// The guide's deviation from its local mean, carried through the optimal-transport map from its local colours to
    /// the photograph's. There is no `epsilon`; local variances of the guide below 7.5 on the scale 0..255 count
    /// as 7.5.
    transport
};

/// How `smooth` smooths.
struct SmoothOptions {
    /// Photograph of any depth and of the size of the one that is smoothed, whose edges are kept. Empty: the photograph
    /// is its own guide.
    cv::Mat guide;
    /// How far the windows reach, in pixels, 0 to 1000: they have 2 radius + 1 pixels along a side.
    int radius = 4;
    /// Variance of the guide in a window, on the scale 0..1, 0 to 1e6: well above it edges are kept, well below it the
    /// window is averaged.
    double epsilon = 0.01;
    SmoothingVariant variant = SmoothingVariant::gray;  ///< what guides
};

/// Whether the three channels of a photograph are equal in every pixel: no guide for `color` and `transport`.
///
/// @param photograph  any depth that `toUnit` takes; not modified. An empty one is grey; NaN is not
/// @throws std::invalid_argument  if the photograph is of another type
LIKENESS_API bool isGray(const cv::Mat& photograph);

/// Smooths a photograph with the guided filter (`filter/guidedfilter.hpp`).
///
/// @param photograph  rows x cols, any depth that `toUnit` takes, B, G, R; not modified
/// @param watch   is told of the guide's statistics and of each channel, or of the one map of `transport`; its receiver
///                gets the dumps of `GuidedFilterColor`
/// @return  rows x cols, CV_32FC3, B, G, R on the scale 0..1, not clamped; empty of an empty photograph. The bits of
///          `guidedFilter(guide, photograph, radius, epsilon, -1)`, and for `transport` of
///          `GuidedFilterColor::filterColorChannelsMK` on the scale 0..255, of the images on the scale 0..1. A view
///          into a larger image is smoothed as if it were a whole one.
/// @throws std::invalid_argument  where the guide has another size, a value is NaN or infinite, an option is out of its
///         range, or the guide of `color` and `transport` has no colour: every window would be degenerate
/// @throws Cancelled  when the caller ends it
LIKENESS_API cv::Mat smooth(const cv::Mat& photograph, const SmoothOptions& options = {}, const Watch& watch = {});

}  // namespace likeness
