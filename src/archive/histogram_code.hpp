// The distributions of a photograph in few bytes, from which they come back to the bit.
//
// A probability is a count over the number of pixels that have the correlate, in float; what is kept is a count that
// gives this float again. Counts of neighbouring bins are alike: of each stands by how many bits it is longer than the
// one before, then its bits. docs/archive-format.md has the bits.
#pragma once

#include <likeness/comparison/photograph_comparison.hpp>
#include "archive/archive_bytes.hpp"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace likeness::archive {

/// Bytes that are no histograms.
class HistogramDamage : public std::runtime_error {
public:
    HistogramDamage() : std::runtime_error("its histograms are damaged") {}
};

/// @param pixels  of the photograph, from 1
/// @throws std::invalid_argument  if they are not distributions of so many pixels
std::string encodedHistograms(const AppearanceDistributions& distributions, std::uint64_t pixels);

/// @throws HistogramDamage
AppearanceDistributions decodedHistograms(std::string_view bytes, std::uint64_t pixels);

/// Number of the hue's distribution; those of the five correlates are 0 to 4.
inline constexpr std::size_t hueNumber = 5;

/// Goes through encoded histograms, of the five correlates in their order and of the hue where there is one.
class HistogramReader {
public:
    /// @throws HistogramDamage  like everything else here
    HistogramReader(std::string_view bytes, std::uint64_t pixels);

    bool hasHue() const noexcept { return (flags_ & hueFlag) != 0; }
    double blackShare() const noexcept { return blackShare_; }

    /// Reads the next distribution and calls visit(bin, probability) for its bins, ascending.
    /// @return  share of the pixels that are in no bin
    template <typename Visit>
    double next(const Visit& visit);

    static constexpr std::uint64_t hueFlag = 1;
    static constexpr std::uint64_t blackFlag = 2;

    /// How the probabilities of a distribution are kept.
    enum Form : std::uint64_t {
        countsOfFloat = 0,   ///< float(count) / float(pixels)
        countsOfDouble = 1,  ///< float(count / pixels)
        floats = 2,          ///< as they are
    };

private:
    std::uint64_t varint();
    std::uint64_t bits(unsigned count);
    unsigned zeros();
    void alignToByte() noexcept {
        at_ += (bitAt_ + 7) / 8;
        bitAt_ = 0;
    }

    std::string_view bytes_;
    std::uint64_t pixels_;
    std::size_t at_ = 0;
    unsigned bitAt_ = 0;
    std::uint64_t flags_ = 0;
    double blackShare_ = 0;
};

inline std::uint64_t HistogramReader::varint() {
    std::uint64_t number = 0;
    for (unsigned shift = 0; shift < 64; shift += 7) {
        if (at_ >= bytes_.size()) {
            throw HistogramDamage();
        }
        const auto byte = static_cast<unsigned char>(bytes_[at_++]);
        number |= std::uint64_t{byte & 127U} << shift;
        if (byte < 128) {
            return number;
        }
    }
    throw HistogramDamage();
}

inline std::uint64_t HistogramReader::bits(unsigned count) {
    // Up to 32 bits, the least first.
    const std::size_t left = bytes_.size() - at_;
    if (bitAt_ + count > 8 * left) {
        throw HistogramDamage();
    }
    std::uint64_t window = 0;
    const std::size_t byte = at_ + bitAt_ / 8;
    if (bytes_.size() - byte >= sizeof window) {
        window = numberAt<std::uint64_t>(bytes_.data() + byte);
    } else {
        std::memcpy(&window, bytes_.data() + byte, bytes_.size() - byte);
    }
    const std::uint64_t value = window >> bitAt_ % 8 & ((std::uint64_t{1} << count) - 1);
    bitAt_ += count;
    return value;
}

/// Zeros before the next one, and past it.
inline unsigned HistogramReader::zeros() {
    const std::size_t byte = at_ + bitAt_ / 8;
    std::uint64_t window = 0;
    if (bytes_.size() - byte >= sizeof window) {
        window = numberAt<std::uint64_t>(bytes_.data() + byte);
    } else if (byte < bytes_.size()) {
        std::memcpy(&window, bytes_.data() + byte, bytes_.size() - byte);
    }
    window >>= bitAt_ % 8;
    const auto count = static_cast<unsigned>(std::countr_zero(window));
    constexpr unsigned most = 56;
    if (count > most) {
        throw HistogramDamage();
    }
    bitAt_ += count + 1;
    return count;
}

template <typename Visit>
double HistogramReader::next(const Visit& visit) {
    const std::uint64_t missing = varint();
    const std::uint64_t form = varint();
    const std::uint64_t runs = varint();
    if (missing > pixels_ || form > floats || (form != floats && runs > 0 && missing == pixels_)) {
        throw HistogramDamage();
    }
    double sum = 0;
    const auto visitOne = [&](std::int64_t number, float probability) {
        if (!(probability >= 0)) {
            throw HistogramDamage();
        }
        sum += static_cast<double>(probability);
        visit(static_cast<int>(number), probability);
    };
    const std::uint64_t counted = pixels_ - missing;
    const auto total = static_cast<float>(counted);
    std::int64_t bin = 0;
    constexpr std::int64_t leastBin = -2147483648;
    constexpr std::int64_t greatestBin = 2147483647;
    for (std::uint64_t run = 0; run < runs; ++run) {
        const std::int64_t gap = fromZigzag(varint());
        const std::uint64_t length = varint() + 1;
        // A count takes a bit at least, so that the length of the text bounds the work.
        if (gap < leastBin || gap > greatestBin - leastBin || length > 8 * (bytes_.size() - at_) ||
            (run > 0 && gap < 0)) {
            throw HistogramDamage();
        }
        bin += gap;
        if (bin < leastBin || bin + static_cast<std::int64_t>(length) - 1 > greatestBin) {
            throw HistogramDamage();
        }
        if (form == floats) {
            for (std::uint64_t i = 0; i < length; ++i, ++bin) {
                const auto raw = static_cast<std::uint32_t>(bits(32));
                visitOne(bin, std::bit_cast<float>(raw));
            }
            alignToByte();
            continue;
        }
        std::int64_t width = 0;
        for (std::uint64_t i = 0; i < length; ++i, ++bin) {
            width += fromZigzag(zeros());
            if (width < 0 || width > 32) {
                throw HistogramDamage();
            }
            if (width == 0) {
                continue;
            }
            const std::uint64_t leading = std::uint64_t{1} << (width - 1);
            const std::uint64_t count = leading | bits(static_cast<unsigned>(width - 1));
            visitOne(bin, form == countsOfFloat
                              ? static_cast<float>(count) / total
                              : static_cast<float>(static_cast<double>(count) / static_cast<double>(counted)));
        }
        alignToByte();
    }
    constexpr double most = 1.0001;  // with the roundings of all probabilities
    if (!(sum <= most)) {
        throw HistogramDamage();
    }
    return static_cast<double>(missing) / static_cast<double>(pixels_);
}

}  // namespace likeness::archive
