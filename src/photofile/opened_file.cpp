#include "photofile/opened_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstring>

namespace likeness {

bool isOfTheMachine(int errorNumber) noexcept {
    return errorNumber == EMFILE || errorNumber == ENFILE || errorNumber == ENOMEM || errorNumber == EIO;
}

MachineFailure machineFailure(const std::string& path, int errorNumber) {
    return MachineFailure("cannot read '" + path + "': " + std::strerror(errorNumber) +
                              (errorNumber == ENOMEM ? " (a lower limit of pixels refuses large images)" : ""),
                          errorNumber);
}

OpenedFile::OpenedFile(const std::string& path) : path_(path) {
    constexpr const char* notRegular = ": it is not a regular file";
    // Without waiting: a pipe that nobody writes to is no photograph.
    descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor_ < 0) {
        const int problem = errno;
        if (isOfTheMachine(problem)) {
            throw machineFailure(path, problem);
        }
        // A socket, and a device that is not there.
        const bool unopened = problem == ENXIO || problem == ENODEV;
        problem_ = unopened ? std::string(notRegular) : std::string(": ") + std::strerror(problem);
        return;
    }
    struct ::stat status {};
    if (::fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) {
        problem_ = S_ISDIR(status.st_mode) ? ": it is a folder" : notRegular;
    } else if (status.st_size == 0) {
        problem_ = ": it is empty";
    } else {
        size_ = static_cast<std::uint64_t>(status.st_size);
        try {
            held_ = readAt(0, beginning_.data(), beginning_.size());
        } catch (...) {
            ::close(descriptor_);
            throw;
        }
    }
}

OpenedFile::~OpenedFile() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

ByteSource OpenedFile::source() const {
    return [this](std::uint64_t offset, unsigned char* to, std::size_t count) { return read(offset, to, count); };
}

std::size_t OpenedFile::read(std::uint64_t offset, unsigned char* bytes, std::size_t count) const {
    if (offset + count > held_ && held_ == beginning_.size()) {
        return readAt(offset, bytes, count);
    }
    const std::size_t there = offset >= held_ ? 0 : std::min<std::size_t>(count, held_ - offset);
    std::copy_n(beginning_.data() + (there == 0 ? 0 : offset), there, bytes);
    return there;
}

std::size_t OpenedFile::readAt(std::uint64_t offset, unsigned char* bytes, std::size_t count) const {
    std::size_t done = 0;
    while (done < count) {
        const ::ssize_t n = ::pread(descriptor_, bytes + done, count - done, static_cast<::off_t>(offset + done));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0 && isOfTheMachine(errno)) {
            throw machineFailure(path_, errno);
        }
        if (n <= 0) {
            break;
        }
        done += static_cast<std::size_t>(n);
    }
    return done;
}

}  // namespace likeness
