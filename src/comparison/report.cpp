#include "comparison/report.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <ctime>

namespace likeness {
namespace {

/// Waits for the others that append to the file. Nobody has the lock for longer than a write takes; where the file
/// system knows no locks, or somebody else keeps it, the text is appended all the same.
void lockAgainstOthers(int descriptor) {
    constexpr int milliseconds = 500;
    for (int waited = 0; ::flock(descriptor, LOCK_EX | LOCK_NB) != 0 && waited < milliseconds; ++waited) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            return;
        }
        const ::timespec millisecond{0, 1000000};
        ::nanosleep(&millisecond, nullptr);
    }
}

/// Takes the first part of a text away again, the last `count` bytes of the file; unless somebody who asks for no lock
/// has appended something meanwhile, which stays.
void takeBack(int descriptor, ::off_t count) {
    struct ::stat file {};
    const ::off_t end = ::lseek(descriptor, 0, SEEK_CUR);  // of what was written, wherever it was appended
    if (end >= count && ::fstat(descriptor, &file) == 0 && S_ISREG(file.st_mode) && file.st_size == end) {
        // Nothing else can be done where this fails.
        [[maybe_unused]] const int ignored = ::ftruncate(descriptor, end - count);
    }
}

/// @return  empty, or why the text is not in the file
std::string append(int descriptor, std::string_view text) {
    ::ssize_t written = 0;
    do {
        written = ::write(descriptor, text.data(), text.size());
    } while (written < 0 && errno == EINTR);
    if (written < 0) {
        return std::string("cannot be written: ") + std::strerror(errno);
    }
    if (static_cast<std::size_t>(written) < text.size()) {
        takeBack(descriptor, written);
        return "was cut off: no space left";
    }
    return {};
}

}  // namespace

std::string appendToReport(const std::string& path, std::string_view text) {
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        return std::string("cannot be opened for appending: ") + std::strerror(errno);
    }
    lockAgainstOthers(descriptor);
    std::string problem = append(descriptor, text);
    if (::close(descriptor) != 0 && problem.empty()) {
        problem = std::string("cannot be written: ") + std::strerror(errno);
    }
    return problem;
}

}  // namespace likeness
