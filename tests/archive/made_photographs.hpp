// Photographs that were never taken: distributions as the comparison makes them, without a pixel.
#pragma once

#include "archive/archive_writer.hpp"

#include <opencv2/core.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

namespace likeness::testing {

/// Distributions of width x height pixels in hills about places of the caller's, as counts over their number.
inline AppearanceDistributions madeDistributions(std::uint64_t seed, int width, int height) {
    cv::RNG random(seed + 1);
    AppearanceDistributions made;
    const auto pixels = static_cast<std::int64_t>(width) * height;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        std::array<std::int64_t, 256> counts{};
        std::int64_t left = pixels;
        const double middle = random.uniform(30.0, 200.0);
        const double spread = random.uniform(3.0, 40.0);
        for (int bin = 0; bin < 256; ++bin) {
            const double z = (bin - middle) / spread;
            const auto count = static_cast<std::int64_t>(static_cast<double>(pixels) * 0.3 / spread *
                                                         std::exp(-z * z / 2) * random.uniform(0.5, 1.3));
            counts[static_cast<std::size_t>(bin)] = std::min(count, left);
            left -= counts[static_cast<std::size_t>(bin)];
        }
        counts[static_cast<std::size_t>(middle)] += left;
        for (int bin = 0; bin < 256; ++bin) {
            if (const std::int64_t count = counts[static_cast<std::size_t>(bin)]; count > 0) {
                made[k][bin] = static_cast<float>(count) / static_cast<float>(pixels);
            }
        }
    }
    return made;
}

inline std::string madePath(std::size_t k) {
    const std::string digits = std::to_string(k);
    return "made/" + std::string(8 - digits.size(), '0') + digits + ".jpg";
}

inline ArchivedPhotograph madePhotograph(std::size_t k, std::uint64_t seed) {
    ArchivedPhotograph photograph;
    photograph.path = madePath(k);
    photograph.bytes = 1000 + k;
    photograph.modified = static_cast<std::int64_t>(1'700'000'000'000'000'000 + k);
    photograph.sha256[0] = static_cast<std::uint8_t>(k);
    photograph.width = 200;
    photograph.height = 150;
    photograph.distributions = madeDistributions(seed, photograph.width, photograph.height);
    return photograph;
}

inline ArchiveOrigin madeOrigin() {
    return {"1.0", "0123456789abcdef", "schema=1;made", {}};
}

/// Photographs as the entries of an archive.
inline void writeMade(const std::string& path, const std::vector<ArchivedPhotograph>& photographs) {
    std::vector<archive::StoredEntry> entries;
    for (const ArchivedPhotograph& photograph : photographs) {
        entries.push_back(archive::stored(photograph));
    }
    writeArchive(path, madeOrigin(), {entries.size(), [&](std::size_t k) { return entries[k]; }});
}

inline bool sameDistributions(const AppearanceDistributions& a, const AppearanceDistributions& b) {
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        if (a[k] != b[k] || a.nanShares[k] != b.nanShares[k]) {
            return false;
        }
    }
    return a.hue == b.hue && a.blackShare == b.blackShare;
}

}  // namespace likeness::testing
