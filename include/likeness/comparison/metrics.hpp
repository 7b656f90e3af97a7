/// @file
/// The metrics driver: two photographs in, a report and a line on standard output. An argument of another type, or an
/// output that is too small, raises std::invalid_argument before anything is changed.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Scales an 8-bit image to [0, 1]: each value divided by 255 in double, rounded to float. Channels keep their order.
/// @param src  CV_8UC3, read
/// @param dst  CV_32FC3, allocated by the caller, at least of src's size
LIKENESS_API void normImg(cv::Mat& src, cv::Mat& dst);

/// Adapts an image to D65, each pixel's own colour being taken for its white.
/// @param src  CV_32FC3, gamma-encoded B, G, R in [0, 1], read
/// @param dst  CV_32FC3 of src's size, allocated by the caller; sharpened B, G, R
LIKENESS_API void compute_cat(cv::Mat& src, cv::Mat& dst);

/// Compares two photographs and reports the five coefficients, in the order brightness, lightness, chroma,
/// colourfulness, saturation: one per line appended to "For_fit.txt" in the working directory, and on one line of
/// standard output, separated by ",". Numbers have the default float format of a stream.
///
/// The report is appended with a single write, so that runs at the same time do not mix their lines; where it cannot be
/// written, one line on standard error says so and the values still go to standard output. A photograph may be empty.
///
/// @param first, second  CV_8UC3 in B, G, R order, of any sizes; not modified
/// @param diagnostics    "A_before.jpg", "10_in.txt", "mask.jpg" and "t_before.jpg": files are those of the second
///                       photograph; a receiver of another kind gets those of the first before
/// @throws std::invalid_argument  if a photograph is of another type
LIKENESS_API void metrics(cv::Mat& first, cv::Mat& second, const Diagnostics& diagnostics = workingDirectory());

}  // namespace likeness
