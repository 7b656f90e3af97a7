#include "archive/archive_file.hpp"

#include "archive/path_search.hpp"
#include "batch/stable_hash.hpp"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <utility>

namespace likeness {

using namespace archive;

namespace {

constexpr std::uint32_t mostEntries = 1U << 24;  // of a block; more are damage

}  // namespace

bool isArchive(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string begin(fileMagic.size(), '\0');
    file.read(begin.data(), static_cast<std::streamsize>(begin.size()));
    return file && begin == fileMagic;
}

ArchiveFile::ArchiveFile(const std::string& path) : path_(path) {
    const auto refuse = [&path](int problem) {
        return Refusal("cannot read '" + path + "': " + std::strerror(problem));
    };
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        throw refuse(errno);
    }
    struct ::stat status {};
    int problem = ::fstat(descriptor, &status) == 0 ? 0 : errno;
    if (problem == 0 && S_ISDIR(status.st_mode)) {
        problem = EISDIR;
    }
    void* mapped = MAP_FAILED;
    const bool regular = problem == 0 && S_ISREG(status.st_mode);
    if (regular && status.st_size > 0) {
        length_ = static_cast<std::size_t>(status.st_size);
        mapped = ::mmap(nullptr, length_, PROT_READ, MAP_SHARED, descriptor, 0);
        problem = mapped == MAP_FAILED ? errno : 0;
    }
    ::close(descriptor);
    if (problem != 0) {
        throw refuse(problem);
    }
    if (mapped == MAP_FAILED) {
        throw Refusal("'" + path + "' is no archive: it is " + (regular ? "empty" : "no regular file"));
    }
    bytes_ = static_cast<const char*>(mapped);
    try {
        if (length_ < fileHeadBytes || content().substr(0, fileMagic.size()) != fileMagic) {
            throw Refusal("'" + path + "' is no archive");
        }
        if (numberAt<std::uint32_t>(bytes_ + 8) != endianMark ||
            numberAt<std::uint32_t>(bytes_ + 12) != formatVersion) {
            // Either says something about the file only where it is what was written.
            if (checksum(content().substr(0, 28)) == numberAt<std::uint32_t>(bytes_ + 28)) {
                throw Refusal(
                    fmt::format("'{}' is an archive of format {}, and {} is read; darkroom index makes it anew", path,
                                numberAt<std::uint32_t>(bytes_ + 12), formatVersion));
            }
        }
        const auto headBytes = numberAt<std::uint64_t>(bytes_ + 16);
        std::optional<ArchiveHead> head;
        const bool headGood =
            checksum(content().substr(0, 28)) == numberAt<std::uint32_t>(bytes_ + 28) &&
            headBytes <= length_ - fileHeadBytes &&
            checksum(content().substr(fileHeadBytes, headBytes)) == numberAt<std::uint32_t>(bytes_ + 24);
        if (headGood) {
            head = headOf(content().substr(fileHeadBytes, headBytes));
        }
        if (head) {
            head_ = *head;
        } else {
            damage_.push_back("the head is damaged");
        }
        finished_ = readFoot();
        if (!finished_) {
            if (!head) {
                throw ArchiveDamage("'" + path +
                                    "': both copies of its head are damaged; darkroom index makes it anew");
            }
            walkBlocks(aligned(fileHeadBytes + headBytes));
            if (head_.edges) {
                damage_.push_back("the list of its blocks at the end is missing or damaged");
            }
        }
        states_ = std::make_unique<std::atomic<State>[]>(blocks_.size() * columns);
    } catch (...) {
        ::munmap(const_cast<char*>(bytes_), length_);
        throw;
    }
}

ArchiveFile::~ArchiveFile() {
    ::munmap(const_cast<char*>(bytes_), length_);
}

std::string ArchiveFile::named(const Block& block) const {
    return fmt::format("block {} of '{}' (entries {} to {})", &block - blocks_.data() + 1, path_,
                       block.place.firstEntry + 1, block.place.firstEntry + block.place.entries);
}

