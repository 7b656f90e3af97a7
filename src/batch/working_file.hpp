// Files of the program's own beside an output.
#pragma once

#include <string>
#include <string_view>

namespace likeness {

/// Name of a file that holds something unfinished of an output: in the same folder, hidden, and of a pattern that is
/// the program's own, ".darkroom-PURPOSE-" and 16 hexadecimal digits for the output's name. It is always the same one,
/// so that what a killed process left is found again, and does not grow too long however long the output's name is.
std::string workingFile(const std::string& output, std::string_view purpose);

/// Removes a file, and what SQLite keeps beside it if it is a database.
void removeWithJournals(const std::string& path);

}  // namespace likeness
