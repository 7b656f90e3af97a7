// Approximate searches: a graph over the sketches of an archive, in a file beside it.
//
// Photographs near a query are found by following links from one sketch to more similar ones; the exact coefficients
// settle the order of what was found. Something nearer may be missed: the recall says how often. The file, all numbers
// little endian: "LKNEAR\r\n"; u32 0x01020304; u32 version 1; the archive's identity (16 characters); u32 nodes n; u32
// links of a node, L; u32 first node; u32 its level; f64 recall; u32 number of photographs that it was measured on; u32
// words of the upper levels; u32 CRC-32 of what follows; u32 CRC-32 of the 68 bytes before. Then zeros up to byte 128;
// for each node 80 bytes of its sketch, u32 entry of the archive, u32 number of links, L links; and the upper levels as in
// `NearestGraph`.
#pragma once

#include "archive/archive_search.hpp"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace likeness {

/// Name of the file of an archive: with ".nearest" behind it.
std::string approximateIndexPath(const std::string& archive);

/// Whether a file is there that does not begin as an approximate index does: somebody else's.
bool isForeignApproximateIndex(const std::string& path);

/// What was measured on a sample of the archive's own photographs.
struct ApproximateRecall {
    double recall = 0;            ///< share of the exact ten nearest that are found, 0 to 1
    std::size_t photographs = 0;  ///< of the sample
    double exactSeconds = 0;      ///< of a search, on one thread
    double approximateSeconds = 0;
};

/// Builds the index of a finished archive and writes its file, the same bytes for the same archive.
/// @param progress  told how many of so many photographs are in; false stops, and nothing is written
/// @throws Refusal  the module `nearest` cannot be loaded, the archive is unfinished or damaged, the file cannot be
///                  written, or it was stopped
ApproximateRecall buildApproximateIndex(const Archive& archive,
                                        const std::function<bool(std::size_t done, std::size_t all)>& progress = {});

/// The index of an archive. Mapped; safe to use from several threads.
class ApproximateIndex {
public:
    /// @throws Refusal  there is none, it is damaged, or the archive has changed since
    explicit ApproximateIndex(const Archive& archive);
    ~ApproximateIndex();
    ApproximateIndex(const ApproximateIndex&) = delete;
    ApproximateIndex& operator=(const ApproximateIndex&) = delete;

    /// Measured when it was built.
    double recall() const noexcept { return recall_; }
    std::size_t sample() const noexcept { return sample_; }

    /// As `nearestEntries`, of the candidates that the graph leads to: entries and numbers are exact, some that are as
    /// near may be missing.
    /// @param candidates  at least `search.top`; more find more and take longer
    std::vector<ArchiveHit> nearest(const AppearanceDistributions& photograph, const ArchiveSearch& search,
                                    std::size_t candidates = usualCandidates) const;

    static constexpr std::size_t usualCandidates = 400;

private:
    struct Candidate {
        std::int64_t product;
        std::uint32_t node;
    };

    const std::uint8_t* nodeAt(std::uint32_t node) const noexcept { return nodes_ + node * nodeBytes_; }
    bool readLevels();
    bool leadsNowhereElse() const;
    std::vector<std::uint32_t> nodesNear(const std::vector<std::int16_t>& query, std::size_t candidates) const;
    const std::uint32_t* linksAbove(std::uint32_t node, std::uint32_t level) const;

    const Archive& archive_;
    const char* bytes_ = nullptr;
    std::size_t length_ = 0;
    const std::uint8_t* nodes_ = nullptr;
    std::size_t nodeBytes_ = 0;
    std::uint32_t count_ = 0;
    std::uint32_t links_ = 0;
    std::uint32_t first_ = 0;
    std::uint32_t topLevel_ = 0;
    std::vector<std::uint32_t> above_;
    std::vector<std::pair<std::uint32_t, std::size_t>> placesAbove_;  ///< by node
    double recall_ = 0;
    std::size_t sample_ = 0;
    mutable std::atomic<std::size_t> searches_{0};
};

}  // namespace likeness
