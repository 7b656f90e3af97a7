// The two parallel regions of the exposure stack: six exposures, shared out over the OpenMP runtime's default team in
// contiguous blocks of as equal length as can be (schedule static). In a forked process, which the runtime's threads did
// not follow, a team of the library's own, of as many threads, shares them out likewise. Everything within one exposure is serial and works
// on that exposure's images alone, so that the results do not depend on the number of threads. The first error of an
// exposure, in their order, is thrown once the whole team has finished.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>

#include <opencv2/core.hpp>

#include <functional>
#include <string>
#include <vector>

namespace likeness {

/// Calls body(i) for each of the six exposures.
void forEachExposure(const std::function<void(int)>& body);

/// Takes a sharpened exposure back from its adaptation to D65 under `white`, and on to B, G, R; in place.
void leaveD65(cv::Mat& exposure, const cv::Mat& white);

/// The first region: takes the exposures from sharpened B, G, R adapted to D65 to sharpened B, G, R under their own
/// light, in place, with a stop in B, G, R where "<i>_nonFlash.jpg" is written.
/// @return  the green value at row 5, column 5 of each exposure in B, G, R; empty where there is no such pixel
std::vector<float> unadaptExposures(std::vector<cv::Mat>& exposures, const cv::Mat& white,
                                    const Diagnostics& diagnostics);

/// A photograph in sharpened B, G, R and its white image likewise.
struct SharpenedPhotograph {
    cv::Mat image;
    cv::Mat white;
};

/// @param bgr       the photograph in B, G, R, of which the white image is made; not modified
/// @param xyz       the photograph in X, Y, Z; sharpened in place, it becomes `image`
/// @param diagonal  of the image in pixels
SharpenedPhotograph sharpened(cv::Mat& bgr, cv::Mat xyz, int diagonal, const Diagnostics& diagnostics);

/// The second region: tints a copy of the flash photograph towards each exposure `iterations` times, and writes the
/// result of every round under `prefix` + "<round>_0<i>_final.jpg".
///
/// @param flash  what every exposure's first round begins with
void tintTowardsExposures(const SharpenedPhotograph& flash, std::vector<cv::Mat>& exposures, cv::Mat& mask,
                          int diagonal, int iterations, const std::string& prefix, const Diagnostics& diagnostics);

}  // namespace likeness
