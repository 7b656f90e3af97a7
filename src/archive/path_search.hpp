#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace likeness {

/// The one of `begin` to `end` - 1 that has a path, where the paths ascend; of several equal ones the first.
/// @param pathOf  path of a number; what it throws ends the search
template <typename PathOf>
std::optional<std::size_t> foundAmong(std::size_t begin, std::size_t end, std::string_view wanted,
                                      const PathOf& pathOf) {
    std::size_t low = begin;
    std::size_t high = end;
    while (low < high) {
        const std::size_t middle = low + (high - low) / 2;
        if (pathOf(middle) < wanted) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low < end && pathOf(low) == wanted ? std::optional(low) : std::nullopt;
}

}  // namespace likeness
