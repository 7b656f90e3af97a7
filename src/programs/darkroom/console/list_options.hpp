#pragma once

#include "batch/pair_list.hpp"

#include <CLI/CLI.hpp>

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
void addListOptions(CLI::App& app, ListOptions& options);

}  // namespace likeness::darkroom
