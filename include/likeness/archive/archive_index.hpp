/// @file
/// Archives made and brought up to date.
#pragma once

#include <likeness/archive/archived_photograph.hpp>
#include <likeness/comparison/analysis.hpp>
#include <likeness/export.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace likeness {

/// How `indexPhotographs` works.
struct IndexOptions {
    /// What becomes of an archive that has the name already.
    enum class Existing {
        refused,   ///< it stays, and nothing is done
        updated,   ///< what is new or has another size or time is analysed, what is not named is left out
        resumed,   ///< the same, and what a stopped run left is taken up
        replaced,  ///< it gives way when the new one is whole
    };

    Existing existing = Existing::refused;  ///< what becomes of one that is there
    AnalysisOptions analysis = {};          ///< model and hue
    bool retryFailed = false;               ///< updated or resumed: read again what could not be read
    bool approximate = false;               ///< make the index for approximate searches too, beside the archive
    unsigned jobs = 0;                      ///< photographs at the same time; 0: as many as there are processors
    std::uint64_t mostPixels = std::uint64_t{1} << 29U;  ///< a photograph of more is one with a problem
    /// Told how many of so many photographs are analysed, now and then, on the caller's thread; false stops.
    std::function<bool(std::size_t done, std::size_t photographs)> progress = {};
    /// Told what the user should know although the work goes on: files that cannot be read.
    std::function<void(const std::string& line)> warn = {};
    /// Colours of photographs: "embedded", by their own profiles; "ignore", as sRGB; or the name (srgb, display-p3,
    /// adobe-rgb, prophoto) or the file of a profile for photographs without one.
    std::string profile = "embedded";
};

/// What came of it.
struct IndexSummary {
    std::size_t photographs = 0;  ///< in the archive
    std::size_t failed = 0;       ///< of these, that could not be read: their entries say why
    std::size_t added = 0;        ///< that the archive did not have
    std::size_t changed = 0;      ///< that have another size or time, or are tried again
    std::size_t removed = 0;      ///< that are not named any more
};

/// Analyses photographs and keeps them in an archive: the bytes that `darkroom index` writes. One at a time in a process;
/// until it ends, operations have one thread each.
/// @param paths   files, and folders whose image files are taken with those of their subfolders
/// @param output  the archive; never half-written
/// @throws std::runtime_error  if the output is refused or cannot be written, a folder cannot be read, or there are no
///                             photographs. A photograph that cannot be read is an entry with a problem
/// @throws Cancelled           if `progress` says so; what was made is kept for `Existing::resumed`
LIKENESS_API IndexSummary indexPhotographs(const std::vector<std::string>& paths, const std::string& output,
                                           const IndexOptions& options = {});

/// Writes analyses of one's own as an archive: the same bytes for the same photographs, in whatever order.
/// @param path         an archive of this name gives way when the new one is whole
/// @param photographs  each path once; with width, height and `analyze(...).distributions()`, or with a problem
/// @param analysis     what they were analysed with: model and hue, whole photographs
/// @throws std::invalid_argument  if a path is empty or occurs twice, or a photograph without a problem has no pixels or
///                                distributions that are none
/// @throws std::runtime_error     if it cannot be written
LIKENESS_API void writeArchive(const std::string& path, const std::vector<ArchivedPhotograph>& photographs,
                               const AnalysisOptions& analysis = {});

}  // namespace likeness
