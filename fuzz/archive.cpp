// Archives of analysed photographs. With an odd first byte the checksums are made right, so that what stands behind them
// is met.
#include "archive/archive.hpp"
#include "harness.hpp"

#include <cstring>

using namespace likeness;
using namespace likeness::archive;
using namespace likeness::fuzz;

namespace {

class Bytes {
public:
    explicit Bytes(std::string& bytes) : bytes_(bytes) {}

    bool holds(std::uint64_t at, std::uint64_t length) const {
        return at <= bytes_.size() && length <= bytes_.size() - at;
    }
    template <typename Number>
    Number number(std::uint64_t at) const {
        return numberAt<Number>(bytes_.data() + at);
    }
    template <typename Number>
    void set(std::uint64_t at, Number number) {
        std::memcpy(bytes_.data() + at, &number, sizeof number);
    }
    /// Puts the checksum of a span where it belongs.
    void sum(std::uint64_t begin, std::uint64_t length, std::uint64_t place) {
        if (holds(begin, length) && holds(place, 4)) {
            set(place, checksum(std::string_view(bytes_).substr(begin, length)));
        }
    }
    bool says(std::uint64_t at, std::string_view magic) const {
        return holds(at, magic.size()) && std::string_view(bytes_).substr(at, magic.size()) == magic;
    }
    std::uint64_t size() const { return bytes_.size(); }

private:
    std::string& bytes_;
};

void sumColumns(Bytes& bytes, std::uint64_t block) {
    const std::uint64_t directory = block + blockHeadBytes;
    const auto place = [&](Column column) { return directory + static_cast<std::uint64_t>(column) * columnPlaceBytes; };
    const auto offset = [&](Column column) { return block + bytes.number<std::uint64_t>(place(column) + 8); };
    const auto entries = bytes.number<std::uint32_t>(block + 12);
    std::uint32_t begin = 0;
    for (std::uint32_t entry = 0; entry < entries; ++entry) {
        const std::uint64_t end = offset(Column::histogramEnds) + 4ULL * entry;
        if (!bytes.holds(end, 4)) {
            break;
        }
        const auto its = bytes.number<std::uint32_t>(end);
        if (its < begin) {
            break;
        }
        bytes.sum(offset(Column::histograms) + begin, its - begin, offset(Column::histogramSums) + 4ULL * entry);
        begin = its;
    }
    for (std::size_t c = 0; c < columns; ++c) {
        const std::uint64_t at = directory + c * columnPlaceBytes;
        if (c != static_cast<std::size_t>(Column::histograms)) {
            bytes.sum(block + bytes.number<std::uint64_t>(at + 8), bytes.number<std::uint64_t>(at + 16), at + 4);
        }
    }
    bytes.sum(directory, columns * columnPlaceBytes, block + 28);
    bytes.sum(block, 60, block + 60);
}

void makeSumsRight(std::string& text) {
    Bytes bytes(text);
    if (bytes.size() < fileHeadBytes) {
        return;
    }
    bytes.sum(fileHeadBytes, bytes.number<std::uint64_t>(16), 24);
    bytes.sum(0, 28, 28);
    for (std::uint64_t at = 0; at < bytes.size(); at += alignment) {
        if (bytes.says(at, blockMagic) && bytes.holds(at, blockHeadBytes + columns * columnPlaceBytes)) {
            sumColumns(bytes, at);
        }
    }
    if (bytes.size() < tailBytes) {
        return;
    }
    const std::uint64_t tail = bytes.size() - tailBytes;
    const auto foot = bytes.number<std::uint64_t>(tail + 8);
    bytes.set(tail + 16, bytes.size());
    if (foot <= tail) {
        bytes.sum(foot, tail - foot, tail + 24);
    }
    bytes.sum(tail, 28, tail + 28);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    const bool sums = choices.byte() % 2 == 1;
    std::string bytes = choices.rest();
    if (sums) {
        makeSumsRight(bytes);
    }
    const std::string path = scratchPath("an.archive");
    writeFile(path, bytes);
    try {
        const Archive archive(path);
        const bool sound = archive.damage().empty() && archive.check().empty();
        require(archive.identity().size() == 16, "an archive has an identity");
        for (std::size_t entry = 0; entry < archive.size(); ++entry) {
            try {
                const ArchivedPhotograph photograph = archive.photograph(entry);
                require(photograph.path == archive.pathOf(entry), "an entry has one path");
                require(photograph.analysed() == archive.analysed(entry), "an entry is analysed or not");
                archive.distributions(entry);
                archive.find(photograph.path);
            } catch (const ArchiveDamage& damage) {
                require(!sound, std::string("what is checked can be read: ") + damage.what());
            }
        }
    } catch (const Refusal&) {
    }
    return 0;
}
