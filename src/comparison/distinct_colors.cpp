#include "comparison/distinct_colors.hpp"

#include "comparison/color_slots.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/image_walk.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <numeric>
#include <stdexcept>
#include <utility>

namespace likeness {
namespace {

/// Pixels whose places are found at once.
constexpr std::size_t blockSize = 1024;

/// Calls visit(slots, count) for the pixels' places, row by row, some at a time.
template <typename Visit>
void forEachBlockOfSlots(const cv::Mat& photograph, ChannelOrder order, Visit visit) {
    std::uint32_t slots[blockSize];
    const ImageWalk walk = walkOver(photograph);
    for (int i = 0; i < walk.rows; ++i) {
        const uchar* const row = photograph.ptr<uchar>(i);
        const auto cols = static_cast<std::size_t>(walk.cols);
        for (std::size_t first = 0; first < cols; first += blockSize) {
            const std::size_t count = std::min(blockSize, cols - first);
            colorSlots(row + 3 * first, count, slots, order);
            visit(slots, count);
        }
    }
}

template <std::size_t count>
bool isZero(const std::uint8_t* entries) {
    std::uint64_t words[count / 8];
    std::memcpy(words, entries, count);
    std::uint64_t any = 0;
    for (const std::uint64_t word : words) {
        any |= word;
    }
    return any == 0;
}

/// Sorts places by their three bytes, the lowest first.
/// @param slots, spare  `count` elements each, both overwritten
/// @return              the one of the two that holds the result
std::uint32_t* sortPlaces(std::uint32_t* slots, std::uint32_t* spare, std::size_t count) {
    constexpr unsigned digits = 3;
    std::array<std::array<std::uint32_t, 256>, digits> begin{};
    const auto digitOf = [](std::uint32_t slot, unsigned digit) { return slot >> (8 * digit) & 255U; };
    for (std::size_t i = 0; i < count; ++i) {
        for (unsigned digit = 0; digit < digits; ++digit) {
            ++begin[digit][digitOf(slots[i], digit)];
        }
    }
    for (unsigned digit = 0; digit < digits; ++digit) {
        std::exclusive_scan(begin[digit].begin(), begin[digit].end(), begin[digit].begin(), 0U);
        for (std::size_t i = 0; i < count; ++i) {
            spare[begin[digit][digitOf(slots[i], digit)]++] = slots[i];
        }
        std::swap(slots, spare);
    }
    return slots;
}

}  // namespace

// Small pages, on purpose: calloc hands out untouched ones, and those that no colour falls on never become memory.
struct ColorCounter::PlaceTable {
    PlaceTable() : entries(static_cast<std::uint32_t*>(std::calloc(colorSlotCount, sizeof(std::uint32_t)))) {
        if (entries == nullptr) {
            throw std::bad_alloc();
        }
    }
    ~PlaceTable() { std::free(entries); }
    PlaceTable(const PlaceTable&) = delete;
    PlaceTable& operator=(const PlaceTable&) = delete;

