// The two parallel regions of the exposure stack: six exposures, shared out over the OpenMP runtime's default team in
// contiguous blocks of as equal length as can be (schedule static). In a forked process, which the runtime's threads
// did not follow, a team of the library's own, of as many threads, shares them out likewise. Everything within one
// exposure is serial and works on that exposure's images alone, so that the results do not depend on the number of
// threads. The first error of an exposure, in their order, is thrown once the whole team has finished.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/exposure/brightness_increase.hpp>
#include "diagnostics/step_count.hpp"

#include <opencv2/core.hpp>

#include <functional>
#include <string>
#include <vector>

namespace likeness {

/// One of each pass of the increase of brightness.
inline constexpr int exposureCount = brightnessPasses;

/// Calls body(i) for each of the six exposures.
void forEachExposure(const std::function<void(int)>& body);

/// Refuses a factor whose pass `lastPass`, 1 to `brightnessPasses`, has none from above 0 to 100.
/// @throws std::invalid_argument
void requireBrightnessFactor(const std::string& name, double factor, int lastPass);

/// An image adapted to D65, and the white to come back under; both sharpened B, G, R.
struct AdaptedToD65 {
    cv::Mat image;
    cv::Mat white;
};

/// Adapts an image of X, Y, Z to D65 as if every pixel were its own white (departure 5).
/// @param xyz  becomes the white, in its own memory
AdaptedToD65 adaptedToD65(cv::Mat xyz);

/// Every pass of the increase of brightness, in order.
std::vector<int> everyPass();

/// All six exposures of an image of X, Y, Z, sharpened B, G, R adapted to D65. Leaves `xyz` sharpened: the white to come
/// back under.
std::vector<cv::Mat> exposuresOf(cv::Mat& xyz, float brightness, const Diagnostics& diagnostics);

/// Takes a sharpened exposure back from its adaptation to D65 under `white`, and on to B, G, R; in place.
void undoD65OfExposure(cv::Mat& exposure, const cv::Mat& white);

/// Receives a picture in B, G, R; called from the threads of the team, at one time for different exposures only.
using PictureSink = std::function<void(int round, int exposure, cv::Mat& bgr)>;

/// The first region: takes the exposures from sharpened B, G, R adapted to D65 to sharpened B, G, R under their own
/// light, in place, with a stop in B, G, R where "<i>_nonFlash.jpg" is written and `shown`, if there is one, is called
/// with the round 0.
/// @return  the green value at row 5, column 5 of each exposure in B, G, R; empty where there is no such pixel
std::vector<float> unadaptExposures(std::vector<cv::Mat>& exposures, const cv::Mat& white, const PictureSink& shown,
                                    StepCount& steps, const Diagnostics& diagnostics);

/// A photograph in sharpened B, G, R and its white image likewise.
struct SharpenedPhotograph {
    cv::Mat image;
    cv::Mat white;
};

/// @param bgr       the photograph in B, G, R, of which the white image is made; not modified
/// @param xyz       the photograph in X, Y, Z; sharpened in place, it becomes `image`
/// @param diagonal  of the image in pixels
SharpenedPhotograph sharpened(cv::Mat& bgr, cv::Mat xyz, int diagonal, const Diagnostics& diagnostics);

/// The second region: tints a copy of the flash photograph towards each exposure `iterations` times, and calls
/// `finished` with the result of every round. That is left for the next round, and the sink's own after the last.
///
/// @param flash   what every exposure's first round begins with
/// @param prefix  is told with every exposure's number
void tintTowardsExposures(const SharpenedPhotograph& flash, std::vector<cv::Mat>& exposures, cv::Mat& mask,
                          int diagonal, int iterations, const std::string& prefix, const PictureSink& finished,
                          StepCount& steps, const Diagnostics& diagnostics);

}  // namespace likeness
