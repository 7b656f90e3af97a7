// A file of a photograph, opened: what can be told before anybody looks at its content.
#pragma once

#include "photofile/image_header.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace likeness {

/// The machine lacks what reading takes: memory, file descriptors, a disk that works. It says nothing about the file.
class MachineFailure : public std::runtime_error {
public:
    MachineFailure(const std::string& what, int errorNumber) : std::runtime_error(what), errorNumber_(errorNumber) {}

    /// The system's, as ENOMEM.
    int errorNumber() const noexcept { return errorNumber_; }

private:
    int errorNumber_;
};

/// Whether an error number tells of the machine and not of the file.
bool isOfTheMachine(int errorNumber) noexcept;

/// Why the machine could not do it; the file is named because another one may still be read.
MachineFailure machineFailure(const std::string& path, int errorNumber);

/// The bytes of an open file; the first ones are read once.
class OpenedFile {
public:
    /// Opens a regular file that is not empty, without waiting for anybody; of any other `problem` tells.
    /// @throws MachineFailure
    explicit OpenedFile(const std::string& path);
    ~OpenedFile();
    OpenedFile(const OpenedFile&) = delete;
    OpenedFile& operator=(const OpenedFile&) = delete;

    /// What follows "cannot read 'PATH'", as ": it is a folder"; empty if the file can be read.
    const std::string& problem() const noexcept { return problem_; }

    /// In bytes.
    std::uint64_t size() const noexcept { return size_; }

    /// @throws MachineFailure  from the source, too
    ByteSource source() const;

private:
    std::size_t read(std::uint64_t offset, unsigned char* bytes, std::size_t count) const;
    std::size_t readAt(std::uint64_t offset, unsigned char* bytes, std::size_t count) const;

    const std::string path_;
    int descriptor_ = -1;
    std::string problem_;
    std::uint64_t size_ = 0;
    std::array<unsigned char, 4096> beginning_{};
    std::size_t held_ = 0;
};

}  // namespace likeness
