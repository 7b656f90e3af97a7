/// @file
/// A bracket, several exposures of one scene: the camera's response, a radiance map, its tone-mapped picture, and the
/// fusion of the exposures, which needs no response.
///
/// Exposures are of one size, any depth that `toUnit` takes, B, G, R; they are not modified. The image library recovers
/// a response and merges in 8 bits: exposures of another depth are rounded to them there (scale 0..1 to 0..255,
/// saturated), the fusion alone keeps their depth. All functions refuse with std::invalid_argument an empty exposure or
/// one of another type, exposures of different sizes, and NaN or infinite values.
#pragma once

#include <likeness/diagnostics/watch.hpp>
#include <likeness/export.hpp>
#include <likeness/exposure/durand_tone_mapping.hpp>

#include <opencv2/core.hpp>

#include <vector>

namespace likeness {

/// Exponents of what a pixel's weight is made of; each 0 (does not count) to 100. The defaults are those of
/// `mergeAndFuse`.
struct FusionOptions {
    double contrast = 1;     ///< magnitude of the Laplacian of the grey image
    double saturation = 1;   ///< standard deviation of the three channels
    double exposedness = 0;  ///< how near a value is to the middle of its range
};

/// Fuses exposures into one picture with the image library's `MergeMertens`. The order of the exposures does not matter
/// but for rounding. Exposures of different depths are fused as floats.
/// @param watch  is told of each exposure that was taken in, and of the fusion; nothing for its receiver
/// @return  size of the exposures, CV_32FC3, B, G, R, about 0..1 but not clamped; empty where there are no exposures
/// @throws Cancelled  when the caller ends it
/// @see     Mertens, Kautz, Van Reeth, "Exposure fusion", Pacific Graphics 2007
LIKENESS_API cv::Mat fuseExposures(const std::vector<cv::Mat>& exposures, const FusionOptions& options = {},
                                   const Watch& watch = {});

/// Recovers the response of the camera: `recoverResponse`, with its arguments checked.
/// @param times  exposure times in seconds, one for each exposure, all different; normal numbers above 0
/// @param watch  is told of the response; its receiver gets it as "Rreal.txt", "Greal.txt", "Breal.txt" and
///               "valuesReal.txt", and printed
/// @return       256 x 1, CV_32FC3, B, G, R: the exposure that each byte value stands for; up to a factor
/// @throws std::invalid_argument  also for fewer than two exposures, and where their size `hasResponseGrid` not
/// @throws Cancelled  when the caller ends it
LIKENESS_API cv::Mat recoverCameraResponse(const std::vector<cv::Mat>& exposures, const std::vector<float>& times,
                                           const Watch& watch = {});

/// Merges exposures into a radiance map with the image library's `MergeDebevec`.
/// @param times     exposure times in seconds, one for each exposure; normal numbers above 0
/// @param response  256 x 1, CV_32FC3, in the channel order of the exposures, finite and above 0, as
///                  `recoverCameraResponse` gives it
/// @param watch     is told of each exposure that was taken in, and of the merging; nothing for its receiver
/// @return          size of the exposures, CV_32FC3, B, G, R, linear; empty where there are no exposures
/// @throws Cancelled  when the caller ends it
LIKENESS_API cv::Mat mergeRadiance(const std::vector<cv::Mat>& exposures, const std::vector<float>& times,
                                   const cv::Mat& response, const Watch& watch = {});

/// Parameters of `toneMap`.
using ToneMapOptions = DurandToneMapping;

/// Brings a radiance map to the range of a display: `toneMapDurand`.
/// @param radiance  CV_32FC3, linear, any range; not modified. A view into a larger image is seen as if it were a whole
///                  one.
/// @param watch     is told of the logarithm of luminance, its base layer and the picture; nothing for its receiver
/// @return          its size, CV_32FC3, on the scale 0..1 but not clamped; empty of an empty map
/// @throws std::invalid_argument  for another type, NaN or infinite values, a map of one luminance throughout, which
///                  leaves no range to compress, and parameters that are not above 0 (saturation: not below 0)
/// @throws Cancelled  when the caller ends it
LIKENESS_API cv::Mat toneMap(const cv::Mat& radiance, const ToneMapOptions& options = {}, const Watch& watch = {});

/// Options of the steps of `mergeBracket`.
struct BracketOptions {
    ToneMapOptions toneMapping;  ///< of the radiance map
    FusionOptions fusion;        ///< of the exposures
};

/// What a bracket gives.
struct Bracket {
    cv::Mat response;    ///< as of `recoverCameraResponse`
    cv::Mat radiance;    ///< as of `mergeRadiance`
    cv::Mat toneMapped;  ///< as of `toneMapDurand`: degenerate where the radiance has one luminance throughout
    cv::Mat fused;       ///< of the exposures in 8 bits
};

/// Everything at once. With the default options the floats are those that `mergeAndFuse` writes into its files.
/// @param watch   is told of the response, the radiance map, the tone mapping and the fusion; its receiver gets the
///                response as that of `recoverCameraResponse` does, and nothing of the pictures
/// @return        all empty where there are no exposures
/// @throws std::invalid_argument  as `recoverCameraResponse`, and for the options
/// @throws Cancelled  when the caller ends it
LIKENESS_API Bracket mergeBracket(const std::vector<cv::Mat>& exposures, const std::vector<float>& times,
                                  const BracketOptions& options = {}, const Watch& watch = {});

}  // namespace likeness
