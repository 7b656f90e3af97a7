/// @file
/// Entry of the module `nearest`, which builds graphs for approximate searches with hnswlib.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace likeness {

/// A hierarchical navigable small world (Malkov, Yashunin, IEEE Transactions on Pattern Analysis and Machine
/// Intelligence 42, 2020): every node is linked with near ones, and some with others that are farther away.
struct NearestGraph {
    std::uint32_t first = 0;     ///< node that a search begins at, one of the highest level
    std::uint32_t topLevel = 0;  ///< of that node
    /// Level 0, for each node: how many links, then `links` of them (those that there are not are 0).
    std::vector<std::uint32_t> ground;
    /// Nodes of higher levels, ascending: node, its level, and for each level from 1 on how many links, then half of
    /// `links`.
    std::vector<std::uint32_t> above;
};

/// What a graph is made of.
struct NearestVectors {
    const std::uint8_t* bytes = nullptr;  ///< one vector after the other
    std::size_t count = 0;
    std::size_t dimensions = 0;
    std::uint32_t links = 32;  ///< of a node on level 0 at most; even
    std::size_t effort = 100;  ///< candidates that are looked at for the links of a node
    /// Told how many are in the graph; false stops.
    std::function<bool(std::size_t done)> progress{};
};

/// `likeness_build_nearest`: the same graph for the same vectors. Near are those of great inner products.
/// @return  what is wrong; empty if nothing is. "stopped" where `progress` said so
using BuildNearestEntry = void (*)(const NearestVectors& vectors, NearestGraph& graph, std::string& problem);

}  // namespace likeness
