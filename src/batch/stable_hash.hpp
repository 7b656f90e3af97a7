#pragma once

#include <cstdint>
#include <string_view>

namespace likeness {

/// FNV-1a of 64 bits (Fowler, Noll, Vo; draft-eastlake-fnv): the same on every machine and in every release.
constexpr std::uint64_t fnv1a(std::string_view bytes, std::uint64_t basis = 0xcbf29ce484222325U) noexcept {
    std::uint64_t hash = basis;
    for (const char c : bytes) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
    }
    return hash;
}

/// The finishing steps of SplitMix64 (Steele, Lea, Flood, OOPSLA 2014): every bit of the input reaches every bit of the
/// result, which the low bits of FNV-1a alone do not have.
constexpr std::uint64_t mixed(std::uint64_t hash) noexcept {
    hash = (hash ^ hash >> 30U) * 0xbf58476d1ce4e5b9U;
    hash = (hash ^ hash >> 27U) * 0x94d049bb133111ebU;
    return hash ^ hash >> 31U;
}

/// Two independent hashes: equal for different texts with a chance of 2^-128.
struct WideHash {
    std::uint64_t low = 0;
    std::uint64_t high = 0;

    auto operator<=>(const WideHash&) const = default;
};

constexpr WideHash wideHash(std::string_view bytes) noexcept {
    return {mixed(fnv1a(bytes)), mixed(fnv1a(bytes, 0x6c62272e07bb0142U))};
}

}  // namespace likeness
