// Photographs read and analysed in processes of their own, with the same bits.
#pragma once

#include "batch/isolated_workers.hpp"
#include "batch/photograph_analysis.hpp"

#include <string>
#include <string_view>

namespace likeness {

/// An analysis as bytes, for another process of this program on this machine.
std::string analysisMessage(const PhotographAnalysis& analysis);

/// @throws Refusal  if the bytes are none
PhotographAnalysis analysisFromMessage(std::string_view message);

/// What the user is told where the machine has no process to give, and photographs are read in the program's own.
inline constexpr const char* unprotectedWarning =
    "no process can be had to read photographs in: one that crashes its reader ends the run";

/// Reads and analyses photographs in other processes: one that makes its reader crash, hang or take too much memory is a
/// photograph with a problem, and nothing else is lost.
class IsolatedAnalyses {
public:
    /// Made before other threads of the program are at work. Arguments as those of `analyzePhotograph`.
    IsolatedAnalyses(std::uint64_t mostPixels, const AnalysisOptions& options, const ProfileChoice& profiles,
                     const WorkLimits& limits);

    /// As `analyzePhotograph`. Safe to call from several threads.
    /// @param mask  of the photograph, as of `withMask`
    PhotographAnalysis analyze(const std::string& path, const std::string& mask = "");

private:
    IsolatedWorkers workers_;
};

}  // namespace likeness
