#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace likeness {

/// What tells whether a file is still the one that was read.
struct FileStamp {
    std::uint64_t bytes = 0;
    std::uint64_t modified = 0;  ///< nanoseconds since 1970; 0 if before

    bool operator==(const FileStamp&) const = default;
};

/// Of what a path leads to; nothing where that is no regular file.
std::optional<FileStamp> stampOf(const std::string& path);

}  // namespace likeness
