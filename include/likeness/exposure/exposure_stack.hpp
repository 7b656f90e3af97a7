// Six synthetic exposures of a scene from a flash and a no-flash photograph of it, the flash photograph tinted towards
// them, and what a real exposure stack would give: a camera response, a radiance map, a tone-mapped and a fused
// picture.
//
// Three versions stand side by side. `flash` and `nonFlash` are CV_32FC3 of one size, B, G, R in [0, 1], modified in
// place as stated. Images are multiplied and divided by 255 on the way, and come back up to float rounding; a division
// is the image library's, a product with 1 / 255. NaN and infinite values are written through.
//
// Two kinds of files. Those named from `prefix` are results and always written; `prefix` may begin with a directory.
// One that cannot be written is left out without a word. All others have fixed names and go to `diagnostics` with the
// messages. The operations called on the way hand theirs to the same receiver.
//
// Results are the same bytes for any number of OpenMP threads. With more than one thread the order of messages within
// the parallel regions varies, and of a file that every exposure writes any one exposure's is left; with one thread the
// order is that of the exposures.
//
// Images of fewer than 70 pixels are too small for the recovery of the response: the image library raises its error,
// after the exposures were made and the tinted photographs written.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>

#include <opencv2/core.hpp>

#include <string>

namespace likeness {

/// The full pipeline: exposures of the smoothed no-flash photograph (`increaseBrightness`), the flash photograph tinted
/// towards each of them (`biCAT` under the white of `computeWhiteImg`), response, merging and fusion of the exposures.
/// The exposures that go into the recovery are in sharpened B, G, R (departure 20).
///
/// Results: `prefix` + "<round>_0<i>_final.jpg" for every round and exposure i (`out` gives "out0_03_final.jpg"), and
/// those of `mergeAndFuse`: `prefix` + ".hdr", ".jpg" and "fusion.jpg".
///
/// Files: "smoothBegin.jpg"; "<i>_nonFlash.jpg", the exposures in B, G, R; "yValues.txt", the green value at row 5,
/// column 5 of each exposure in their order, one per line (not the Y of its name; empty for images below 6 x 6 pixels);
/// the response in "R.txt", "G.txt", "B.txt" and "values.txt". Besides, those of `guidedFilter`, `increaseBrightness`,
/// `biCAT` and `loadExposureSeq`.
///
/// Messages: seven reciprocal exposure times; `iterations` six times; a fiftieth of the diagonal; those of
/// `increaseBrightness`; "paralell"; for each exposure and round twice "`prefix` <i>", then those of `biCAT`; those of
/// `loadExposureSeq`; the response; two of the results' names.
///
/// @param flash       comes back in [0, 1]
/// @param nonFlash    replaced by its version smoothed by a guided filter, on the scale 0..255
/// @param brightness  factor of `increaseBrightness`
/// @param iterations  rounds of tinting per exposure; with 0 or less nothing is tinted
/// @param prefix      stem of the results' names
/// @note  "maskFiltered06.jpg" in the working directory is read where it is there, and plays no part: `biCAT` does not
///        read its mask. The dataset's flash photograph plays none either and is not opened.
/// @note  At 2 megapixels the memory in use peaks at 0.6 GB with one thread and at 0.9 GB with two, with the program
///        and both photographs (0.16 GB); see docs/exposure_stack.md.
void createBrightnessExposures(cv::Mat& flash, cv::Mat& nonFlash, float brightness, int iterations, std::string prefix,
                               const Diagnostics& diagnostics = workingDirectory());

/// Tints the flash photograph towards the no-flash photograph, smoothed under the flash photograph as guide, and makes
/// the exposures from the tinted photograph. Tinting is serial, under a white image of the XYZ image; the exposures go
/// into the recovery in B, G, R.
///
/// Results: those of `mergeAndFuse`.
/// Files: "smoothBegin.jpg"; "0_<round>_final.jpg", the tinted photograph after each round; "<i>_nonFlash.jpg" and
/// "test18.jpg" (the first of them); "nonflash.jpg", the smoothed no-flash photograph; and those of the operations
/// called. Messages: theirs, "here" for each exposure, and two of the results' names.
///
/// @param flash     replaced by the result of the last round, not clamped; with no rounds it comes back in [0, 1]
/// @param nonFlash  replaced by its smoothed version, on the scale 0..255
void createBrightnessExposuresVs2(cv::Mat& flash, cv::Mat& nonFlash, float brightness, int iterations,
                                  std::string prefix, const Diagnostics& diagnostics = workingDirectory());

/// Only tints the flash photograph, as `createBrightnessExposuresVs2` does, but towards the no-flash photograph as it
/// is. `brightness` and `prefix` are not read, there are no results but `flash`.
///
/// Files: "0_<round>_final.jpg" and those of the operations called. Messages: seven reciprocal exposure times that are
/// not used, and those of `biCAT`.
///
/// @param flash     replaced by the result of the last round, not clamped
/// @param nonFlash  not modified
void createBrightnessExposuresVs3(cv::Mat& flash, cv::Mat& nonFlash, float brightness, int iterations,
                                  std::string prefix, const Diagnostics& diagnostics = workingDirectory());

}  // namespace likeness
