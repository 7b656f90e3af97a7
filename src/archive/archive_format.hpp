// The layout of an archive's file (docs/archive-format.md).
#pragma once

#include "archive/archive_bytes.hpp"
#include "archive/archive_entry.hpp"
#include "archive/histogram_sketch.hpp"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace likeness::archive {

inline constexpr std::string_view fileMagic{"\x89LKARC\r\n", 8};
inline constexpr std::string_view blockMagic{"LKBLOCK\n", 8};
inline constexpr std::string_view footMagic{"LKFOOT\r\n", 8};
inline constexpr std::string_view tailMagic{"LKTAIL\r\n", 8};
inline constexpr std::uint32_t endianMark = 0x01020304;
inline constexpr std::uint32_t formatVersion = 1;
inline constexpr std::size_t alignment = 64;  ///< of heads and columns
inline constexpr std::size_t fileHeadBytes = 32;
inline constexpr std::size_t blockHeadBytes = 64;
inline constexpr std::size_t columnPlaceBytes = 24;
inline constexpr std::size_t tailBytes = 32;
inline constexpr std::size_t entriesOfBlock = 4096;

/// The columns of a block, in their order.
enum class Column : std::uint32_t {
    pathEnds,       ///< u32 per entry: where its path ends
    paths,          ///< text
    fileBytes,      ///< u64
    modified,       ///< i64, nanoseconds since 1970
    sha256,         ///< 32 bytes
    sizes,          ///< u32 width, u32 height
    textEnds,       ///< u32
    texts,          ///< problem, profile and remarks, each ended by NUL; or nothing
    histogramEnds,  ///< u32
    histogramSums,  ///< u32, CRC-32 of the entry's histograms
    histograms,     ///< `encodedHistograms`; nothing of what has a problem. Has no checksum of its own
    sketches,       ///< of eight entries at a time; nothing in an unfinished archive
};
inline constexpr std::size_t columns = 12;

constexpr std::size_t aligned(std::size_t bytes) {
    return (bytes + alignment - 1) / alignment * alignment;
}

/// What the head of the file says.
struct ArchiveHead {
    ArchiveOrigin origin;
    std::optional<GroupEdges> edges;  ///< none in an unfinished archive
};

/// As JSON, in one line.
std::string headText(const ArchiveHead& head);

/// @return  nothing if the text is none
std::optional<ArchiveHead> headOf(std::string_view text);

/// The bytes that a file begins with.
std::string fileHead(const ArchiveHead& head);

/// One entry as it stands in a file.
struct StoredEntry {
    std::string path;
    std::uint64_t bytes = 0;
    std::int64_t modified = 0;
    std::array<std::uint8_t, 32> sha256{};
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::string texts;
    std::string histograms;

    std::uint64_t pixels() const noexcept { return std::uint64_t{width} * height; }
};

/// @throws std::invalid_argument  if the distributions are not those of a photograph of this size
StoredEntry stored(const ArchivedPhotograph& photograph);

/// Gathers entries, and gives them as the bytes of a block.
class BlockBuilder {
public:
    /// @throws std::length_error  if a block cannot hold it
    void add(StoredEntry entry);
    std::size_t size() const noexcept { return sizes_.size() / 8; }
    /// Bytes of what was added, about.
    std::size_t bytes() const noexcept { return paths_.size() + texts_.size() + histograms_.size(); }

    /// The block, and an empty builder.
    /// @param edges  of the sketches; without there are none
    std::string take(std::uint32_t number, const std::optional<GroupEdges>& edges);

private:
    std::string pathEnds_, paths_, fileBytes_, modified_, sha256_, sizes_, textEnds_, texts_, histogramEnds_,
        histogramSums_, histograms_;
    std::vector<std::pair<std::size_t, std::uint64_t>> coded_;  ///< bytes and pixels of each entry's histograms
};

/// Where a block stands.
struct BlockPlace {
    std::uint64_t begin = 0;
    std::uint64_t bytes = 0;
    std::uint64_t firstEntry = 0;
    std::uint32_t entries = 0;
};

/// What a finished archive ends with.
/// @param begin  offset that it will stand at
std::string fileFoot(const std::vector<BlockPlace>& blocks, const ArchiveHead& head, std::uint64_t begin);

}  // namespace likeness::archive
