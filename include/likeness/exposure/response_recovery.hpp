/// @file
/// Recovery of a camera's response from an exposure stack, and what follows from it: a radiance map, its tone-mapped
/// picture, and the exposure fusion of the stack, which needs no response.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace likeness {

/// Whether images of a size have room for the grid of up to 70 points that `recoverResponse` looks at: with about 70
/// pixels or more they have, unless one side is more than about 70 times the other.
LIKENESS_API bool hasResponseGrid(cv::Size size);

/// Recovers the response of a camera with the image library's `CalibrateDebevec`: 70 points on a regular grid,
/// smoothness 10.
///
/// @param images  two or more CV_8UC3 exposures of one size; if `!hasResponseGrid(size)`, the image library throws
/// @param times   their exposure times, all different
/// @return        256 x 1, CV_32FC3: for each byte the exposure (radiance times time, up to a factor) that it stands
///                for, in the images' channel order
/// @see           Debevec, Malik, "Recovering high dynamic range radiance maps from photographs", SIGGRAPH 1997
LIKENESS_API cv::Mat recoverResponse(const std::vector<cv::Mat>& images, const std::vector<float>& times);

/// Names of the four text files of a response; each has one line per byte value.
struct ResponseFiles {
    std::string red;     ///< response of channel 2
    std::string green;   ///< response of channel 1
    std::string blue;    ///< response of channel 0
    std::string values;  ///< the byte values 0, 1, 2, ...
};

/// Prints the response as the image library formats a matrix, and dumps its channels 2, 1, 0 as red, green, blue.
LIKENESS_API void dumpResponse(const cv::Mat& response, const ResponseFiles& files,
                               const Diagnostics& diagnostics = workingDirectory());

/// Merges the exposures into a radiance map, tone-maps it, fuses the exposures, and writes the three results:
/// `prefix` + ".hdr" (Radiance, not scaled), `prefix` + ".jpg" and `prefix` + "fusion.jpg" (both times 255; no
/// separator).
///
/// The radiance map is the image library's `MergeDebevec`, the tone mapping `toneMapDurand` with its defaults, the
/// fusion `MergeMertens` with the weights 1 (contrast), 1 (saturation) and 0 (well-exposedness).
///
/// @param diagnostics  receives the line "`prefix`.hdr `prefix`.jpg"; the results are always written. A result that
///                     cannot be written is left out without a word.
/// @see  Mertens, Kautz, Van Reeth, "Exposure fusion", Pacific Graphics 2007
LIKENESS_API void mergeAndFuse(const std::vector<cv::Mat>& images, const std::vector<float>& times,
                               const cv::Mat& response, const std::string& prefix,
                               const Diagnostics& diagnostics = workingDirectory());

/// Recovers the response of a stack whose exposures are a factor of 2 apart, and merges and fuses it: exposure k has
/// the time 2^(k + 1) / 1024.
///
/// Files: the results of `mergeAndFuse`, always; and "test.jpg" (the second exposure times 255), those of
/// `loadExposureSeq`, "test1.jpg" (the second exposure in 8 bits), and the response in "Rreal.txt", "Greal.txt",
/// "Breal.txt" and "valuesReal.txt". Messages: those of `loadExposureSeq`, "here i am" before and after the recovery,
/// the response, the names.
///
/// @param exposures  `count` CV_32FC3 images in [0, 1], B, G, R; left on the scale 0..255
/// @param nonFlash   CV_32FC3 in [0, 1]; left on the scale 0..255, otherwise only dumped
/// @param count      number of exposures, two or more
/// @param prefix     stem of the results' names, a directory in front of it if wanted
/// @throws std::invalid_argument  if there are fewer exposures than two
/// @pre  all exposures have one size; where not, the image library raises its error
LIKENESS_API void recoverCRF(cv::Mat*& exposures, cv::Mat& nonFlash, int count, std::string prefix,
                             const Diagnostics& diagnostics = workingDirectory());

}  // namespace likeness
