// The entries of an archive that look most like a photograph.
#pragma once

#include <likeness/archive/archive_search.hpp>
#include "archive/archive_file.hpp"
#include "archive/exact_comparison.hpp"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace likeness {

/// What a search did.
struct SearchEffort {
    std::size_t bounded = 0;   ///< entries whose bound was looked at
    std::size_t compared = 0;  ///< and that were compared
};

/// The entries of the greatest scores, the greatest first; of equal scores the first in the archive. The same as if all
/// were compared, for any number of threads: an entry is left out only where a bound on its score is below that of the
/// last one found.
///
/// @param damage  receives a line for each damaged block or entry, which cannot be found
/// @throws std::invalid_argument  `top` is 0, a weight below 0, none above
std::vector<ArchiveHit> nearestEntries(const ArchiveFile& archive, const AppearanceDistributions& photograph,
                                       const ArchiveSearch& search, std::vector<std::string>* damage = nullptr,
                                       SearchEffort* effort = nullptr);

/// Calls work(k) for k below `count` on so many threads, the caller's among them.
/// @throws what the work throws: the first of several
void onThreads(unsigned threads, std::size_t count, const std::function<void(std::size_t k)>& work);

}  // namespace likeness
