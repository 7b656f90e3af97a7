#include "comparison/weighted_colors.hpp"

#include "comparison/color_slots.hpp"
#include "comparison/distinct_colors.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <numeric>
#include <utility>
#include <vector>

namespace likeness {
namespace {

constexpr std::size_t blockSize = 1024;
constexpr std::uint64_t mostOfEntry = std::numeric_limits<std::uint32_t>::max();

/// Calls visit(slots, weights, count) for the pixels, some at a time.
template <typename Visit>
void forEachBlock(const cv::Mat& pixels, const cv::Mat& weights, Visit visit) {
    std::uint32_t slots[blockSize];
    const uchar* const bgr = pixels.ptr<uchar>(0);
    const auto* const weight = weights.ptr<ushort>(0);
    const std::size_t all = pixels.total();
    for (std::size_t first = 0; first < all; first += blockSize) {
        const std::size_t count = std::min(blockSize, all - first);
        colorSlots(bgr + 3 * first, count, slots);
        visit(slots, weight + first, count);
    }
}

/// Colours with their sums.
class ColorSums {
public:
    explicit ColorSums(int type) : type_(type) {}

    void add(const uchar* color, std::uint64_t sum) {
        const std::size_t bytes = CV_ELEM_SIZE(type_);
        for (; sum > 0; sum -= std::min(sum, mostOfEntry)) {
            colors_.insert(colors_.end(), color, color + bytes);
            counts_.push_back(static_cast<std::uint32_t>(std::min(sum, mostOfEntry)));
        }
    }

    PhotographColors take(std::int64_t whole) {
        cv::Mat bgr(1, static_cast<int>(counts_.size()), type_);
        std::memcpy(bgr.data, colors_.data(), colors_.size());
        return {std::move(bgr), std::move(counts_), whole, CountedIn::weights};
    }

private:
    int type_;
    std::vector<uchar> colors_;
    std::vector<std::uint32_t> counts_;
};

/// Sorts by the places, which stand above 16 bits of weight; pixels of one colour stay in their order.
void sortByPlace(std::vector<std::uint64_t>& entries) {
    std::vector<std::uint64_t> spare(entries.size());
    for (const unsigned shift : {16U, 24U, 32U}) {
        std::array<std::size_t, 256> begin{};
        for (const std::uint64_t entry : entries) {
            ++begin[entry >> shift & 255U];
        }
        std::exclusive_scan(begin.begin(), begin.end(), begin.begin(), std::size_t{0});
        for (const std::uint64_t entry : entries) {
            spare[begin[entry >> shift & 255U]++] = entry;
        }
        entries.swap(spare);
    }
}

void addSlot(ColorSums& sums, std::uint32_t slot, std::uint64_t sum) {
    const cv::Vec3b color = colorOfSlot(slot);
    sums.add(color.val, sum);
}

void sumSorted(const cv::Mat& pixels, const cv::Mat& weights, ColorSums& sums) {
    std::vector<std::uint64_t> entries;
    entries.reserve(pixels.total());
    forEachBlock(pixels, weights, [&entries](const std::uint32_t* slots, const ushort* weight, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            entries.push_back(std::uint64_t{slots[i]} << 16U | weight[i]);
        }
    });
    sortByPlace(entries);
    for (std::size_t i = 0; i < entries.size();) {
        const std::uint64_t slot = entries[i] >> 16U;
        std::uint64_t sum = 0;
        for (; i < entries.size() && entries[i] >> 16U == slot; ++i) {
            sum += entries[i] & 0xFFFFU;
        }
        addSlot(sums, static_cast<std::uint32_t>(slot), sum);
    }
}

/// One sum for each of the 2^24 colours; pages that no colour falls on never become memory.
class SumTable {
public:
    SumTable() : entries_(static_cast<std::uint32_t*>(std::calloc(colorSlotCount, sizeof(std::uint32_t))), &std::free) {
        if (entries_ == nullptr) {
            throw std::bad_alloc();
        }
    }

