// Archives made and searched by a program of one's own: what stands behind `Archive` and behind Python's.
#pragma once

#include "archive/archive_access.hpp"

namespace likeness {

/// @throws Refusal  as the constructor of `Archive`
std::shared_ptr<const ArchiveAccess> openArchive(const std::string& path);

/// `indexPhotographs`.
/// @return  nothing if it was stopped
std::optional<IndexSummary> indexedArchive(const std::vector<std::string>& paths, const std::string& output,
                                           const IndexOptions& options);

/// `writeArchive`.
void writeAnalyses(const std::string& path, const std::vector<ArchivedPhotograph>& photographs,
                   const AnalysisOptions& analysis);

}  // namespace likeness
