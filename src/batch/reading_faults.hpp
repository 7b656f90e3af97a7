#pragma once

#include <string>

namespace likeness {

/// For tests of what a crash of a decoder costs. Where the environment variable LIKENESS_READING_FAULTS is set, a
/// photograph whose file name begins with "crash-", "exit-", "killed-", "hang-" or "memory-" makes the process that
/// reads it do so: end by a segmentation fault, by `_exit`, by SIGKILL; wait for ever; take memory until there is none.
/// @throws std::bad_alloc
void actOnReadingFault(const std::string& path);

}  // namespace likeness
