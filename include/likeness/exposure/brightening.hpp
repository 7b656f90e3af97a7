/// @file
/// A photograph in other brightnesses.
#pragma once

#include <likeness/diagnostics/watch.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <functional>
#include <vector>

namespace likeness {

/// Which of the pictures `brighten` makes.
struct BrightenOptions {
    /// Factor of the first pass, above 0 and up to 100; each next pass has 0.7 less, and those that are made must have
    /// one above 0 (`brightnessFactor`). Below 10 brightens, above 10 darkens.
    double factor = 5;
    /// The pass that is wanted, 1 to `brightnessPasses`.
    int pass = 1;
};

/// A photograph of another brightness, and the same chroma and hue: `increaseBrightness` of the photograph adapted to
/// D65 as if every pixel were its own white, and back.
///
/// @param photograph  rows x cols, any depth that `toUnit` takes, B, G, R; not modified. A view into a larger image is
///                seen as if it were a whole one.
/// @param watch   is told of the change of brightness and of the way back; its receiver gets what `increaseBrightness`
///                writes and prints
/// @return        rows x cols, CV_32FC3, B, G, R on the scale 0..1, not clamped; empty of an empty photograph
/// @throws std::invalid_argument  for another type, NaN and values outside -1e6..1e6, an option out of its range
/// @throws Cancelled  when the caller ends it
LIKENESS_API cv::Mat brighten(const cv::Mat& photograph, const BrightenOptions& options = {}, const Watch& watch = {});

/// All `brightnessPasses` pictures from the one analysis of the photograph, in the order of the passes;
/// `options.pass` is not read. None of an empty photograph. The rest is as for `brighten`; `watch` is told of the
/// analysis and of each picture.
LIKENESS_API std::vector<cv::Mat> brightenInPasses(const cv::Mat& photograph, const BrightenOptions& options = {},
                                                   const Watch& watch = {});

/// The same pictures one at a time, so that no more than one is kept.
///
/// @param take  is given the number of each pass, 1 to `brightnessPasses`, and its picture, CV_32FC3, which lasts as
///              long as the call; what it throws ends the operation
LIKENESS_API void brightenInPasses(const cv::Mat& photograph, const BrightenOptions& options,
                                   const std::function<void(int pass, const cv::Mat& picture)>& take,
                                   const Watch& watch = {});

}  // namespace likeness
