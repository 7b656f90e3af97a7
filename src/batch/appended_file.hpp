#pragma once

#include <sys/types.h>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace likeness {

/// Writes to a file descriptor, as `::write` does.
using WriteCall = ::ssize_t (*)(int descriptor, const void* bytes, std::size_t count);

/// A file that only grows, by whole blocks: a block is in it as a whole or, when writing fails, not at all. What a
/// killed process leaves is a number of whole blocks and perhaps a part of one more.
class AppendedFile {
public:
    /// Opens the file, creating it if need be, and cuts it off behind `keep` bytes.
    /// @param write  for tests; the system's own otherwise
    /// @throws Refusal  "cannot write 'PATH': reason"
    AppendedFile(std::string path, std::uint64_t keep, WriteCall write = nullptr);
    ~AppendedFile();
    AppendedFile(const AppendedFile&) = delete;
    AppendedFile& operator=(const AppendedFile&) = delete;

    /// @throws Refusal  "cannot write 'PATH': reason"; the file then ends where it ended before
    void append(std::string_view block);

    /// Sees to it that all of the file is on the disk, and closes it.
    /// @throws Refusal
    void finish();

private:
    [[noreturn]] void fail(int problem) const;

    std::string path_;
    WriteCall write_;
    int descriptor_ = -1;
    std::uint64_t length_ = 0;
    std::chrono::steady_clock::time_point synchronized_;
};

}  // namespace likeness
