#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace likeness {

/// A file that is replaced by what is written to it. Unbuffered: callers hand over large pieces. The first write that
/// fails ends the writing; `close()` tells.
class OutputFile {
public:
    explicit OutputFile(const std::string& path) noexcept;
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void write(std::string_view bytes) noexcept;

    /// Closes the file.
    /// @return  whether it was opened, written and closed without an error
    bool close() noexcept;

private:
    int descriptor_;
    bool complete_;
};

}  // namespace likeness
