// The page of a search: each photograph and what looks like it, with small pictures.
#pragma once

#include <likeness/comparison/distances.hpp>
#include "archive/exact_comparison.hpp"

#include <optional>
#include <string>
#include <vector>

namespace likeness::darkroom {

/// A photograph that was found.
struct FoundPhotograph {
    std::size_t rank = 1;
    std::string path;
    PairCoefficients coefficients;
    double score = 0;
    std::optional<PerCorrelate<BinDistances>> distances;  ///< where they were asked for
    std::string pictureUri;                               ///< empty: there is none to show
};

/// A photograph that was searched for.
struct SearchedPhotograph {
    std::string path;
    std::string pictureUri;
    std::vector<FoundPhotograph> found;
};

/// @param ranking  what the score is, in words
std::string searchPage(const std::string& archive, const std::string& ranking,
                       const std::vector<SearchedPhotograph>& searched);

}  // namespace likeness::darkroom
