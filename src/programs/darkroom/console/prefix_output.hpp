// Results whose names are made from one stem.
#pragma once

#include "console/console.hpp"
#include "console/option_parser.hpp"
#include "console/output_check.hpp"
#include "files/interrupt_cleanup.hpp"

#include <opencv2/core.hpp>

#include <optional>
#include <string>
#include <vector>

namespace likeness::darkroom {

/// One of the results.
struct PrefixedResult {
    std::string ending;  ///< what follows the stem: "fusion.jpg"
    std::string what;    ///< what it shows, for the line that tells
};

/// What the merging of a stack of exposures writes.
std::vector<PrefixedResult> mergedResults();

/// Adds -o/--output, the stem.
/// @param endings  the names that come of it, for the help: "PREFIX.hdr, PREFIX.jpg"
Option* addPrefixOutput(OptionParser& app, std::string& prefix, const std::string& endings);

/// Refuses, before the work begins, a stem that names none, or a place that the plan refuses.
/// @throws Refusal
void checkPrefixOutput(const std::string& prefix, const std::vector<PrefixedResult>& results, OutputPlan& plan);

/// A folder with a temporary name beside the results, where they are written first. It goes, with everything in it, when
/// this object does or the program is interrupted.
class StagedResults {
public:
    /// @throws Refusal  if the folder cannot be made
    explicit StagedResults(std::string prefix);
    ~StagedResults();
    StagedResults(const StagedResults&) = delete;
    StagedResults& operator=(const StagedResults&) = delete;

    /// The stem of the results within the folder.
    const std::string& stagedPrefix() const noexcept { return stagedPrefix_; }

    /// Writes a result into the folder, in the format of its ending. What cannot be written is missing when the results
    /// are published. Safe to call from several threads for different results.
    /// @param picture  CV_8UC3, or CV_32FC3 on the scale 0..255 (.hdr: as it is)
    void write(const std::string& ending, const cv::Mat& picture) const;

    /// The same of a picture on the scale 0..1, rounded to 8 bits.
    void writePicture(const std::string& ending, const cv::Mat& picture) const;

    /// Writes what `mergedResults` names.
    /// @param toneMapped, fused  on the scale 0..1
    void writeMerged(const cv::Mat& radiance, const cv::Mat& toneMapped, const cv::Mat& fused) const;

    /// Puts the results in their places, each as a whole, and tells of each. If one is missing, none is put there.
    /// @throws Refusal
    void publish(const Console& console, const std::vector<PrefixedResult>& results) const;

private:
    std::string prefix_;
    std::string folder_;
    std::string stagedPrefix_;
    std::optional<RemovedOnInterrupt> onInterrupt_;
};

}  // namespace likeness::darkroom