/// @return  whether there is a whole list of blocks at the end
bool ArchiveFile::readFoot() {
    if (length_ < tailBytes) {
        return false;
    }
    const std::string_view tail = content().substr(length_ - tailBytes);
    if (tail.substr(0, 8) != tailMagic || checksum(tail.substr(0, 28)) != numberAt<std::uint32_t>(tail.data() + 28)) {
        return false;
    }
    const auto begin = numberAt<std::uint64_t>(tail.data() + 8);
    if (numberAt<std::uint64_t>(tail.data() + 16) != length_ || begin > length_ - tailBytes) {
        return false;
    }
    const std::string_view foot = content().substr(begin, length_ - tailBytes - begin);
    if (checksum(foot) != numberAt<std::uint32_t>(tail.data() + 24) || foot.size() < 24 ||
        foot.substr(0, 8) != footMagic) {
        return false;
    }
    const auto count = numberAt<std::uint64_t>(foot.data() + 8);
    const auto textBytes = numberAt<std::uint64_t>(foot.data() + 16);
    if (count > foot.size() / 32 || textBytes > foot.size() || 24 + 32 * count + textBytes > foot.size()) {
        return false;
    }
    constexpr std::uint64_t leastOfEntry = 72;  // bytes of its columns of fixed width
    std::uint64_t entries = 0;
    for (std::uint64_t b = 0; b < count; ++b) {
        const auto its = numberAt<std::uint64_t>(foot.data() + 24 + 32 * b + 24);
        if (its > length_ / leastOfEntry || (entries += its) > length_ / leastOfEntry) {
            return false;
        }
    }
    auto head = headOf(foot.substr(24 + 32 * count, textBytes));
    if (!head || !head->edges) {
        return false;
    }
    head_ = std::move(*head);
    blocks_.reserve(count);
    for (std::uint64_t b = 0; b < count; ++b) {
        const char* const at = foot.data() + 24 + 32 * b;
        BlockPlace place;
        place.begin = numberAt<std::uint64_t>(at);
        place.bytes = numberAt<std::uint64_t>(at + 8);
        place.firstEntry = size_;
        place.entries =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(numberAt<std::uint64_t>(at + 24), mostEntries));
        addBlock(readBlock(place, true));
    }
    wholeBytes_ = begin;
    return true;
}

/// Where the list is missing the blocks themselves say how long they are; behind a damaged one the next is looked for.
void ArchiveFile::walkBlocks(std::uint64_t at) {
    wholeBytes_ = at <= length_ ? at : 0;  // a block begins at a multiple of `alignment`
    while (at + blockHeadBytes <= length_) {
        BlockPlace place;
        place.begin = at;
        place.firstEntry = size_;
        Block block = readBlock(place, false);
        if (block.problem.empty()) {
            at += block.place.bytes;
            wholeBytes_ = at;
            addBlock(std::move(block));
            constexpr std::size_t aWhile = 512;  // the system maps what stands around each head
            if (blocks_.size() % aWhile == 0) {
                forgetIfLarge();
            }
            continue;
        }
        if (content().substr(at, 8) == footMagic) {
            break;
        }
        std::uint64_t next = at + alignment;
        while (next + blockHeadBytes <= length_ && content().substr(next, 8) != blockMagic) {
            next += alignment;
        }
        if (next + blockHeadBytes > length_) {
            damage_.push_back(fmt::format("the last {} bytes are no whole block", length_ - at));
            break;
        }
        damage_.push_back(fmt::format("the {} bytes from byte {} on are no block", next - at, at));
        at = next;
    }
}