    std::uint32_t* entries;
};

ColorCounter::ColorCounter() = default;
ColorCounter::~ColorCounter() = default;

void ColorCounter::clear() noexcept {
    std::fill_n(counts_.data(), colorSlotCount, std::uint8_t{0});
}

void ColorCounter::begin(std::size_t pixels) {
    const bool interrupted = way_ == Way::inTable || way_ == Way::inTableOfPieces;
    way_ = Way::none;
    if (interrupted) {
        clear();
    }
    expected_ = pixels;
    entered_ = 0;
    const std::size_t small = isFirst_ ? smallAsFirst : smallThereafter;
    isFirst_ = false;
    if (pixels <= small) {
        if (slots_.size() < pixels) {
            slots_.resize(pixels);
            pixels_.resize(pixels);
        }
        way_ = Way::sorted;
        return;
    }
    if (counts_.data() == nullptr) {
        counts_ = numerics::HugePages(colorSlotCount);
        clear();
    }
    carries_.clear();
    // Tracking pieces costs a store per pixel; scanning all of them costs a fixed time.
    constexpr std::size_t worthwhile = std::size_t{3} << 19;
    if (pixels < worthwhile) {
        touched_.fill(false);
        way_ = Way::inTableOfPieces;
    } else {
        touched_.fill(true);
        way_ = Way::inTable;
    }
}

void ColorCounter::add(const cv::Mat& rows, ChannelOrder order) {
    requireType("ColorCounter::add", CV_8UC3, {{"rows", rows}});
    entered_ += rows.total();
    if (way_ == Way::none || entered_ > expected_) {
        throw std::logic_error("ColorCounter::add: more pixels than were said to come");
    }
    if (way_ == Way::sorted) {
        std::uint32_t* place = slots_.data() + (entered_ - rows.total());
        forEachBlockOfSlots(rows, order, [&place](const std::uint32_t* slots, std::size_t count) {
            place = std::copy_n(slots, count, place);
        });
    } else if (way_ == Way::inTableOfPieces) {
        enter<true>(rows, order);
    } else {
        enter<false>(rows, order);
    }
}

std::size_t ColorCounter::takeOut() {
    if (way_ == Way::none || entered_ != expected_) {
        throw std::logic_error("ColorCounter::finish: fewer pixels than were said to come");
    }
    const std::size_t found = way_ == Way::sorted ? takeOutSorted() : takeOutOfTable();
    way_ = Way::none;
    return found;
}

DistinctColors ColorCounter::finish() {
    const std::size_t found = takeOut();
    found_ = found;
    DistinctColors result;
    result.counts.assign(pixels_.begin(), pixels_.begin() + static_cast<std::ptrdiff_t>(found));
    if (found > 0) {
        result.bgr.create(1, static_cast<int>(found), CV_8UC3);
        std::transform(slots_.begin(), slots_.begin() + static_cast<std::ptrdiff_t>(found),
                       result.bgr.ptr<cv::Vec3b>(0), colorOfSlot);
    }
    return result;
}

DistinctColors ColorCounter::count(const cv::Mat& photograph, bool withIndices) {
    requireType("ColorCounter::count", CV_8UC3, {{"photograph", photograph}});
    begin(photograph.total());
    add(photograph);
    DistinctColors result = finish();
    if (withIndices) {
        result.indices = indicesOf(photograph, result.counts.size());
    }
    return result;
}

std::size_t ColorCounter::takeOutSorted() {
    const std::uint32_t* const sorted = sortPlaces(slots_.data(), pixels_.data(), entered_);
    std::size_t found = 0;
    for (std::size_t i = 0; i < entered_; ++found) {  // writes where has been read already
        const std::uint32_t slot = sorted[i];
        const std::size_t first = i;
        while (i < entered_ && sorted[i] == slot) {
            ++i;
        }
        slots_[found] = slot;
        pixels_[found] = static_cast<std::uint32_t>(i - first);
    }
    return found;
}

template <bool tracksPieces>
void ColorCounter::enter(const cv::Mat& photograph, ChannelOrder order) {
    // An entry of one byte keeps the table in the cache. It counts from 1 to 255; the next pixel of the colour carries
    // 255 over and leaves 1.
    std::uint8_t* const entries = counts_.data();
    bool* const touched = touched_.data();
    const auto enterOne = [=, this](std::uint32_t slot) {
        if constexpr (tracksPieces) {
            touched[slot / pieceSize] = true;
        } else {
            static_cast<void>(touched);
        }
        if (++entries[slot] == 0) {
            entries[slot] = 1;
            carries_.push_back(slot);
        }
    };
    // Neighbours are often of one colour, and an increment waits for the last one of its entry: four places of the
    // block take turns.
    forEachBlockOfSlots(photograph, order, [&enterOne](const std::uint32_t* slots, std::size_t count) {
        const std::size_t quarter = count / 4;
        for (std::size_t i = 0; i < quarter; ++i) {
            enterOne(slots[i]);
            enterOne(slots[i + quarter]);
            enterOne(slots[i + 2 * quarter]);
            enterOne(slots[i + 3 * quarter]);
        }
        std::for_each(slots + 4 * quarter, slots + count, enterOne);
    });
}

std::size_t ColorCounter::takeOutOfTable() {
    std::size_t found = 0;
    for (std::size_t piece = 0; piece < touched_.size(); ++piece) {
        if (!touched_[piece]) {
            continue;
        }
        touched_[piece] = false;
        if (slots_.size() < found + pieceSize) {
            slots_.resize(2 * (found + pieceSize));
            pixels_.resize(slots_.size());
        }
        found += takeOutOfPiece(static_cast<std::uint32_t>(piece * pieceSize), slots_.data() + found,
                                pixels_.data() + found);
    }
    std::sort(carries_.begin(), carries_.end());
    auto place = slots_.begin();
    const auto end = slots_.begin() + static_cast<std::ptrdiff_t>(found);
    for (auto carry = carries_.begin(); carry != carries_.end();) {
        const auto next = std::upper_bound(carry, carries_.end(), *carry);
        place = std::lower_bound(place, end, *carry);
        pixels_[static_cast<std::size_t>(place - slots_.begin())] += 255 * static_cast<std::uint32_t>(next - carry);
        carry = next;
    }
    return found;
}

std::size_t ColorCounter::takeOutOfPiece(std::uint32_t first, std::uint32_t* slots, std::uint32_t* pixels) {
    std::uint8_t* const entries = counts_.data() + first;
    constexpr std::uint32_t line = 64;
    std::size_t found = 0;
    for (std::uint32_t k = 0; k < pieceSize; k += 8) {
        if (k % line == 0 && isZero<line>(entries + k)) {
            k += line - 8;
            continue;
        }
        if (isZero<8>(entries + k)) {
            continue;
        }
        // Each entry is written out, and kept if there is a colour: which one is, no processor foresees.
        for (std::uint32_t e = 0; e < 8; ++e) {
            const std::uint8_t entry = entries[k + e];
            slots[found] = first + k + e;
            pixels[found] = entry;
            found += entry != 0 ? 1 : 0;
        }
        std::fill_n(entries + k, 8, std::uint8_t{0});
    }
    return found;
}

template <typename PlaceOf>
cv::Mat ColorCounter::indicesBy(const cv::Mat& photograph, PlaceOf placeOf) {
    const std::size_t bytes = photograph.total() * sizeof(int);
    if (indices_.size() < bytes) {
        indices_ = numerics::HugePages();  // given back first: the two need not be there at the same time
        indices_ = numerics::HugePages(bytes);
    }
    cv::Mat indices(photograph.size(), CV_32S, indices_.data());
    auto* index = reinterpret_cast<std::uint32_t*>(indices_.data());  // without gaps: row follows row
    forEachBlockOfSlots(photograph, ChannelOrder::bgr, [&](const std::uint32_t* slots, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            *index++ = placeOf(slots[i]);
        }
    });
    return indices;
}

