#pragma once

#include <likeness/comparison/analysis.hpp>
#include "batch/result_record.hpp"
#include "comparison/photograph_counts.hpp"
#include "photofile/managed_colors.hpp"

#include <opencv2/core.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace likeness {

/// What a comparison needs of one photograph.
struct PhotographAnalysis {
    PhotographFacts facts;
    AppearanceDistributions distributions;
    std::int64_t countedPixels = 0;    ///< what counts of it, in whole pixels; 0: all of it, below 0: not known
    std::string problem;               ///< why there is none: what follows "cannot read 'PATH'"; empty if there is one
    std::string profile{};             ///< name of the profile that its colours were taken by; empty: sRGB
    std::vector<std::string> remarks;  ///< of the decoder, and how its colour profile was used
    std::string profileRemark{};       ///< that of them which only tells of its profile; empty: none does
};

/// What a thread keeps from one photograph to the next.
struct AnalysisTables {
    ColorCounter counter;
    cv::Mat photograph;  ///< memory for the next one of the same size
};

/// Reads and analyses a photograph. Safe to call from several threads, with tables for each; the decoder's remarks
/// are collected where a `RemarkSorter` is at work.
/// @param mostPixels  more of them are a problem of the photograph
/// @param options     the model; maps are not made
/// @param stepDone    called `stepsOfAnalysis` times (comparison/photograph_counts.hpp) where all of it counts; may throw
/// @throws Refusal    if the machine lacks what it takes (descriptors, a disk that works; `MemoryShortage` if it is
///                    memory): no problem of the photograph
PhotographAnalysis analyzePhotograph(const std::string& path, AnalysisTables& tables, std::uint64_t mostPixels,
                                     const AnalysisOptions& options = {}, const ProfileChoice& profiles = {},
                                     const StepDone& stepDone = noStep);

/// Choices for a photograph with a mask of its own.
/// @param mask  its file; empty: as they are
ProfileChoice withMask(ProfileChoice profiles, const std::string& mask);

/// Compares two analysed photographs.
/// @param firstPath, secondPath  names for the error and the remarks
/// @param options                those of the analyses
PairOutcome compareAnalyses(const std::string& firstPath, const PhotographAnalysis& first,
                            const std::string& secondPath, const PhotographAnalysis& second,
                            const AnalysisOptions& options = {});

}  // namespace likeness
