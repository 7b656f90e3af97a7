/// @file
/// Photographs analysed once, in a file, and compared as often as is wanted: what `darkroom index` makes.
///
/// All of it stands on the module `archive`, which is loaded when it is first needed. What is wrong with a file is a
/// `std::runtime_error` of one sentence that names it.
#pragma once

#include <likeness/archive/archive_search.hpp>
#include <likeness/archive/archived_photograph.hpp>
#include <likeness/comparison/analysis.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace likeness {

class ArchiveAccess;

/// An archive in a file, which is mapped, not loaded. Entries stand in the order of the bytes of their paths. Immutable,
/// cheap to copy, and safe to use from several threads; the file stays as it was opened when another takes its name.
class LIKENESS_API Archive {
public:
    /// @throws std::runtime_error  if it cannot be read, is no archive, is unfinished, or one of another version of the
    ///                             format
    explicit Archive(const std::string& path);

    /// Entries, those with a problem among them.
    std::size_t size() const;

    /// Model and hue that its photographs were analysed with; there are no maps.
    AnalysisOptions options() const;

    /// All that its numbers depend on, in words: "schema=1;...".
    std::string parameters() const;

    /// What was found damaged when it was opened, a line each. The rest can be used.
    std::vector<std::string> damage() const;

    /// Reads everything and holds it against the checksums.
    /// @return  what is damaged, a line each
    std::vector<std::string> check() const;

    /// Path of an entry, as it was named.
    /// @throws std::out_of_range   like all that take the number of an entry: if there is none
    /// @throws std::runtime_error  likewise: if it is damaged
    std::string pathOf(std::size_t entry) const;

    /// All that is known of an entry, to the bit.
    ArchivedPhotograph photograph(std::size_t entry) const;

    /// The entry of a path; nothing where there is none.
    std::optional<std::size_t> find(const std::string& path) const;

    /// What `darkroom search` searches for by a name: the entry of that path, if its file is as it was or is not there
    /// any more; else the file, read and analysed with the archive's options.
    /// @param mostPixels  a photograph of more is refused
    /// @throws std::runtime_error  if it cannot be read, or the archive was made with other parameters than the file
    ///                             would be analysed with: of parts of photographs, by another version
    AppearanceDistributions distributionsOf(const std::string& path,
                                            std::uint64_t mostPixels = std::uint64_t{1} << 29U) const;

    /// The entries that look most like a photograph, the greatest score first; of equal ones the first in the archive.
    /// The same as if all were compared, unless the search is approximate, and for any number of threads.
    /// @throws std::invalid_argument  if `top` is 0, a weight is below 0, or none is above; a weight or a limit of the
    ///                                hue where the archive has none; approximate with another score than the mean
    std::vector<ArchiveHit> nearest(const AppearanceDistributions& photograph, const ArchiveSearch& search = {}) const;

    /// The same of an analysis.
    /// @throws std::invalid_argument  if it was seen through another model than the archive's
    std::vector<ArchiveHit> nearest(const Analysis& photograph, const ArchiveSearch& search = {}) const;

    /// The same of a photograph, B, G, R as `analyze` takes it, which is analysed with the archive's options.
    std::vector<ArchiveHit> nearest(const cv::Mat& photograph, const ArchiveSearch& search = {}) const;

    /// All pairs that reach the limits, each once and the earlier entry first; with `nearest`, each entry with those that
    /// it is nearest to, itself left out. In the order of the first entry, then of the second, with `nearest` of the
    /// falling score. The same pairs as if all were compared, for any number of threads.
    /// @throws std::runtime_error  if there are more than `most`
    /// @throws Cancelled           if `progress` says so
    std::vector<ArchivePair> pairs(const ArchivePairSearch& search = {}) const;

    /// Each entry of this archive with each of another.
    /// @throws std::runtime_error  also if the two were made with different parameters
    std::vector<ArchivePair> pairs(const Archive& other, const ArchivePairSearch& search = {}) const;

    /// The groups of entries that hang together by the pairs of this archive, in the order of their first entries: what
    /// `darkroom pairs --clusters` writes.
    /// @throws std::runtime_error  as `pairs`
    std::vector<ArchiveCluster> clusters(const ArchivePairSearch& search = {}) const;

private:
    std::shared_ptr<const ArchiveAccess> access_;
};

}  // namespace likeness
