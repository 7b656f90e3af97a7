#include "photofile/av1_colors.hpp"

#include "photofile/header_bytes.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace likeness {
namespace {

constexpr std::uint64_t fullBox = 4;  ///< a version and flags before the content
constexpr std::uint64_t mostItems = std::uint64_t{1} << 12;

/// The bits of a stream, the highest of a byte first. What lies behind the end is 0, and `good` is false from then on.
class StreamBits {
public:
    explicit StreamBits(std::vector<unsigned char> bytes) : bytes_(std::move(bytes)) {}

    bool good() const noexcept { return at_ <= 8 * bytes_.size(); }

    std::uint32_t take(int count) {
        std::uint32_t value = 0;
        for (int k = 0; k < count; ++k, ++at_) {
            const std::size_t byte = at_ / 8;
            value = value << 1 | (byte < bytes_.size() ? bytes_[byte] >> (7 - at_ % 8) & 1U : 0U);
        }
        return value;
    }
    bool flag() { return take(1) != 0; }
    void skip(int count) { at_ += static_cast<std::size_t>(count); }

    /// AV1, 4.10.3.
    void skipVariableLength() {
        int zeros = 0;
        while (zeros < 32 && good() && !flag()) {
            ++zeros;
        }
        skip(zeros < 32 ? zeros : 0);
    }

private:
    std::vector<unsigned char> bytes_;
    std::size_t at_ = 0;
};

/// AV1, 5.5.1, 5.5.3 and 5.5.4: times, and the operating points that they are told for.
void skipOperatingPoints(StreamBits& bits) {
    bool decoderModel = false;
    int delayBits = 0;
    if (bits.flag()) {  // timing_info_present_flag
        bits.skip(64);
        if (bits.flag()) {
            bits.skipVariableLength();
        }
        decoderModel = bits.flag();
        if (decoderModel) {
            delayBits = static_cast<int>(bits.take(5)) + 1;
            bits.skip(32 + 5 + 5);
        }
    }
    const bool displayDelay = bits.flag();
    const std::uint32_t points = bits.take(5) + 1;
    for (std::uint32_t k = 0; k < points; ++k) {
        bits.skip(12);
        constexpr std::uint32_t levelsWithoutTier = 7;
        if (bits.take(5) > levelsWithoutTier) {
            bits.skip(1);
        }
        if (decoderModel && bits.flag()) {
            bits.skip(2 * delayBits + 1);
        }
        if (displayDelay && bits.flag()) {
            bits.skip(4);
        }
    }
}

/// AV1, 5.5.1: the tools of pictures that are no single still.
void skipToolsOfSequences(StreamBits& bits) {
    bits.skip(4);
    const bool orderHint = bits.flag();
    bits.skip(orderHint ? 2 : 0);
    const bool choosesScreenTools = bits.flag();
    if (choosesScreenTools || bits.flag()) {
        if (!bits.flag()) {
            bits.skip(1);
        }
    }
    bits.skip(orderHint ? 3 : 0);
}

/// AV1, 5.5.1 and 5.5.2.
std::optional<std::array<int, 2>> codePointsOfSequence(StreamBits bits) {
    const std::uint32_t profile = bits.take(3);
    bits.skip(1);
    const bool reduced = bits.flag();
    if (reduced) {
        bits.skip(5);
    } else {
        skipOperatingPoints(bits);
    }
    const int widthBits = static_cast<int>(bits.take(4)) + 1;
    const int heightBits = static_cast<int>(bits.take(4)) + 1;
    bits.skip(widthBits + heightBits);
    if (!reduced && bits.flag()) {
        bits.skip(4 + 3);
    }
    bits.skip(3);
    if (!reduced) {
        skipToolsOfSequences(bits);
    }
    bits.skip(3);
    const bool deep = bits.flag();
    bits.skip(profile == 2 && deep ? 1 : 0);
    bits.skip(profile == 1 ? 0 : 1);
    const bool told = bits.flag();
    const auto primaries = static_cast<int>(bits.take(8));
    const auto transfer = static_cast<int>(bits.take(8));
    constexpr int unspecified = 2;
    if (!told || !bits.good() || (primaries == unspecified && transfer == unspecified)) {
        return std::nullopt;
    }
    return std::array{primaries, transfer};
}

/// AV1, 5.3: looks for the sequence header among the units of a stream.
std::optional<std::array<int, 2>> codePointsInUnits(HeaderBytes& file, std::uint64_t at, std::uint64_t end) {
    constexpr int mostUnits = 64;
    for (int unit = 0; unit < mostUnits && at < end && file.good(); ++unit) {
        const std::uint64_t header = file.big(at, 1);
        at += (header & 4) != 0 ? 2 : 1;
        std::uint64_t size = end - std::min(at, end);
        if ((header & 2) != 0) {
            size = 0;
            for (unsigned k = 0, more = 1; k < 8 && more != 0; ++k) {
                const std::uint64_t byte = file.big(at++, 1);
                size |= (byte & 127) << 7 * k;
                more = static_cast<unsigned>(byte >> 7);
            }
        }
        constexpr std::uint64_t sequenceHeader = 1;
        if ((header >> 3 & 15) == sequenceHeader) {
            constexpr std::uint64_t longest = 1024;
            return codePointsOfSequence(StreamBits(file.bytes(at, std::min(size, longest))));
        }
        at += size;
    }
    return std::nullopt;
}

/// Where the main picture of a file stands (ISO/IEC 14496-12, 8.11).
class MainPicture {
public:
    explicit MainPicture(HeaderBytes& file) : file_(file) {
        forEachBox(file_, 0, wholeFile, [this](const Box& box) {
            if (!file_.holds(box.at + 4, "meta")) {
                return true;
            }
            readMeta(box);
            return false;
        });
    }

