#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace likeness {

/// One of several parts of a list of pairs. Which part a pair belongs to depends on its id alone, so that a pair that
/// is added to the list moves no other.
struct Shard {
    std::uint32_t index = 1;  ///< 1..count
    std::uint32_t count = 1;

    bool holds(std::string_view id) const noexcept;
    bool whole() const noexcept { return count == 1; }
};

/// Reads "I/N" with 1 <= I <= N <= 1000000.
/// @throws Refusal
Shard parseShard(const std::string& text);

}  // namespace likeness
