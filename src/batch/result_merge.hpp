#pragma once

#include "batch/result_store.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace likeness {

/// Joins results of shards of one list into one file in the order of the list, or those of shards of an archive's pairs
/// into what one run would have written. Everything is checked before `write` puts down the first byte.
class ResultMerge {
public:
    /// Reads all inputs once. Few of them are open at a time, however many there are.
    /// @param output  results file that is to be written; only its format matters here
    /// @throws Refusal  inputs of different versions, parameters, lists or columns, doubled or missing pairs, a record
    ///                  that is cut off, tables that cannot hold what other inputs show the list to have
    ResultMerge(std::vector<std::string> inputs, const std::string& output);

    std::uint64_t pairs() const noexcept { return pairs_; }
    std::uint64_t failed() const noexcept { return failed_; }
    /// What had to be assumed of values whose kind an input does not tell, for a warning; empty if nothing.
    const std::string& assumption() const noexcept { return assumption_; }

    /// Writes the file as a whole: under a name of the program's own beside it (`workingFile`), which then takes the
    /// name.
    /// @param overwrite  whether an existing file may be replaced
    /// @throws Refusal
    void write(const std::string& output, bool overwrite) const;

private:
    void checkShardsOfPairs(const std::string& output);

    std::vector<std::string> inputs_;  ///< of shards of an archive's pairs in their order
    bool ofPairs_ = false;             ///< whether they are such shards
    std::vector<std::string> columns_;
    std::string assumption_;
    bool knowsKinds_ = true;
    std::uint64_t pairs_ = 0;
    std::uint64_t failed_ = 0;
};

}  // namespace likeness
