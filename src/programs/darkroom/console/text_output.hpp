#pragma once

#include "console/console.hpp"

#include <CLI/CLI.hpp>

#include <string>

namespace likeness::darkroom {

/// Where a text that is a subcommand's result goes; empty for standard output.
struct TextOutput {
    std::string path;
};

/// Adds -o/--output.
/// @param example  the option as a user types it
void addTextOutput(CLI::App& app, TextOutput& output, const std::string& example);

/// Writes the text as a whole.
/// @throws Refusal
void writeText(const Console& console, const TextOutput& output, const std::string& text);

}  // namespace likeness::darkroom
