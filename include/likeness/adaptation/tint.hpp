/// @file
/// The light of one photograph on the detail of another of the same scene.
#pragma once

#include <likeness/diagnostics/watch.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// How colours are carried from the no-flash photograph to the flash photograph.
enum class TintForm {
    gain,       ///< a pixel is scaled by the no-flash photograph there over the local white of the flash photograph
    regression  ///< a gain and an offset from the local whites of both
};

/// How `tint` tints.
struct TintOptions {
    TintForm form = TintForm::gain;  ///< gain alone, or gain and offset
    /// Regression: width of the bilateral filter for the local whites in values of the scale 0..1; above 0 and up
    /// to 10.
    double sigma = 0.1;
    /// Regression: diameter of that filter in pixels, 1 to 999; 0 for a 25th of the image's diagonal. Its time grows
    /// with the square.
    int diameter = 0;
};

/// Gives the flash photograph the colours of the no-flash photograph and keeps its detail (`biCAT` under the white of
/// `computeWhiteImg`, or `biCATRegression` under those of `computeWhiteImgVs2`).
///
/// @param flash, noFlash  rows x cols of the same size, any depth that `toUnit` takes, B, G, R; not modified. Views
///                into larger images are seen as if they were whole ones.
/// @param watch   is told of the local whites and of the image; its receiver gets what the operations called write
/// @return        rows x cols, CV_32FC3, B, G, R on the scale 0..1, not clamped; empty of an empty `flash`
/// @throws std::invalid_argument  for another type, other sizes, NaN and values outside -1e6..1e6, an option out of its
///                range
/// @throws Cancelled  when the caller ends it
LIKENESS_API cv::Mat tint(const cv::Mat& flash, const cv::Mat& noFlash, const TintOptions& options = {},
                          const Watch& watch = {});

}  // namespace likeness