ArchiveFile::Block ArchiveFile::readBlock(BlockPlace place, bool placeKnown) const {
    Block block;
    block.place = place;
    constexpr std::size_t least = blockHeadBytes + columns * columnPlaceBytes;
    if (place.begin % alignment != 0 || place.begin > length_ || length_ - place.begin < least) {
        block.problem = "is cut off";
        return block;
    }
    const std::string_view head = content().substr(place.begin, blockHeadBytes);
    const std::string_view directory = content().substr(place.begin + blockHeadBytes, columns * columnPlaceBytes);
    const auto entries = numberAt<std::uint32_t>(head.data() + 12);
    const auto bytes = numberAt<std::uint64_t>(head.data() + 16);
    if (head.substr(0, 8) != blockMagic || checksum(head.substr(0, 60)) != numberAt<std::uint32_t>(head.data() + 60) ||
        numberAt<std::uint32_t>(head.data() + 24) != columns ||
        numberAt<std::uint32_t>(head.data() + 28) != checksum(directory) || entries > mostEntries ||
        (placeKnown && (entries != place.entries || bytes != place.bytes))) {
        block.problem = "is damaged: its head has another checksum";
        return block;
    }
    block.place.entries = entries;
    block.place.bytes = bytes;
    if (bytes < least || bytes > length_ - place.begin) {
        block.problem = "is cut off";
        return block;
    }
    for (std::size_t c = 0; c < columns; ++c) {
        const char* const at = directory.data() + c * columnPlaceBytes;
        const auto offset = numberAt<std::uint64_t>(at + 8);
        const auto length = numberAt<std::uint64_t>(at + 16);
        if (numberAt<std::uint32_t>(at) != c || offset > bytes || length > bytes - offset) {
            block.problem = "is damaged: a column lies outside";
            return block;
        }
        block.columns[c] = content().substr(place.begin + offset, length);
        block.sums[c] = numberAt<std::uint32_t>(at + 4);
    }
    const auto holds = [&](Column column, std::size_t each) {
        return block.columns[static_cast<std::size_t>(column)].size() == each * entries;
    };
    const std::size_t sketchLength = block.columns[static_cast<std::size_t>(Column::sketches)].size();
    if (!holds(Column::pathEnds, 4) || !holds(Column::fileBytes, 8) || !holds(Column::modified, 8) ||
        !holds(Column::sha256, 32) || !holds(Column::sizes, 8) || !holds(Column::textEnds, 4) ||
        !holds(Column::histogramEnds, 4) || !holds(Column::histogramSums, 4) ||
        sketchLength != (head_.edges ? sketchColumnBytes(entries) : 0)) {
        block.problem = "is damaged: a column has another length";
    }
    return block;
}

void ArchiveFile::addBlock(Block block) {
    size_ += block.place.entries;
    blocks_.push_back(std::move(block));
    if (!blocks_.back().problem.empty()) {
        damage_.push_back(named(blocks_.back()) + ' ' + blocks_.back().problem);
    }
}

std::size_t ArchiveFile::blockOf(std::size_t entry) const {
    if (entry >= size_) {
        throw std::out_of_range("archive: there is no such entry");
    }
    const auto after =
        std::upper_bound(blocks_.begin(), blocks_.end(), entry,
                         [](std::size_t number, const Block& block) { return number < block.place.firstEntry; });
    return static_cast<std::size_t>(after - blocks_.begin()) - 1;
}

std::string_view ArchiveFile::column(std::size_t number, Column which) const {
    const Block& block = blocks_[number];
    if (!block.problem.empty()) {
        throw ArchiveDamage(named(block) + ' ' + block.problem);
    }
    const auto c = static_cast<std::size_t>(which);
    if (which == Column::histograms) {
        return block.columns[c];
    }
    std::atomic<State>& state = states_[number * columns + c];
    State known = state.load(std::memory_order_relaxed);
    if (known == State::unknown) {
        known = checksum(block.columns[c]) == block.sums[c] ? State::good : State::bad;
        state.store(known, std::memory_order_relaxed);
    }
    if (known == State::bad) {
        throw ArchiveDamage(named(block) + " is damaged: a column has another checksum");
    }
    return block.columns[c];
}

template <typename Number>
Number ArchiveFile::value(std::size_t block, Column which, std::size_t index) const {
    return numberAt<Number>(column(block, which).data() + index * sizeof(Number));
}