    void add(const std::uint32_t* slots, const ushort* weights, std::size_t count) {
        std::uint32_t* const entries = entries_.get();
        const auto addOne = [&](std::size_t i) {
            const std::uint32_t slot = slots[i];
            touched_[slot / pieceSize] = true;
            const std::uint32_t sum = entries[slot] + weights[i];
            if (sum < weights[i]) {
                carries_.push_back(slot);
            }
            entries[slot] = sum;
        };
        // Neighbours are often of one colour, and a sum waits for the last one of its entry: four places take turns.
        const std::size_t quarter = count / 4;
        for (std::size_t i = 0; i < quarter; ++i) {
            addOne(i);
            addOne(i + quarter);
            addOne(i + 2 * quarter);
            addOne(i + 3 * quarter);
        }
        for (std::size_t i = 4 * quarter; i < count; ++i) {
            addOne(i);
        }
    }

    void addTo(ColorSums& sums) {
        std::sort(carries_.begin(), carries_.end());
        auto carry = carries_.cbegin();
        for (std::size_t piece = 0; piece < touched_.size(); ++piece) {
            if (!touched_[piece]) {
                continue;
            }
            for (std::size_t k = piece * pieceSize; k < (piece + 1) * pieceSize; ++k) {
                const auto slot = static_cast<std::uint32_t>(k);
                std::uint64_t sum = entries_.get()[k];
                for (; carry != carries_.cend() && *carry == slot; ++carry) {
                    sum += mostOfEntry + 1;
                }
                if (sum > 0) {
                    addSlot(sums, slot, sum);
                }
            }
        }
    }

private:
    static constexpr std::size_t pieceSize = 1024;  // a page

    std::unique_ptr<std::uint32_t[], decltype(&std::free)> entries_;
    std::array<bool, colorSlotCount / pieceSize> touched_{};
    std::vector<std::uint32_t> carries_;  // places, once for each 2^32 more than the entry tells
};

PhotographColors colorsOfBytes(const cv::Mat& pixels, const cv::Mat& weights, std::int64_t whole) {
    constexpr std::size_t small = std::size_t{1} << 18;
    ColorSums sums(CV_8UC3);
    if (pixels.total() <= small) {
        sumSorted(pixels, weights, sums);
        return sums.take(whole);
    }
    const auto table = std::make_unique<SumTable>();
    forEachBlock(pixels, weights, [&table](const std::uint32_t* slots, const ushort* weight, std::size_t count) {
        table->add(slots, weight, count);
    });
    table->addTo(sums);
    return sums.take(whole);
}

PhotographColors colorsOfFloats(const cv::Mat& pixels, const cv::Mat& weights, std::int64_t whole) {
    const auto* const weight = weights.ptr<ushort>(0);
    const DistinctUnitColors colors = distinctUnitColors(pixels);
    if (colors.empty()) {
        return {pixels, {weight, weight + pixels.total()}, whole, CountedIn::weights};
    }
    std::vector<std::uint64_t> sumOf(colors.counts.size());
    const int* const index = colors.indices.ptr<int>(0);
    for (std::size_t i = 0; i < pixels.total(); ++i) {
        sumOf[static_cast<std::size_t>(index[i])] += weight[i];
    }
    ColorSums sums(CV_32FC3);
    for (std::size_t k = 0; k < sumOf.size(); ++k) {
        sums.add(colors.bgr.ptr<uchar>(0) + k * colors.bgr.elemSize(), sumOf[k]);
    }
    return sums.take(whole);
}

}  // namespace

PhotographColors weightedColors(const cv::Mat& pixels, const cv::Mat& weights, std::int64_t whole) {
    return pixels.depth() == CV_8U ? colorsOfBytes(pixels, weights, whole) : colorsOfFloats(pixels, weights, whole);
}

}  // namespace likeness
