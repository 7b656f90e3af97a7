#include "batch/appended_file.hpp"

#include "files/refusal.hpp"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <utility>

namespace likeness {
namespace {

/// How much work a power failure may cost.
constexpr auto synchronizationInterval = std::chrono::seconds(5);

}  // namespace

AppendedFile::AppendedFile(std::string path, std::uint64_t keep, WriteCall write)
    : path_(std::move(path)),
      write_(write == nullptr ? &::write : write),
      descriptor_(::open(path_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666)),
      length_(keep),
      synchronized_(std::chrono::steady_clock::now()) {
    if (descriptor_ < 0) {
        fail(errno);
    }
    if (::ftruncate(descriptor_, static_cast<::off_t>(keep)) != 0) {
        const int problem = errno;
        ::close(descriptor_);
        fail(problem);
    }
}

AppendedFile::~AppendedFile() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

void AppendedFile::append(std::string_view block) {
    std::string_view rest = block;
    while (!rest.empty()) {
        const ::ssize_t written = write_(descriptor_, rest.data(), rest.size());
        if (written > 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            const int problem = written == 0 ? ENOSPC : errno;
            // If this fails too, the part of a block is what a resumed run repairs.
            [[maybe_unused]] const int ignored = ::ftruncate(descriptor_, static_cast<::off_t>(length_));
            fail(problem);
        }
    }
    length_ += block.size();
    const auto now = std::chrono::steady_clock::now();
    if (now - synchronized_ > synchronizationInterval) {
        synchronized_ = now;
        if (::fdatasync(descriptor_) != 0 && errno != EINVAL) {
            fail(errno);
        }
    }
}

void AppendedFile::finish() {
    int problem = ::fsync(descriptor_) != 0 && errno != EINVAL ? errno : 0;
    if (::close(std::exchange(descriptor_, -1)) != 0 && problem == 0) {
        problem = errno;
    }
    if (problem != 0) {
        fail(problem);
    }
}

void AppendedFile::fail(int problem) const {
    throw Refusal("cannot write '" + path_ + "': " + std::strerror(problem));
}

}  // namespace likeness
