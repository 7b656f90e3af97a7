#include "app/distinct_colors.hpp"

#include <array>
#include <cstdlib>
#include <cstring>
#include <new>

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

struct ColorCounter::Table {
    // calloc hands out untouched pages: those that no colour falls on never become memory.
    Table() : entries(static_cast<std::uint32_t*>(std::calloc(tableSize, sizeof(std::uint32_t)))) {
        if (entries == nullptr) {
            throw std::bad_alloc();
        }
    }
    ~Table() { std::free(entries); }
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;

    /// Makes the entries of `colors` zero again.
    void clear(const std::vector<cv::Vec3b>& colors) noexcept {
        for (const cv::Vec3b& color : colors) {
            entries[slotOf(color.val)] = 0;
        }
    }

    std::uint32_t* entries;
};

ColorCounter::ColorCounter() : table_(std::make_unique<Table>()) {}
ColorCounter::~ColorCounter() = default;

DistinctColors ColorCounter::count(const cv::Mat& photograph, bool withIndices) {
    std::uint32_t* const entries = table_->entries;
    DistinctColors result;
    std::vector<cv::Vec3b> colors;
    // Also when memory runs out on the way: the next photograph must find an empty table.
    const auto clearAtExit = [this](const std::vector<cv::Vec3b>* entered) { table_->clear(*entered); };
    const std::unique_ptr<std::vector<cv::Vec3b>, decltype(clearAtExit)> cleared(&colors, clearAtExit);
    const auto enter = [&colors](const uchar* pixel) { colors.emplace_back(pixel[0], pixel[1], pixel[2]); };

    for (int i = 0; i < photograph.rows; ++i) {
        const uchar* pixel = photograph.ptr<uchar>(i);
        for (int j = 0; j < photograph.cols; ++j, pixel += 3) {
            if (entries[slotOf(pixel)]++ == 0) {
                enter(pixel);
            }
        }
    }
    result.counts.reserve(colors.size());
    for (const cv::Vec3b& color : colors) {
        result.counts.push_back(entries[slotOf(color.val)]);
    }
    if (withIndices) {
        // A second walk that only reads the table is faster than keeping count and index up to date in one.
        std::uint32_t next = 0;
        for (const cv::Vec3b& color : colors) {
            entries[slotOf(color.val)] = next++;
        }
        indices_.create(photograph.size(), CV_32S);
        for (int i = 0; i < photograph.rows; ++i) {
            const uchar* pixel = photograph.ptr<uchar>(i);
            auto* const index = indices_.ptr<std::uint32_t>(i);
            for (int j = 0; j < photograph.cols; ++j, pixel += 3) {
                index[j] = entries[slotOf(pixel)];
            }
        }
        result.indices = indices_;
    }
    if (!colors.empty()) {
        result.bgr = cv::Mat(1, static_cast<int>(colors.size()), CV_8UC3, colors.data()).clone();
    }
    return result;
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

void expandColors(const cv::Mat& perColor, const cv::Mat& indices, cv::Mat& expanded) {
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
}

}  // namespace likeness