std::string_view ArchiveFile::item(std::size_t block, Column ends, Column texts, std::size_t index) const {
    const std::uint32_t begin = index == 0 ? 0 : value<std::uint32_t>(block, ends, index - 1);
    const auto end = value<std::uint32_t>(block, ends, index);
    const std::string_view all = column(block, texts);
    if (begin > end || end > all.size()) {
        throw ArchiveDamage(named(blocks_[block]) + " is damaged: an item lies outside its column");
    }
    return all.substr(begin, end - begin);
}

std::string ArchiveFile::identity() const {
    std::string text = headText(head_) + (finished_ ? " finished " : " unfinished ") + std::to_string(length_);
    for (const Block& block : blocks_) {
        put(text, block.place.begin);
        for (const std::uint32_t sum : block.sums) {
            put(text, sum);
        }
    }
    return fmt::format("{:016x}", mixed(fnv1a(text)));
}

std::string_view ArchiveFile::pathOf(std::size_t entry) const {
    const std::size_t block = blockOf(entry);
    return item(block, Column::pathEnds, Column::paths, entry - blocks_[block].place.firstEntry);
}

std::string_view ArchiveFile::histograms(std::size_t entry, std::uint64_t& pixels) const {
    const std::size_t block = blockOf(entry);
    const std::size_t index = entry - blocks_[block].place.firstEntry;
    const std::string_view bytes = item(block, Column::histogramEnds, Column::histograms, index);
    if (checksum(bytes) != value<std::uint32_t>(block, Column::histogramSums, index)) {
        throw ArchiveDamage(named(blocks_[block]) + ": the histograms of entry " + std::to_string(entry + 1) +
                            " are damaged");
    }
    pixels = std::uint64_t{value<std::uint32_t>(block, Column::sizes, 2 * index)} *
             value<std::uint32_t>(block, Column::sizes, 2 * index + 1);
    return bytes;
}

bool ArchiveFile::analysed(std::size_t entry) const {
    const std::size_t block = blockOf(entry);
    const std::size_t index = entry - blocks_[block].place.firstEntry;
    const std::uint32_t begin = index == 0 ? 0 : value<std::uint32_t>(block, Column::histogramEnds, index - 1);
    return value<std::uint32_t>(block, Column::histogramEnds, index) > begin;
}

StoredEntry ArchiveFile::storedEntry(std::size_t entry) const {
    const std::size_t block = blockOf(entry);
    const std::size_t index = entry - blocks_[block].place.firstEntry;
    StoredEntry result;
    result.path = item(block, Column::pathEnds, Column::paths, index);
    result.bytes = value<std::uint64_t>(block, Column::fileBytes, index);
    result.modified = value<std::int64_t>(block, Column::modified, index);
    std::memcpy(result.sha256.data(), column(block, Column::sha256).data() + index * result.sha256.size(),
                result.sha256.size());
    result.width = value<std::uint32_t>(block, Column::sizes, 2 * index);
    result.height = value<std::uint32_t>(block, Column::sizes, 2 * index + 1);
    result.texts = item(block, Column::textEnds, Column::texts, index);
    std::uint64_t pixels = 0;
    result.histograms = histograms(entry, pixels);
    return result;
}

ArchivedPhotograph ArchiveFile::photograph(std::size_t entry) const {
    const std::size_t block = blockOf(entry);
    const std::size_t index = entry - blocks_[block].place.firstEntry;
    ArchivedPhotograph result;
    result.path = pathOf(entry);
    result.bytes = value<std::uint64_t>(block, Column::fileBytes, index);
    result.modified = value<std::int64_t>(block, Column::modified, index);
    std::memcpy(result.sha256.data(), column(block, Column::sha256).data() + index * result.sha256.size(),
                result.sha256.size());
    result.width = value<int>(block, Column::sizes, 2 * index);
    result.height = value<int>(block, Column::sizes, 2 * index + 1);
    std::string_view texts = item(block, Column::textEnds, Column::texts, index);
    for (std::size_t number = 0; !texts.empty(); ++number) {
        const std::size_t end = std::min(texts.find('\0'), texts.size() - 1);
        std::string text(texts.substr(0, end));
        texts.remove_prefix(end + 1);
        if (number == 0) {
            result.problem = std::move(text);
        } else if (number == 1) {
            result.profile = std::move(text);
        } else {
            result.remarks.push_back(std::move(text));
        }
    }
    if (result.analysed() != analysed(entry)) {
        throw ArchiveDamage(named(blocks_[block]) + ": entry " + std::to_string(entry + 1) +
                            " has a problem and an appearance, or neither");
    }
    return result;
}

