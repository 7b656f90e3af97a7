// Archives are written as a whole, under a working name that then becomes theirs; what is being made is kept in an
// unfinished archive, which only grows.
#pragma once

#include "archive/archive_file.hpp"
#include "batch/appended_file.hpp"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace likeness {

/// Entries that are to be written, wherever they stand.
struct ArchiveEntries {
    std::size_t size = 0;
    /// Entry k, 0..size - 1; their paths ascend by bytes and none occurs twice. Asked for again and again.
    std::function<archive::StoredEntry(std::size_t k)> at;
};

/// Writes a finished archive: the same bytes for the same entries and origin. An archive of the name is replaced when
/// the new one is on the disk.
/// @throws Refusal  "cannot write 'PATH': reason"; nothing is changed then
void writeArchive(const std::string& path, const ArchiveOrigin& origin, const ArchiveEntries& entries);

/// Analysed photographs on their way into an archive: the one way to make an archive from a program of one's own.
/// Entries may come in any order; the last one of a path counts.
class ArchiveWriter {
public:
    /// Begins, or goes on with, an unfinished archive.
    /// @param path  of the unfinished archive
    /// @param keep  bytes of it that are whole (`ArchiveFile::wholeBytes`); 0: it begins anew
    /// @throws Refusal  like everything here
    ArchiveWriter(const std::string& path, const ArchiveOrigin& origin, std::uint64_t keep = 0);

    /// Appends them as one block: once it has returned, they outlive the process, however that ends.
    /// @throws std::invalid_argument  if distributions are not those of a photograph of the stated size
    void append(const std::vector<ArchivedPhotograph>& photographs);

    /// Sees to it that everything is on the disk, and closes the file.
    void finish();

private:
    AppendedFile file_;
    std::uint32_t blocks_ = 0;
};

/// What the named archives hold, one entry for each path: that of the last archive that has it, and in it the last one.
/// Entries that cannot be read are left out and told of.
class ArchiveUnion {
public:
    /// @param archives  all of one origin; kept as long as the object lives
    explicit ArchiveUnion(std::vector<const ArchiveFile*> archives);

    std::size_t size() const noexcept { return places_.size(); }
    /// The paths ascend by bytes.
    std::string_view pathOf(std::size_t k) const;
    const ArchiveFile& archiveOf(std::size_t k) const { return *archives_[places_[k].archive]; }
    std::size_t entryOf(std::size_t k) const { return places_[k].entry; }
    std::optional<std::size_t> find(std::string_view path) const;

    /// What cannot be read, a line each.
    const std::vector<std::string>& damage() const noexcept { return damage_; }
    /// Entries that another one of the same path stands for.
    std::size_t doubled() const noexcept { return doubled_; }

    /// Leaves out those for which `keep` is false.
    void select(const std::function<bool(std::size_t k)>& keep);

    ArchiveEntries entries() const;

private:
    struct Place {
        std::uint32_t archive;
        std::uint32_t entry;
    };

    /// What was read of large archives a while ago is not needed in memory any more.
    void forgetNowAndThen(std::size_t k) const;

    std::vector<const ArchiveFile*> archives_;
    std::vector<Place> places_;
    std::vector<std::string> damage_;
    std::size_t doubled_ = 0;
};

}  // namespace likeness
