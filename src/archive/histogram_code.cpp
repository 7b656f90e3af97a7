#include "archive/histogram_code.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

namespace likeness::archive {
namespace {

using Form = HistogramReader::Form;

constexpr std::uint64_t mostCounted = std::uint64_t{1} << 24;  // where the comparison's counts stop

float probabilityOf(std::uint64_t count, std::uint64_t counted, Form form) {
    return form == HistogramReader::countsOfFloat
               ? static_cast<float>(count) / static_cast<float>(counted)
               : static_cast<float>(static_cast<double>(count) / static_cast<double>(counted));
}

/// A count that has this probability.
std::optional<std::uint64_t> countOf(float probability, std::uint64_t counted, Form form) {
    const double total = form == HistogramReader::countsOfFloat ? static_cast<double>(static_cast<float>(counted))
                                                                : static_cast<double>(counted);
    const double about = std::nearbyint(static_cast<double>(probability) * total);
    if (!(about >= 0 && about < 4294967296.0)) {
        return std::nullopt;
    }
    const auto nearest = static_cast<std::uint64_t>(about);
    for (const std::int64_t step : {0, -1, 1}) {
        const std::uint64_t count = nearest + static_cast<std::uint64_t>(step);
        if (count > 0 && count <= std::max(counted, mostCounted) &&
            probabilityOf(count, counted, form) == probability) {
            return count;
        }
    }
    return std::nullopt;
}

/// Bits, the least of each byte first; the last byte is filled up when the writer goes.
class BitWriter {
public:
    explicit BitWriter(std::string& bytes) : bytes_(bytes) {}
    ~BitWriter() {
        if (used_ > 0) {
            bytes_ += static_cast<char>(pending_);
        }
    }
    BitWriter(const BitWriter&) = delete;
    BitWriter& operator=(const BitWriter&) = delete;

