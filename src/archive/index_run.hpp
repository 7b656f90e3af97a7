// One run over photographs that an archive is to hold: what it lacks is analysed and put in.
#pragma once

#include "archive/archive_writer.hpp"
#include "archive/path_names.hpp"
#include "batch/batch_run.hpp"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace likeness {

/// How an archive is made.
struct IndexRunOptions {
    bool update = false;       ///< take what the archive has of the photographs, and drop what is not named
    bool resume = false;       ///< the same, and go on with what a stopped run left
    bool overwrite = false;    ///< begin anew
    bool retryFailed = false;  ///< read again what could not be read
    bool approximate = false;  ///< make the index for approximate searches too
    unsigned jobs = 0;         ///< photographs at the same time; 0: as many as there are processors
    std::uint64_t mostPixels = usualMostPixels;
    /// As of `BatchOptions`.
    std::optional<WorkLimits> isolation{};
    AnalysisOptions analysis{};  ///< maps are not made
    ProfileChoice profiles{};
};

/// What came of a run.
struct IndexEnd {
    std::size_t photographs = 0;  ///< that were named
    std::size_t analysed = 0;     ///< of these, that are in the archive or in the unfinished one
    std::uint64_t failed = 0;     ///< of the archive, that could not be read
    std::size_t added = 0;
    std::size_t changed = 0;
    std::size_t removed = 0;
    bool approximate = false;  ///< whether there is an index for approximate searches that fits

    bool whole() const noexcept { return analysed == photographs; }
};

/// @throws Refusal  for an output that exists and is not to be taken up or replaced, is no archive, or is among the
///                  photographs
void refuseIndexOutput(const std::string& output, const PathNames& paths, const IndexRunOptions& options);

/// Runs once. While it runs, operations and the image library have one thread each, as in `BatchRun`.
class IndexRun {
public:
    /// @param paths   in order, none twice; like the events kept as a reference
    /// @param output  name of the archive
    IndexRun(const PathNames& paths, std::string output, IndexRunOptions options, const BatchEvents& events);

    /// @throws Refusal  like `BatchRun`
    IndexEnd run();

private:
    using Clock = std::chrono::steady_clock;

    std::unique_ptr<ArchiveFile> opened(const std::string& path, const char* what) const;
    void forgetNowAndThen(std::size_t k) const;
    std::vector<const ArchiveFile*> archives() const;
    std::uint64_t readEarlier();
    void chooseMissing();
    void analyseMissing(std::uint64_t keep);
    std::string whatIsKept(const std::string& problem) const;
    void analyse(ArchiveWriter& writer, unsigned jobs);
    void finish(IndexEnd& end);
    bool makeApproximateIndex();

    const PathNames& paths_;
    std::string named_;   ///< the output as it was named
    std::string output_;  ///< behind links
    IndexRunOptions options_;
    const BatchEvents& events_;
    ArchiveOrigin origin_;
    std::string unfinished_;
    std::optional<IsolatedAnalyses> isolated_;
    std::vector<std::unique_ptr<ArchiveFile>> archives_;  ///< of earlier runs, the later ones last
    std::vector<std::uint32_t> missing_;                  ///< numbers of the paths that are to be analysed
    std::size_t added_ = 0;
    std::size_t changed_ = 0;
    std::size_t removed_ = 0;
    std::size_t done_ = 0;
    std::uint64_t failedNow_ = 0;
    Clock::time_point begin_ = Clock::now();
};

}  // namespace likeness