AppearanceDistributions ArchiveFile::distributions(std::size_t entry) const {
    std::uint64_t pixels = 0;
    const std::string_view bytes = histograms(entry, pixels);
    if (bytes.empty()) {
        return {};
    }
    try {
        return decodedHistograms(bytes, pixels);
    } catch (const HistogramDamage& damage) {
        throw ArchiveDamage("'" + path_ + "', entry " + std::to_string(entry + 1) + ": " + damage.what());
    }
}

std::optional<std::size_t> ArchiveFile::find(std::string_view wanted) const {
    if (!finished_) {
        for (std::size_t entry = size_; entry-- > 0;) {
            if (pathOf(entry) == wanted) {
                return entry;
            }
        }
        return std::nullopt;
    }
    const auto foundWithin = [&](std::size_t begin, std::size_t end) {
        return foundAmong(begin, end, wanted, [this](std::size_t entry) { return pathOf(entry); });
    };
    try {
        return foundWithin(0, size_);
    } catch (const ArchiveDamage&) {  // what stands in a damaged block is not found
        for (const Block& block : blocks_) {
            try {
                if (const auto entry =
                        foundWithin(block.place.firstEntry, block.place.firstEntry + block.place.entries)) {
                    return entry;
                }
            } catch (const ArchiveDamage&) {
                continue;
            }
        }
        return std::nullopt;
    }
}

std::string_view ArchiveFile::sketches(std::size_t block) const {
    return column(block, Column::sketches);
}

void ArchiveFile::forget(std::size_t block) const noexcept {
    if (!blocks_[block].problem.empty()) {
        return;  // where it stands is not known
    }
    const auto page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    const std::uint64_t begin = (blocks_[block].place.begin + page - 1) / page * page;
    const std::uint64_t end = (blocks_[block].place.begin + blocks_[block].place.bytes) / page * page;
    if (end > begin) {
        ::madvise(const_cast<char*>(bytes_) + begin, end - begin, MADV_DONTNEED);
    }
}

void ArchiveFile::forgetIfLarge() const noexcept {
    constexpr std::uint64_t keptInMemory = std::uint64_t{1} << 26;
    if (length_ > keptInMemory) {
        ::madvise(const_cast<char*>(bytes_), length_, MADV_DONTNEED);
    }
}

std::vector<std::string> ArchiveFile::check() const {
    std::vector<std::string> found = damage_;
    std::string before;
    for (std::size_t b = 0; b < blocks_.size(); ++b) {
        const BlockPlace& place = blocks_[b].place;
        if (!blocks_[b].problem.empty()) {
            continue;  // told when it was opened
        }
        try {
            for (std::size_t c = 0; c < columns; ++c) {
                column(b, static_cast<Column>(c));
            }
        } catch (const ArchiveDamage& damage) {
            found.emplace_back(damage.what());
            continue;
        }
        for (std::size_t entry = place.firstEntry; entry < place.firstEntry + place.entries; ++entry) {
            try {
                distributions(entry);
                const ArchivedPhotograph its = photograph(entry);
                if (finished_ && entry > 0 && !before.empty() && its.path <= before) {
                    found.push_back(named(blocks_[b]) + ": entry " + std::to_string(entry + 1) + " is out of order");
                }
                before = its.path;
            } catch (const ArchiveDamage& damage) {
                found.emplace_back(damage.what());
            }
        }
        forget(b);
    }
    return found;
}

}  // namespace likeness
