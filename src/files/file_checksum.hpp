#pragma once

#include "files/refusal.hpp"

#include <cstdint>
#include <string>

namespace likeness {

/// What identifies a file's content.
struct FileFingerprint {
    std::uintmax_t bytes = 0;
    std::string sha256;  ///< 64 hexadecimal digits in lower case (FIPS 180-4)
};

/// A file that cannot be read: "cannot read 'PATH': reason".
class UnreadableFile : public Refusal {
public:
    UnreadableFile(const std::string& what, int errorNumber) : Refusal(what), errorNumber_(errorNumber) {}

    /// The system's, as ENOENT.
    int errorNumber() const noexcept { return errorNumber_; }

private:
    int errorNumber_;
};

/// Reads the file once, in blocks.
/// @throws UnreadableFile
FileFingerprint fingerprintOf(const std::string& path);

}  // namespace likeness