    bool found() const noexcept { return end_ > begin_; }
    std::uint64_t begin() const noexcept { return begin_; }
    std::uint64_t end() const noexcept { return end_; }

private:
    void readMeta(const Box& meta) {
        std::optional<Box> places;
        std::optional<Box> references;
        std::optional<Box> data;
        std::uint64_t item = 0;
        forEachBox(file_, meta.content + fullBox, meta.end, [&](const Box& box) {
            if (file_.holds(box.at + 4, "pitm")) {
                item = file_.big(box.content + fullBox, file_.big(box.content, 1) == 0 ? 2 : 4);
            } else if (file_.holds(box.at + 4, "iloc")) {
                places = box;
            } else if (file_.holds(box.at + 4, "iref")) {
                references = box;
            } else if (file_.holds(box.at + 4, "idat")) {
                data = box;
            }
            return true;
        });
        if (references) {
            item = firstTileOf(*references, item);
        }
        if (places) {
            readPlace(*places, item, data);
        }
    }

    /// @return  `item`, if it is not made of others
    std::uint64_t firstTileOf(const Box& references, std::uint64_t item) {
        const std::size_t idBytes = file_.big(references.content, 1) == 0 ? 2 : 4;
        std::uint64_t tile = item;
        forEachBox(file_, references.content + fullBox, references.end, [&](const Box& box) {
            if (file_.holds(box.at + 4, "dimg") && file_.big(box.content, idBytes) == item &&
                file_.big(box.content + idBytes, 2) > 0) {
                tile = file_.big(box.content + idBytes + 2, idBytes);
            }
            return tile == item;
        });
        return tile;
    }

    void readPlace(const Box& box, std::uint64_t item, const std::optional<Box>& data) {
        const std::uint64_t version = file_.big(box.content, 1);
        const std::uint64_t sizes = file_.big(box.content + fullBox, 2);
        const auto size = [sizes](int shift) { return std::min<std::size_t>(sizes >> shift & 15, 8); };
        const std::size_t offsetBytes = size(12);
        const std::size_t lengthBytes = size(8);
        const std::size_t baseBytes = size(4);
        const std::size_t indexBytes = version == 0 ? 0 : size(0);
        const std::size_t idBytes = version < 2 ? 2 : 4;
        std::uint64_t at = box.content + fullBox + 2;
        const std::uint64_t count = std::min(file_.big(at, idBytes), mostItems);
        at += idBytes;
        for (std::uint64_t k = 0; k < count && at < box.end && file_.good(); ++k) {
            const std::uint64_t id = file_.big(at, idBytes);
            at += idBytes;
            const std::uint64_t construction = version == 0 ? 0 : file_.big(at, 2) & 15;
            at += (version == 0 ? 0 : 2) + 2;
            const std::uint64_t base = file_.big(at, baseBytes);
            at += baseBytes;
            const std::uint64_t extents = file_.big(at, 2);
            at += 2;
            if (id == item && extents > 0) {
                const bool inData = construction == 1 && data.has_value();
                constexpr std::uint64_t farthest = std::uint64_t{1} << 60;
                const std::uint64_t offset = file_.big(at + indexBytes, offsetBytes);
                const std::uint64_t length = file_.big(at + indexBytes + offsetBytes, lengthBytes);
                if (file_.good() && (construction == 0 || inData) && std::max({base, offset, length}) < farthest) {
                    begin_ = base + offset + (inData ? data->content : 0);
                    end_ = begin_ + length;
                }
                return;
            }
            at += extents * (indexBytes + offsetBytes + lengthBytes);
        }
    }

    HeaderBytes& file_;
    std::uint64_t begin_ = 0;
    std::uint64_t end_ = 0;
};

}  // namespace

std::optional<std::array<int, 2>> codePointsOfAv1(const ByteSource& source) {
    HeaderBytes file(source);
    const MainPicture picture(file);
    return picture.found() ? codePointsInUnits(file, picture.begin(), picture.end()) : std::nullopt;
}

}  // namespace likeness