cv::Mat ColorCounter::indicesOf(const cv::Mat& photograph, std::size_t colors) {
    if (placeOf_ == nullptr && photograph.total() <= smallThereafter) {
        const auto begin = slots_.begin();
        const auto end = begin + static_cast<std::ptrdiff_t>(colors);
        return indicesBy(photograph, [begin, end](std::uint32_t slot) {
            return static_cast<std::uint32_t>(std::lower_bound(begin, end, slot) - begin);
        });
    }
    const std::uint32_t* const places = colorsBySlot();
    return indicesBy(photograph, [places](std::uint32_t slot) { return places[slot]; });
}

const std::uint32_t* ColorCounter::colorsBySlot() {
    if (placeOf_ == nullptr) {
        placeOf_ = std::make_unique<PlaceTable>();
    }
    std::uint32_t* const places = placeOf_->entries;  // need not be cleared: every colour of the photograph is set
    for (std::size_t k = 0; k < found_; ++k) {
        places[slots_[k]] = static_cast<std::uint32_t>(k);
    }
    return places;
}

namespace {

template <typename Element>
void expandElements(const cv::Mat& perColor, const cv::Mat& indices, cv::Mat& expanded) {
    const auto* const values = perColor.ptr<Element>(0);
    for (int i = 0; i < indices.rows; ++i) {
        const int* const index = indices.ptr<int>(i);
        auto* const out = expanded.ptr<Element>(i);
        for (int j = 0; j < indices.cols; ++j) {
            out[j] = values[index[j]];
        }
    }
}

}  // namespace

