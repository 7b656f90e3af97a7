#pragma once

#include "console/console.hpp"
#include "console/option_parser.hpp"

#include <string>

namespace likeness::darkroom {

/// Where a text that is a subcommand's result goes; empty for standard output.
struct TextOutput {
    std::string path;
};

/// Format of a text result.
enum class ResultText { any, json, csv };

/// The format that an option asks for, or where none does the one that the extension .json or .csv of the file does.
/// @param asked  `any`: no option asks for one
/// @throws Refusal  where the two contradict each other
ResultText resultTextFor(const std::string& path, ResultText asked);

/// Adds -o/--output.
/// @param example  the option as a user types it
void addTextOutput(OptionParser& app, TextOutput& output, const std::string& example);

/// Writes a result as a whole: to standard output where `path` is "-", else into a file, of which it tells.
/// @param what  the result, for the line that tells; empty for no line
/// @throws Refusal
void writeResult(const Console& console, const std::string& path, const std::string& text, const std::string& what);

/// Writes the text as a whole.
/// @throws Refusal
void writeText(const Console& console, const TextOutput& output, const std::string& text);

}  // namespace likeness::darkroom
