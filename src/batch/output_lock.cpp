#include "batch/output_lock.hpp"

#include "files/refusal.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <limits>

namespace likeness {
namespace {

/// The byte that the lock lies on. SQLite's are those behind the first GiB.
struct ::flock lockedByte(short type) {
    struct ::flock byte {};
    byte.l_type = type;
    byte.l_whence = SEEK_SET;
    byte.l_start = std::numeric_limits<::off_t>::max() - 1;
    byte.l_len = 1;
    return byte;
}

/// Whether the open file still has its name: somebody may have removed or replaced it meanwhile.
bool hasName(int descriptor, const std::string& path) {
    struct ::stat opened {};
    struct ::stat named {};
    return ::fstat(descriptor, &opened) == 0 && ::stat(path.c_str(), &named) == 0 && opened.st_ino == named.st_ino &&
           opened.st_dev == named.st_dev;
}

}  // namespace

OutputLock::OutputLock(const std::string& output, Links links, const std::string& shown) : path_(output) {
    const int flags = O_RDWR | O_CLOEXEC | (links == Links::refuse ? O_NOFOLLOW : 0);
    for (;;) {
        descriptor_ = ::open(path_.c_str(), flags);
        created_ = false;
        if (descriptor_ < 0 && errno == ENOENT) {
            descriptor_ = ::open(path_.c_str(), flags | O_CREAT, 0666);
            created_ = true;
        }
        if (descriptor_ < 0) {
            throw Refusal("cannot write '" + path_ + "': " + std::strerror(errno));
        }
        struct ::flock byte = lockedByte(F_WRLCK);
        if (::fcntl(descriptor_, F_OFD_SETLK, &byte) != 0) {
            const int problem = errno;
            ::close(descriptor_);
            throw Refusal(problem == EAGAIN || problem == EACCES
                              ? "'" + (shown.empty() ? output : shown) + "' is being written by another process"
                              : "cannot lock '" + path_ + "': " + std::strerror(problem));
        }
        if (hasName(descriptor_, path_)) {
            return;
        }
        ::close(descriptor_);
    }
}

OutputLock::~OutputLock() {
    struct ::stat now {};
    if (created_ && ::fstat(descriptor_, &now) == 0 && now.st_size == 0 && hasName(descriptor_, path_)) {
        ::unlink(path_.c_str());  // while the lock is held: nobody else can have written into it
    }
    ::close(descriptor_);
}

bool isLocked(const std::string& output) {
    const int descriptor = ::open(output.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        return false;
    }
    struct ::flock byte = lockedByte(F_RDLCK);
    const bool locked = ::fcntl(descriptor, F_OFD_GETLK, &byte) == 0 && byte.l_type != F_UNLCK;
    ::close(descriptor);
    return locked;
}

}  // namespace likeness
