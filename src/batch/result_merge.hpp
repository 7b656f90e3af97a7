#pragma once

#include "batch/result_store.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace likeness {

/// Joins results of shards of one list into one file in the order of the list. Everything is checked before `write`
/// puts down the first byte.
class ResultMerge {
public:
    /// Reads all inputs once.
    /// @throws Refusal  inputs of different versions, parameters, lists or columns, doubled or missing pairs, a record
    ///                  that is cut off
    explicit ResultMerge(std::vector<std::string> inputs);

    std::uint64_t pairs() const noexcept { return pairs_; }
    std::uint64_t failed() const noexcept { return failed_; }

    /// Writes the file as a whole: under a temporary name beside it, which then takes the name.
    /// @throws Refusal
    void write(const std::string& output) const;

private:
    std::vector<std::string> inputs_;
    std::vector<std::string> columns_;
    std::uint64_t pairs_ = 0;
    std::uint64_t failed_ = 0;
};

}  // namespace likeness
