// Archives of analysed photographs: each is analysed once and compared as often as is wanted.
//
// The file is mapped, not loaded. Entries stand in the order of the bytes of their paths; an unfinished archive, which a
// stopped `darkroom index` leaves, has them in the order in which they were made. Safe to use from several threads.
#pragma once

#include "archive/archive_format.hpp"
#include "files/refusal.hpp"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace likeness {

/// What cannot be read of an archive: a line that names file and place.
class ArchiveDamage : public Refusal {
public:
    using Refusal::Refusal;
};

/// An archive in a file.
class ArchiveFile {
public:
    /// Maps the file and reads its head and its list of blocks.
    /// @throws Refusal        it cannot be read, is no archive, or one of another version of the format
    /// @throws ArchiveDamage  neither of the copies of its head can be read
    explicit ArchiveFile(const std::string& path);
    ~ArchiveFile();
    ArchiveFile(const ArchiveFile&) = delete;
    ArchiveFile& operator=(const ArchiveFile&) = delete;

    const std::string& path() const noexcept { return path_; }
    const ArchiveOrigin& origin() const noexcept { return head_.origin; }
    /// Whether it was written to its end: then entries are in order, and there are sketches.
    bool finished() const noexcept { return finished_; }
    std::uint64_t bytes() const noexcept { return length_; }

    /// 16 hexadecimal digits that stand for what is in it: of its head and the checksums of its columns.
    std::string identity() const;

    /// Entries, those of damaged blocks among them.
    std::size_t size() const noexcept { return size_; }

    /// What was found wrong when the archive was opened, a line each.
    const std::vector<std::string>& damage() const noexcept { return damage_; }

    /// All but the distributions.
    /// @throws ArchiveDamage  like all that follow; std::out_of_range where there is no such entry
    ArchivedPhotograph photograph(std::size_t entry) const;

    std::string_view pathOf(std::size_t entry) const;

    /// Whether it has an appearance, and so can be compared.
    bool analysed(std::size_t entry) const;

    /// The distributions that were put in, to the bit; empty of an entry with a problem.
    AppearanceDistributions distributions(std::size_t entry) const;

    /// The entry of a path; of an unfinished archive the last one. Nothing where there is none.
    std::optional<std::size_t> find(std::string_view path) const;

    /// Reads everything and holds it against the checksums.
    /// @return  what is damaged, a line each
    std::vector<std::string> check() const;

    /// Bytes up to behind the last whole block, for who goes on with an unfinished archive.
    std::uint64_t wholeBytes() const noexcept { return wholeBytes_; }

    // What search, merging and repairing are made of.

    const archive::ArchiveHead& head() const noexcept { return head_; }
    std::size_t blocks() const noexcept { return blocks_.size(); }
    const archive::BlockPlace& block(std::size_t number) const { return blocks_[number].place; }
    /// The block that an entry stands in.
    std::size_t blockOf(std::size_t entry) const;
    /// The sketches of a block: eight entries beside each other; empty in an unfinished archive.
    std::string_view sketches(std::size_t block) const;
    /// Encoded histograms and number of pixels; empty of an entry with a problem.
    std::string_view histograms(std::size_t entry, std::uint64_t& pixels) const;
    archive::StoredEntry storedEntry(std::size_t entry) const;
    /// Tells the system that the pages of a block are not needed for now.
    void forget(std::size_t block) const noexcept;
    /// The same for all of an archive that is large.
    void forgetIfLarge() const noexcept;

    /// Entries, here and there, whose pages together are worth giving back: the system maps some 64 KiB around each.
    static constexpr std::size_t worthForgetting = 256;

private:
    struct Block {
        archive::BlockPlace place;
        std::string problem;  ///< why nothing of it can be read
        std::array<std::string_view, archive::columns> columns;
        std::array<std::uint32_t, archive::columns> sums{};
    };

    std::string_view content() const noexcept { return {bytes_, length_}; }
    std::string named(const Block& block) const;
    bool readFoot();
    void walkBlocks(std::uint64_t at);
    Block readBlock(archive::BlockPlace place, bool placeKnown) const;
    void addBlock(Block block);
    std::string_view column(std::size_t block, archive::Column column) const;
    template <typename Number>
    Number value(std::size_t block, archive::Column column, std::size_t index) const;
    std::string_view item(std::size_t block, archive::Column ends, archive::Column texts, std::size_t index) const;

    std::string path_;
    const char* bytes_ = nullptr;
    std::size_t length_ = 0;
    std::uint64_t wholeBytes_ = 0;
    archive::ArchiveHead head_;
    bool finished_ = false;
    std::size_t size_ = 0;
    std::vector<Block> blocks_;
    std::vector<std::string> damage_;
    enum class State : unsigned char { unknown, good, bad };
    mutable std::unique_ptr<std::atomic<State>[]> states_;  ///< of the columns of all blocks
};

/// Whether a file begins as an archive does.
bool isArchive(const std::string& path);

}  // namespace likeness
