#pragma once

#include "photofile/managed_colors.hpp"

#include <string>

namespace likeness {

/// All that changes the numbers of a comparison besides the photographs and the program's version, as one line.
std::string comparisonParameters(const ProfileChoice& profiles = {});

/// 16 hexadecimal digits that stand for that line.
std::string parameterFingerprint(const ProfileChoice& profiles = {});

}  // namespace likeness
