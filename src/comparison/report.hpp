#pragma once

#include <likeness/comparison/photograph_comparison.hpp>
#include <likeness/export.hpp>

#include <string>
#include <string_view>

namespace likeness {

/// Appends `text` to a file with a single write, creating the file if it is missing. Processes that append at the same
/// time do not mix their texts or lose one. A text that does not fit, on a full disk or at the limit of a file's size,
/// is taken away again as a whole.
/// @return  empty, or why the text could not be appended
std::string appendToReport(const std::string& path, std::string_view text);

/// The report of `metrics`: "For_fit.txt" and the line on standard output.
LIKENESS_API void report(const LikenessCoefficients& k);

}  // namespace likeness
