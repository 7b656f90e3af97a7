#pragma once

#include <cstdint>
#include <string>

namespace likeness {

/// What identifies a file's content.
struct FileFingerprint {
    std::uintmax_t bytes = 0;
    std::string sha256;  ///< 64 hexadecimal digits in lower case (FIPS 180-4)
};

/// Reads the file once, in blocks.
/// @throws Refusal  if it cannot be read
FileFingerprint fingerprintOf(const std::string& path);

}  // namespace likeness
