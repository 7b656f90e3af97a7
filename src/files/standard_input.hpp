// A photograph from standard input, for readers that want a file.
#pragma once

#include <string>

namespace likeness {

/// How standard input and standard output are called where a file may be named.
inline constexpr const char* standardStream = "-";

/// Reads standard input to its end and keeps it in memory: from now on `placeOfInput("-")` names it. Once for a process.
/// @throws Refusal  if it is a terminal, empty, or cannot be read
void takeStandardInput();

/// The file that an input names: for "-" what `takeStandardInput` has read; every other name stays as it is, and "-"
/// too where nothing was read.
std::string placeOfInput(const std::string& name);

}  // namespace likeness
