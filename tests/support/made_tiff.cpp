#include "support/made_tiff.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace likeness::testing {

std::string madeTiff(const std::vector<std::uint64_t>& values, int bits, std::uint64_t format,
                     const TiffLayout& layout) {
    std::string bytes;
    const auto put = [&](std::uint64_t value, int size) {
        for (int k = 0; k < size; ++k) {
            bytes.push_back(static_cast<char>(value >> 8 * (layout.bigEndian ? size - 1 - k : k)));
        }
    };
    const int place = layout.wide ? 8 : 4;
    const std::uint64_t begin = layout.wide ? 16 : 8;
    const std::uint64_t strips = layout.planes ? layout.samples : 1;
    const std::uint64_t stripBytes = values.size() / strips * static_cast<std::uint64_t>(bits) / 8;
    std::vector<std::uint64_t> places;
    for (std::uint64_t strip = 0; strip < strips; ++strip) {
        places.push_back(begin + strip * stripBytes);
    }
    const std::vector<std::pair<int, std::vector<std::uint64_t>>> entries{
        {256, {values.size() / layout.samples}},
        {257, {1}},
        {258, std::vector<std::uint64_t>(layout.samples, static_cast<std::uint64_t>(bits))},
        {259, {1}},
        {262, {layout.photometric}},
        {273, places},
        {277, {layout.samples}},
        {278, {1}},
        {279, std::vector<std::uint64_t>(strips, stripBytes)},
        {284, {layout.planes ? 2U : 1U}},
        {318, {3127, 10000, 3290, 10000}},
        {319, {64, 100, 33, 100, 21, 100, 71, 100, 15, 100, 6, 100}},
        {338, {layout.extra}},
        {339, std::vector<std::uint64_t>(layout.samples, format)}};
    const auto isRational = [](const auto& entry) { return entry.first == 318 || entry.first == 319; };
    const auto isWritten = [&](const auto& entry) {
        return isRational(entry) ? layout.primaries : entry.first != 338 || layout.extra != 0;
    };
    const auto isInPlace = [&](const auto& entry) {
        return entry.second.size() * 4 <= static_cast<std::size_t>(place);
    };
    std::uint64_t directory = begin + strips * stripBytes;
    directory += directory % 2;
    std::uint64_t beside = directory;
    for (const auto& entry : entries) {
        directory += isWritten(entry) && !isInPlace(entry) ? entry.second.size() * 4 : 0;
    }
    bytes = layout.bigEndian ? "MM" : "II";
    put(layout.wide ? 43 : 42, 2);
    if (layout.wide) {
        put(8, 2);
        put(0, 2);
    }
    put(directory, place);
    for (const std::uint64_t value : values) {
        put(value, bits / 8);
    }
    bytes.resize(static_cast<std::size_t>(beside));
    for (const auto& entry : entries) {
        for (const std::uint64_t value : entry.second) {
            put(value, isWritten(entry) && !isInPlace(entry) ? 4 : 0);
        }
    }
    put(static_cast<std::uint64_t>(std::count_if(entries.begin(), entries.end(), isWritten)), layout.wide ? 8 : 2);
    for (const auto& entry : entries) {
        if (!isWritten(entry)) {
            continue;
        }
        put(static_cast<std::uint64_t>(entry.first), 2);
        put(isRational(entry) ? 5 : 4, 2);  // or LONG
        put(isRational(entry) ? entry.second.size() / 2 : entry.second.size(), place);
        if (isInPlace(entry)) {
            const std::size_t end = bytes.size() + static_cast<std::size_t>(place);
            for (const std::uint64_t value : entry.second) {
                put(value, 4);
            }
            bytes.resize(end);
        } else {
            put(beside, place);
            beside += entry.second.size() * 4;
        }
    }
    put(0, place);
    return bytes;
}

}  // namespace likeness::testing