    /// @param count  up to 56
    void put(std::uint64_t bits, unsigned count) {
        pending_ |= (bits & ((std::uint64_t{1} << count) - 1)) << used_;
        for (used_ += count; used_ >= 8; used_ -= 8) {
            bytes_ += static_cast<char>(pending_ & 255U);
            pending_ >>= 8U;
        }
    }

private:
    std::string& bytes_;
    std::uint64_t pending_ = 0;
    unsigned used_ = 0;
};

struct Run {
    std::int64_t gap;  ///< from the end of the one before; of the first from 0
    std::vector<std::uint64_t> values;
};

/// Bins without values of up to two in a row cost less than another run.
std::vector<Run> runsOf(const std::vector<std::pair<int, std::uint64_t>>& bins, bool zerosAllowed) {
    constexpr std::int64_t bridged = 2;
    std::vector<Run> runs;
    std::int64_t end = 0;
    for (const auto& [bin, value] : bins) {
        const std::int64_t gap = bin - end;
        if (!runs.empty() && gap <= (zerosAllowed ? bridged : 0)) {
            runs.back().values.resize(runs.back().values.size() + static_cast<std::size_t>(gap), 0);
        } else {
            runs.push_back({gap, {}});
        }
        runs.back().values.push_back(value);
        end = std::int64_t{bin} + 1;
    }
    return runs;
}

std::uint64_t missingOf(double share, std::uint64_t pixels) {
    const double about = std::nearbyint(share * static_cast<double>(pixels));
    if (about >= 0 && about <= static_cast<double>(pixels)) {
        const auto missing = static_cast<std::uint64_t>(about);
        if (static_cast<double>(missing) / static_cast<double>(pixels) == share) {
            return missing;
        }
    }
    throw std::invalid_argument("archive: the shares are not those of a photograph of so many pixels");
}

void putDistribution(std::string& bytes, const BinProbabilities& probabilities, std::uint64_t missing,
                     std::uint64_t pixels, Form wanted) {
    std::vector<std::pair<int, std::uint64_t>> bins;
    Form form = wanted;
    double sum = 0;
    for (const auto& [bin, probability] : probabilities) {
        sum += probability >= 0 ? static_cast<double>(probability) : std::numeric_limits<double>::infinity();
    }
    if (!(sum <= 1 + 1e-6)) {
        throw std::invalid_argument("archive: these are no probabilities");
    }
    for (const auto& [bin, probability] : probabilities) {
        const auto count = countOf(probability, pixels - missing, form);
        if (!count) {
            form = HistogramReader::floats;
            break;
        }
        bins.emplace_back(bin, *count);
    }
    if (form == HistogramReader::floats) {
        bins.clear();
        for (const auto& [bin, probability] : probabilities) {
            bins.emplace_back(bin, std::bit_cast<std::uint32_t>(probability));
        }
    }
    const std::vector<Run> runs = runsOf(bins, form != HistogramReader::floats);
    putVarint(bytes, missing);
    putVarint(bytes, form);
    putVarint(bytes, runs.size());
    for (const Run& run : runs) {
        putVarint(bytes, zigzag(run.gap));
        putVarint(bytes, run.values.size() - 1);
        BitWriter bits(bytes);
        std::int64_t width = 0;
        for (const std::uint64_t value : run.values) {
            if (form == HistogramReader::floats) {
                bits.put(value, 32);
                continue;
            }
            const auto itsWidth = static_cast<std::int64_t>(std::bit_width(value));
            bits.put(0, static_cast<unsigned>(zigzag(itsWidth - width)));
            bits.put(1, 1);
            if (itsWidth > 1) {
                bits.put(value, static_cast<unsigned>(itsWidth - 1));
            }
            width = itsWidth;
        }
    }
}

}  // namespace

std::string encodedHistograms(const AppearanceDistributions& distributions, std::uint64_t pixels) {
    if (pixels == 0 || pixels > static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max())) {
        throw std::invalid_argument("archive: a photograph of 1 to 2^31 - 1 pixels is expected");
    }
    std::string bytes;
    const bool black = distributions.blackShare != 0;
    putVarint(bytes, (distributions.hue ? HistogramReader::hueFlag : 0) | (black ? HistogramReader::blackFlag : 0));
    if (black) {
        put(bytes, distributions.blackShare);
    }
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        putDistribution(bytes, distributions[k], missingOf(distributions.nanShares[k], pixels), pixels,
                        HistogramReader::countsOfFloat);
    }
    if (distributions.hue) {
        putDistribution(bytes, *distributions.hue, 0, pixels, HistogramReader::countsOfDouble);
    }
    return bytes;
}

HistogramReader::HistogramReader(std::string_view bytes, std::uint64_t pixels) : bytes_(bytes), pixels_(pixels) {
    flags_ = varint();
    if (pixels == 0 || flags_ > (hueFlag | blackFlag)) {
        throw HistogramDamage();
    }
    if ((flags_ & blackFlag) != 0) {
        if (bytes_.size() - at_ < sizeof blackShare_) {
            throw HistogramDamage();
        }
        blackShare_ = numberAt<double>(bytes_.data() + at_);
        at_ += sizeof blackShare_;
        if (!(blackShare_ > 0 && blackShare_ <= 1)) {
            throw HistogramDamage();
        }
    }
}

AppearanceDistributions decodedHistograms(std::string_view bytes, std::uint64_t pixels) {
    AppearanceDistributions distributions;
    HistogramReader reader(bytes, pixels);
    distributions.blackShare = reader.blackShare();
    const auto into = [](BinProbabilities& probabilities) {
        return [&probabilities](int bin, float probability) {
            probabilities.emplace_hint(probabilities.end(), bin, probability);
        };
    };
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        distributions.nanShares[k] = reader.next(into(distributions[k]));
    }
    if (reader.hasHue()) {
        distributions.hue.emplace();
        reader.next(into(*distributions.hue));
    }
    return distributions;
}

}  // namespace likeness::archive
