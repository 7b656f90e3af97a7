/// @file
/// Six synthetic exposures of a scene from a flash and a no-flash photograph of it, the flash photograph tinted towards
/// them, and what a real exposure stack would give: a camera response, a radiance map, a tone-mapped and a fused
/// picture.
///
/// Three versions stand side by side. `flash` and `nonFlash` are CV_32FC3 of one size, B, G, R in [0, 1], modified in
/// place as stated. Images are multiplied and divided by 255 on the way, and come back up to float rounding; a division
/// is the image library's, a product with 1 / 255. NaN and infinite values are written through.
///
/// Two kinds of files. Those named from `prefix` are results and always written; `prefix` may begin with a directory.
/// One that cannot be written is left out without a word. All others have fixed names and go to `diagnostics` with the
/// messages. The operations called on the way hand theirs to the same receiver.
///
/// Results are the same bytes for any number of OpenMP threads. With more than one thread the order of messages within
/// the parallel regions varies, and of a file that every exposure writes any one exposure's is left; with one thread the
/// order is that of the exposures.
///
/// Images of fewer than 70 pixels are too small for the recovery of the response: the image library raises its error,
/// after the exposures were made and the tinted photographs written.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/diagnostics/watch.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <functional>
#include <string>
#include <vector>

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
LIKENESS_API void createBrightnessExposures(cv::Mat& flash, cv::Mat& nonFlash, float brightness, int iterations,
                                            std::string prefix, const Diagnostics& diagnostics = workingDirectory());

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
LIKENESS_API void createBrightnessExposuresVs2(cv::Mat& flash, cv::Mat& nonFlash, float brightness, int iterations,
                                               std::string prefix, const Diagnostics& diagnostics = workingDirectory());

/// Only tints the flash photograph, as `createBrightnessExposuresVs2` does, but towards the no-flash photograph as it
/// is. `brightness` and `prefix` are not read, there are no results but `flash`.
///
/// Files: "0_<round>_final.jpg" and those of the operations called. Messages: seven reciprocal exposure times that are
/// not used, and those of `biCAT`.
///
/// @param flash     replaced by the result of the last round, not clamped
/// @param nonFlash  not modified
LIKENESS_API void createBrightnessExposuresVs3(cv::Mat& flash, cv::Mat& nonFlash, float brightness, int iterations,
                                               std::string prefix, const Diagnostics& diagnostics = workingDirectory());

/// Which of the three given operations.
enum class StackVersion {
    full,  ///< `createBrightnessExposures`: exposures of the no-flash photograph, the flash photograph tinted to each
    tintedFirst,  ///< `createBrightnessExposuresVs2`: exposures of the flash photograph after its tinting
    tintOnly      ///< `createBrightnessExposuresVs3`: no exposures
};

/// What `exposureStack` makes.
struct StackOptions {
    StackVersion version = StackVersion::full;  ///< which operation
    /// Factor of the first exposure, up to 100; each next one has 0.7 less, and all six must have one above 0. Below 10
    /// brightens, above 10 darkens. Not read by `tintOnly`.
    double brightness = 11.5;
    int iterations = 1;  ///< rounds of tinting, 0 to 100; of `tintOnly` at least 1
    /// Whether `ExposureStack::exposures` are wanted: six float images, which nothing else needs for as long.
    bool exposures = true;
    /// Of `full`: is given the flash photograph tinted to an exposure, 0 to 5, after each round, 0, 1, ...; CV_32FC3 as
    /// in `ExposureStack::tinted`, which stays empty. It lasts as long as the call. Called from the threads of the team,
    /// at one time for different exposures only; what it throws ends the operation.
    std::function<void(int round, int exposure, const cv::Mat& picture)> takeTinted;
};

/// What a version makes, CV_32FC3 in B, G, R on the scale 0..1, not clamped; what it does not make is empty.
struct ExposureStack {
    std::vector<cv::Mat> exposures;  ///< six, in the order of their factors; none of `tintOnly`
    std::vector<cv::Mat> tinted;     ///< the flash photograph after the last round: of `full` tinted to each exposure,
                                     ///< none without rounds; of the others one picture
    cv::Mat response;    ///< 256 x 1: camera response of the exposures in 8 bits; of `full` in sharpened B, G, R
    cv::Mat radiance;    ///< any range; of `full` in sharpened B, G, R (departure 20)
    cv::Mat toneMapped;  ///< of the radiance; degenerate where that has one luminance throughout
    cv::Mat fused;       ///< of the exposures in 8 bits; of `full` in sharpened B, G, R
};

/// Makes an exposure stack of a flash and a no-flash photograph. The floats are those that the given operation of the
/// version writes into its results after a product with 255 (the radiance as it is), without the rounding of a file.
///
/// @param flash, noFlash  rows x cols of the same size, any depth that `toUnit` takes, B, G, R; not modified. Views
///                into larger images are seen as if they were whole ones.
/// @param watch   is told of the smoothing, the change of brightness, each exposure, each round of tinting (of `full`
///                for each exposure), the response, the radiance map, the tone mapping and the fusion, as far as the
///                version has them; from the threads of the team, one at a time. Its receiver gets the files of fixed
///                names and the messages of the given operation, with an empty prefix; but not the line of the results'
///                names.
/// @return        all empty of an empty `flash`
/// @throws std::invalid_argument  for another type, other sizes, NaN and values outside -1e6..1e6, an option out of its
///                range, and where exposures are made of photographs whose size `hasResponseGrid` not
/// @throws Cancelled  when the caller ends it; all threads have stopped by then
LIKENESS_API ExposureStack exposureStack(const cv::Mat& flash, const cv::Mat& noFlash, const StackOptions& options = {},
                                         const Watch& watch = {});

}  // namespace likeness
