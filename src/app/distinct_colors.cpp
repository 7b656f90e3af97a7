#include "app/distinct_colors.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <new>
#include <unordered_map>
#include <utility>

namespace likeness {
namespace {

constexpr std::size_t tableSize = std::size_t{1} << 24;

/// Spreads the eight bits of a channel to every third bit.
constexpr std::uint32_t spreadBits(std::uint32_t channel) {
    std::uint32_t spread = 0;
    for (unsigned bit = 0; bit < 8; ++bit) {
        spread |= (channel >> bit & 1U) << (3 * bit);
    }
    return spread;
}

constexpr auto spreadTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t value = 0; value < table.size(); ++value) {
        table[value] = spreadBits(value);
    }
    return table;
}();

/// Place of a colour in the table. The bits of the channels are interleaved (a Morton code): similar colours stand
/// close together, so that a photograph with noise stays in the cache and touches few pages.
inline std::uint32_t slotOf(const uchar* bgr) noexcept {
    return spreadTable[bgr[0]] | spreadTable[bgr[1]] << 1U | spreadTable[bgr[2]] << 2U;
}

}  // namespace

// Small pages, on purpose: calloc hands out untouched ones, and those that no colour falls on never become memory.
struct ColorCounter::PlaceTable {
    PlaceTable() : entries(static_cast<std::uint32_t*>(std::calloc(tableSize, sizeof(std::uint32_t)))) {
        if (entries == nullptr) {
            throw std::bad_alloc();
        }
    }
    ~PlaceTable() { std::free(entries); }
    PlaceTable(const PlaceTable&) = delete;
    PlaceTable& operator=(const PlaceTable&) = delete;

    std::uint32_t* entries;
};

ColorCounter::ColorCounter() : counts_(tableSize) {
    std::fill_n(counts_.data(), tableSize, std::uint8_t{0});
}
ColorCounter::~ColorCounter() = default;

DistinctColors ColorCounter::count(const cv::Mat& photograph, bool withIndices) {
    DistinctColors result;
    std::vector<cv::Vec3b> colors;
    std::uint8_t* const entries = counts_.data();
    // Also when memory runs out on the way: the next photograph must find an empty table.
    const auto clear = [entries](const std::vector<cv::Vec3b>* entered) {
        for (const cv::Vec3b& color : *entered) {
            entries[slotOf(color.val)] = 0;
        }
    };
    const std::unique_ptr<std::vector<cv::Vec3b>, decltype(clear)> clearedAtExit(&colors, clear);

    // An entry of one byte keeps the table in the cache. It counts from 1 to 254; the next pixel of the colour carries
    // 254 over and leaves 1. 255 marks, after the walk, a colour with a carry.
    constexpr std::uint8_t full = 254;
    constexpr std::uint8_t carried = 255;
    std::vector<std::uint32_t> carries;
    for (int i = 0; i < photograph.rows; ++i) {
        const uchar* pixel = photograph.ptr<uchar>(i);
        for (int j = 0; j < photograph.cols; ++j, pixel += 3) {
            const std::uint32_t slot = slotOf(pixel);
            const std::uint8_t seen = entries[slot];
            entries[slot] = static_cast<std::uint8_t>(seen + 1);
            if (static_cast<std::uint8_t>(seen - 1) >= full - 1) {  // 0 or full
                if (seen == 0) {
                    colors.emplace_back(pixel[0], pixel[1], pixel[2]);
                } else {
                    entries[slot] = 1;
                    carries.push_back(slot);
                }
            }
        }
    }
    std::unordered_map<std::uint32_t, std::uint32_t> totals;
    for (const std::uint32_t slot : carries) {
        const auto [total, first] = totals.try_emplace(slot, entries[slot]);
        entries[slot] = carried;
        total->second += full;
    }
    result.counts.reserve(colors.size());
    for (const cv::Vec3b& color : colors) {
        const std::uint32_t slot = slotOf(color.val);
        result.counts.push_back(entries[slot] == carried ? totals[slot] : entries[slot]);
    }
    if (withIndices) {
        result.indices = indicesOf(photograph, colors);
    }
    if (!colors.empty()) {
        result.bgr = cv::Mat(1, static_cast<int>(colors.size()), CV_8UC3, colors.data()).clone();
    }
    return result;
}

cv::Mat ColorCounter::indicesOf(const cv::Mat& photograph, const std::vector<cv::Vec3b>& colors) {
    if (placeOf_ == nullptr) {
        placeOf_ = std::make_unique<PlaceTable>();
    }
    std::uint32_t* const places = placeOf_->entries;  // need not be cleared: every colour of the photograph is set
    std::uint32_t next = 0;
    for (const cv::Vec3b& color : colors) {
        places[slotOf(color.val)] = next++;
    }
    const std::size_t bytes = photograph.total() * sizeof(int);
    if (indices_.size() < bytes) {
        indices_ = numerics::LargePages();  // given back first: the two need not be there at the same time
        indices_ = numerics::LargePages(bytes);
    }
    cv::Mat indices(photograph.size(), CV_32S, indices_.data());
    for (int i = 0; i < photograph.rows; ++i) {
        const uchar* pixel = photograph.ptr<uchar>(i);
        auto* const index = indices.ptr<std::uint32_t>(i);
        for (int j = 0; j < photograph.cols; ++j, pixel += 3) {
            index[j] = places[slotOf(pixel)];
        }
    }
    return indices;
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

cv::Mat expandColors(const cv::Mat& perColor, const cv::Mat& indices, cv::Mat reuse) {
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