DistinctUnitColors distinctUnitColors(const cv::Mat& unit) {
    requireType("distinctUnitColors", CV_32FC3, {{"unit", unit}});
    struct Color {
        std::uint32_t bits[3];
        bool operator==(const Color&) const = default;
    };
    DistinctUnitColors result;
    std::vector<Color> colors;
    // Open addressing, at most half full; an entry is 1 more than an index.
    std::vector<std::uint32_t> table(std::size_t{1} << 12);
    const auto place = [&table](const Color& color) {
        std::uint64_t hash = color.bits[0] | static_cast<std::uint64_t>(color.bits[1]) << 32;
        hash = (hash ^ color.bits[2] * 0x9E3779B97F4A7C15U) * 0xD6E8FEB86659FD93U;
        return static_cast<std::size_t>(hash ^ hash >> 32) & (table.size() - 1);
    };
    const auto find = [&](const Color& color) {
        std::size_t at = place(color);
        while (table[at] != 0 && !(colors[table[at] - 1] == color)) {
            at = (at + 1) & (table.size() - 1);
        }
        return at;
    };
    result.indices.create(unit.size(), CV_32S);
    std::size_t pixels = 0;
    for (int i = 0; i < unit.rows; ++i) {
        const auto* pixel = unit.ptr<uchar>(i);
        int* const index = result.indices.ptr<int>(i);
        for (int j = 0; j < unit.cols; ++j, pixel += sizeof(Color)) {
            Color color{};
            std::memcpy(&color, pixel, sizeof(Color));
            const std::size_t at = find(color);
            if (table[at] == 0) {
                colors.push_back(color);
                result.counts.push_back(0);
                table[at] = static_cast<std::uint32_t>(colors.size());
                if (2 * colors.size() > table.size()) {
                    table.assign(4 * table.size(), 0);
                    for (std::size_t k = 0; k < colors.size(); ++k) {
                        table[find(colors[k])] = static_cast<std::uint32_t>(k + 1);
                    }
                }
                index[j] = static_cast<int>(colors.size() - 1);
            } else {
                index[j] = static_cast<int>(table[at] - 1);
            }
            ++result.counts[static_cast<std::size_t>(index[j])];
        }
        pixels += static_cast<std::size_t>(unit.cols);
        constexpr std::size_t afterPixels = std::size_t{1} << 14;  // the first rows may be sky
        if (pixels > afterPixels && 2 * colors.size() > pixels) {
            return {};
        }
    }
    if (2 * colors.size() > pixels) {
        return {};
    }
    result.bgr.create(1, static_cast<int>(colors.size()), CV_32FC3);
    if (!colors.empty()) {
        std::memcpy(result.bgr.data, colors.data(), colors.size() * sizeof(Color));
    }
    return result;
}

cv::Mat expandColors(const cv::Mat& perColor, const cv::Mat& indices, cv::Mat reuse) {
    requireType("expandColors", CV_32S, {{"indices", indices}});
    if (!indices.empty()) {
        requireRoom("expandColors", {1, 1}, perColor.type(), {{"perColor", perColor}});
    }
    cv::Mat expanded = std::move(reuse);
    expanded.create(indices.size(), perColor.type());
    const std::size_t bytes = perColor.elemSize();
    if (bytes == 1) {
        expandElements<uchar>(perColor, indices, expanded);
    } else if (bytes == sizeof(float)) {
        expandElements<std::uint32_t>(perColor, indices, expanded);
    } else {
        const uchar* const values = perColor.ptr<uchar>(0);
        for (int i = 0; i < indices.rows; ++i) {
            const int* const index = indices.ptr<int>(i);
            uchar* out = expanded.ptr<uchar>(i);
            for (int j = 0; j < indices.cols; ++j, out += bytes) {
                std::memcpy(out, values + static_cast<std::size_t>(index[j]) * bytes, bytes);
            }
        }
    }
    return expanded;
}

}  // namespace likeness
