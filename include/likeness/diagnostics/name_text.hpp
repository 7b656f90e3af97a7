/// @file
/// Texts for the names of numbered files.
#pragma once

#include <likeness/export.hpp>

#include <string>

namespace likeness {

/// Decimal text of n: "-5", "0", "17".
LIKENESS_API std::string convertIntToString(int n);

/// `name` without its last "." and what follows it. The dot may stand anywhere, in a directory's name too; a name
/// without a dot is returned unchanged.
LIKENESS_API std::string remove_extension(const std::string& name);

}  // namespace likeness
