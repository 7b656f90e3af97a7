#pragma once

#include <string>
#include <string_view>

namespace likeness {

/// Appends `text` to a file with a single write, creating the file if it is missing. Processes that append at the same
/// time do not mix their texts or lose one.
/// @return  empty, or why the text could not be appended
std::string appendToReport(const std::string& path, std::string_view text);

}  // namespace likeness
