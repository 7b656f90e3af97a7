// Analyses for a batch that an archive has already.
#pragma once

#include "archive/archive_file.hpp"
#include "batch/earlier_results.hpp"
#include "batch/photograph_analysis.hpp"

#include <functional>
#include <optional>
#include <string>

namespace likeness {

/// What an archive knows of photographs that are still the same.
class ArchivedAnalyses {
public:
    /// @param option    that names the archive, for refusals
    /// @param check     whether the SHA-256 of a file must agree, in place of its size and time
    /// @param analysis, profiles, origin  of the batch
    /// @param warn      told of damage, whose photographs are analysed
    /// @throws Refusal  if it is no archive, or was made with other parameters
    ArchivedAnalyses(const std::string& option, const std::string& path, bool check, const AnalysisOptions& analysis,
                     const ProfileChoice& profiles, const ResultOrigin& origin,
                     const std::function<void(const std::string&)>& warn);

    /// Nothing where the photograph is to be read. Safe to call from several threads.
    std::optional<PhotographAnalysis> of(const std::string& path) const;

private:
    ArchiveFile archive_;
    bool check_;
    bool wholePhotographs_;
};

}  // namespace likeness
