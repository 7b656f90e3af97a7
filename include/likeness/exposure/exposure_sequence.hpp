/// @file
/// What comes before and after the recovery of a camera response: float exposures, CV_32FC3 B, G, R in [0, 1], made into
/// 8-bit images with times in seconds, and images written to files.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace likeness {

/// Turns float exposures into what the recovery of a camera response takes: 8-bit images and their exposure times.
///
/// Everything is left on the scale 0..255: `exposures` and `nonFlash` are multiplied by 255 in place, on purpose.
///
/// @param exposures   `count` CV_32FC3 images in [0, 1]; rounded to the nearest integer and saturated to 0..255 in
///                    `images`, NaN becomes 0
/// @param nonFlash    CV_32FC3 in [0, 1]
/// @param times       `count` + 1 reciprocal exposure times. The time of exposure i is 1 / times[i + 1]: shifted by
///                    one, on purpose, times[0] is not read. A 0 gives an infinite time.
/// @param images      receives `count` CV_8UC3 images at its end
/// @param imageTimes  receives `count` times at its end
/// @param diagnostics  receives "test2.jpg" (`nonFlash` in 8 bits) and, when the second exposure is loaded,
///                    "test10.jpg" (`images[0]`) and "test11.jpg" (the second exposure); and for each exposure i the
///                    line "`imageTimes[i]` `times[i + 1]` `count`"
/// @pre  `times` has `count` + 1 entries; not checked
LIKENESS_API void loadExposureSeq(cv::Mat* exposures, cv::Mat& nonFlash, float* times, std::vector<cv::Mat>& images,
                                  std::vector<float>& imageTimes, int count,
                                  const Diagnostics& diagnostics = workingDirectory());

/// Takes B, G, R exposures in [0, 1] to what the appearance model looks at: sharpened B, G, R adapted to D65, every
/// pixel its own white, times 100, in place.
///
/// Of the correlates of each exposure only the files of `computeLightness` and `computeBrightness` remain
/// ("A_before.jpg", "10_in.txt", "mask.jpg"); where no files are wanted they are not computed. Besides, each exposure
/// over the one before: "test1.jpg", the exposure as it came, times 255, and "test.jpg", the adapted one, times 255.
LIKENESS_API void recoverLightnessExposureCurve(cv::Mat*& exposures, int count,
                                                const Diagnostics& diagnostics = workingDirectory());

/// Multiplies a CV_32FC3 image by 255 in place and writes it to the file `name`, whose extension gives the format: a
/// result, always written. An unknown extension raises the image library's error.
LIKENESS_API void getFinalImg(cv::Mat& img, std::string name);

}  // namespace likeness
