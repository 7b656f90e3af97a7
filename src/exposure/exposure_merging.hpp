// What `mergeAndFuse` and the operations that return their results have in common. Nothing is checked.
#pragma once

#include <likeness/exposure/bracket.hpp>
#include <likeness/exposure/durand_tone_mapping.hpp>
#include <likeness/exposure/response_recovery.hpp>

#include <opencv2/core.hpp>

#include <functional>
#include <string>
#include <vector>

namespace likeness {

cv::Mat radianceOf(const std::vector<cv::Mat>& bytes, const std::vector<float>& times, const cv::Mat& response);

/// @param images  on the scale 0..255, of any depth
cv::Mat fusionOf(const std::vector<cv::Mat>& images, const FusionOptions& options);

/// `toneMapDurand`; calls `stepDone` after the logarithm of luminance, its base layer and the picture: three times.
void toneMapInSteps(const cv::Mat& radiance, cv::Mat& toneMapped, const DurandToneMapping& parameters,
                    const std::function<void()>& stepDone);

struct MergedExposures {
    cv::Mat radiance;
    cv::Mat toneMapped;
    cv::Mat fused;
};

/// The three pictures of 8-bit exposures; calls `stepDone` after each.
MergedExposures mergedOf(const std::vector<cv::Mat>& bytes, const std::vector<float>& times, const cv::Mat& response,
                         const BracketOptions& options, const std::function<void()>& stepDone);

/// Refuses a size that `hasResponseGrid` not, for `recoverResponse`.
/// @throws std::invalid_argument
void requireResponseGrid(const std::string& name, cv::Size size);

/// Writes the three results of `mergeAndFuse`.
void writeMerged(const MergedExposures& merged, const std::string& prefix);

/// Names of the response of a bracket.
inline ResponseFiles bracketResponseFiles() {
    return {"Rreal.txt", "Greal.txt", "Breal.txt", "valuesReal.txt"};
}

}  // namespace likeness
