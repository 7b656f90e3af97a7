#include "archive/archive_writer.hpp"

#include "archive/path_search.hpp"
#include "batch/output_lock.hpp"
#include "batch/working_file.hpp"
#include "files/interrupt_cleanup.hpp"
#include "files/replaced_file.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <utility>

namespace likeness {

using namespace archive;

namespace {

namespace fs = std::filesystem;

/// How many entries the groups of the sketches are chosen by.
constexpr std::size_t sampled = 4096;

GroupEdges edgesFor(const ArchiveEntries& entries) {
    EdgeSample sample;
    const std::size_t count = std::min(sampled, entries.size);
    for (std::size_t i = 0; i < count; ++i) {
        const StoredEntry entry = entries.at(i * entries.size / count);
        if (!entry.histograms.empty()) {
            sample.add(entry.histograms, entry.pixels());
        }
    }
    return sample.edges();
}

}  // namespace

void writeArchive(const std::string& path, const ArchiveOrigin& origin, const ArchiveEntries& entries) {
    const fs::path target = followedLinks(path);
    const std::string temporary = workingFile(target.string(), "archive");
    // The lock keeps a second writer from the same file. What is in the file is left of one that was killed.
    const OutputLock lock(temporary, OutputLock::Links::refuse);
    const RemovedOnInterrupt onInterrupt(temporary);
    try {
        const ArchiveHead head{origin, edgesFor(entries)};
        AppendedFile file(temporary, 0);
        std::uint64_t length = 0;
        const auto append = [&](const std::string& bytes) {
            file.append(bytes);
            length += bytes.size();
        };
        append(fileHead(head));
        std::vector<BlockPlace> blocks;
        BlockBuilder builder;
        constexpr std::size_t mostBytes = std::size_t{1} << 28;
        for (std::size_t k = 0; k < entries.size;) {
            const std::size_t first = k;
            while (k < entries.size && k - first < entriesOfBlock && builder.bytes() < mostBytes) {
                builder.add(entries.at(k++));
            }
            const std::string block = builder.take(static_cast<std::uint32_t>(blocks.size()), head.edges);
            blocks.push_back({length, block.size(), first, static_cast<std::uint32_t>(k - first)});
            append(block);
        }
        append(fileFoot(blocks, head, length));
        file.finish();
        std::error_code error;
        const fs::file_status existing = fs::status(target, error);
        if (fs::exists(existing)) {
            fs::permissions(temporary, existing.permissions(), error);
        }
        if (std::rename(temporary.c_str(), target.c_str()) != 0) {
            throw Refusal("cannot write '" + path + "': " + std::strerror(errno));
        }
        synchronizeFolderOf(target.string());
    } catch (...) {
        std::error_code error;
        fs::remove(temporary, error);
        throw;
    }
}

ArchiveWriter::ArchiveWriter(const std::string& path, const ArchiveOrigin& origin, std::uint64_t keep)
    : file_(path, keep) {
    if (keep == 0) {
        file_.append(fileHead({origin, std::nullopt}));
    }
}

void ArchiveWriter::append(const std::vector<ArchivedPhotograph>& photographs) {
    BlockBuilder builder;
    for (const ArchivedPhotograph& photograph : photographs) {
        builder.add(stored(photograph));
    }
    file_.append(builder.take(blocks_++, std::nullopt));
}

void ArchiveWriter::finish() {
    file_.finish();
}

ArchiveUnion::ArchiveUnion(std::vector<const ArchiveFile*> archives) : archives_(std::move(archives)) {
    for (std::size_t a = 0; a < archives_.size(); ++a) {
        const ArchiveFile& archive = *archives_[a];
        for (std::size_t b = 0; b < archive.blocks(); ++b) {
            const BlockPlace& place = archive.block(b);
            for (std::size_t entry = place.firstEntry; entry < place.firstEntry + place.entries; ++entry) {
                try {
                    archive.storedEntry(entry);
                    archive.distributions(entry);  // a checksum alone does not say that it can be written again
                    places_.push_back({static_cast<std::uint32_t>(a), static_cast<std::uint32_t>(entry)});
                } catch (const ArchiveDamage& damage) {
                    if (damage_.empty() || damage_.back() != damage.what()) {
                        damage_.emplace_back(damage.what());
                    }
                }
            }
            archive.forget(b);
        }
    }
    // Stable: of equal paths the last one stays the last.
    std::size_t read = 0;
    const auto path = [this, &read](const Place& place) {
        forgetNowAndThen(++read);
        return archives_[place.archive]->pathOf(place.entry);
    };
    std::stable_sort(places_.begin(), places_.end(), [&](const Place& a, const Place& b) { return path(a) < path(b); });
    std::size_t kept = 0;
    for (std::size_t k = 0; k < places_.size(); ++k) {
        if (k + 1 < places_.size() && path(places_[k]) == path(places_[k + 1])) {
            ++doubled_;
        } else {
            places_[kept++] = places_[k];
        }
    }
    places_.resize(kept);
}

void ArchiveUnion::forgetNowAndThen(std::size_t k) const {
    constexpr std::size_t aWhile = std::size_t{1} << 18;
    if (k % aWhile == aWhile - 1) {
        for (const ArchiveFile* archive : archives_) {
            archive->forgetIfLarge();
        }
    }
}

std::string_view ArchiveUnion::pathOf(std::size_t k) const {
    return archiveOf(k).pathOf(entryOf(k));
}

std::optional<std::size_t> ArchiveUnion::find(std::string_view wanted) const {
    return foundAmong(0, places_.size(), wanted, [this](std::size_t k) { return pathOf(k); });
}

void ArchiveUnion::select(const std::function<bool(std::size_t k)>& keep) {
    std::vector<Place> kept;
    for (std::size_t k = 0; k < places_.size(); ++k) {
        forgetNowAndThen(k);
        if (keep(k)) {
            kept.push_back(places_[k]);
        }
    }
    places_ = std::move(kept);
}

ArchiveEntries ArchiveUnion::entries() const {
    return {places_.size(), [this, asked = std::size_t{0}](std::size_t k) mutable {
                // They may be asked for here and there: the system maps what stands around each.
                constexpr std::size_t aWhile = 1024;
                if (++asked % aWhile == 0) {
                    for (const ArchiveFile* archive : archives_) {
                        archive->forgetIfLarge();
                    }
                }
                return archiveOf(k).storedEntry(entryOf(k));
            }};
}

}  // namespace likeness
