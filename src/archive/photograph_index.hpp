// A photograph in a file on its way into an archive.
#pragma once

#include "archive/archive_entry.hpp"
#include "batch/photograph_analysis.hpp"

#include <functional>
#include <string>

namespace likeness {

/// What tells whether a file is still the one that was analysed.
struct FileState {
    bool exists = false;
    std::uint64_t bytes = 0;
    std::int64_t modified = 0;  ///< nanoseconds since 1970

    bool operator==(const FileState&) const = default;
};

/// Of what a path leads to; what is there and no regular file exists too.
FileState stateOf(const std::string& path);

/// Whether an entry says what the file at its path still is.
bool isCurrent(const ArchivedPhotograph& entry);

/// Whether the file at an entry's path has the entry's SHA-256.
bool hasChecksum(const ArchivedPhotograph& entry);

/// Analyses a photograph and finds the checksum of its file. What is wrong with it is its problem; so is a change while
/// it is read. Safe to call from several threads, with tables for each.
/// @param analyze   does what `analyzePhotograph` does with the path
/// @throws Refusal  as `analyze`; if the machine fails
ArchivedPhotograph indexedPhotograph(const std::string& path, const std::function<PhotographAnalysis()>& analyze);

/// The same with `analyzePhotograph`.
ArchivedPhotograph indexedPhotograph(const std::string& path, AnalysisTables& tables, std::uint64_t mostPixels,
                                     const AnalysisOptions& options = {}, const ProfileChoice& profiles = {});

/// What this program puts into archives under these options.
ArchiveOrigin originOf(const AnalysisOptions& options, const ProfileChoice& profiles);

/// Whether every pixel of its photographs counts, by the words of its parameters.
bool isOfWholePhotographs(const ArchiveOrigin& origin);

/// The analysis of a photograph that stands in an archive, as `analyzePhotograph` would make it again.
PhotographAnalysis analysisOf(ArchivedPhotograph photograph);

}  // namespace likeness
