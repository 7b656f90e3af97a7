#pragma once

#include "batch/pair_list.hpp"
#include "console/option_parser.hpp"

#include <optional>
#include <string>

namespace likeness::darkroom {

/// How a list of pairs is read: the options that `batch` and `verify` share.
struct ListOptions {
    std::string path;
    std::string format;
    std::string shard;

    /// @throws Refusal
    Shard shardAsked() const;
    /// @throws Refusal
    PairList read() const;
};

/// Adds --list-format and --shard.
void addListOptions(OptionParser& app, ListOptions& options);

}  // namespace likeness::darkroom
