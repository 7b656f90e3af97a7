#include "darkroom/batch/output_lock.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "darkroom/refusal.hpp"

namespace likeness::darkroom {
namespace {

/// Whether the open file still has its name: its last owner may have removed it meanwhile.
bool hasName(int descriptor, const std::string& path) {
    struct ::stat opened {};
    struct ::stat named {};
    return ::fstat(descriptor, &opened) == 0 && ::stat(path.c_str(), &named) == 0 && opened.st_ino == named.st_ino &&
           opened.st_dev == named.st_dev;
}

}  // namespace

std::string lockOf(const std::string& output) {
    return output + ".lock";
}

OutputLock::OutputLock(const std::string& output) : path_(lockOf(output)) {
    for (;;) {
        descriptor_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        if (descriptor_ < 0) {
            throw Refusal("cannot write '" + path_ + "': " + std::strerror(errno));
        }
        if (::flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
            const int problem = errno;
            ::close(descriptor_);
            throw Refusal(problem == EWOULDBLOCK ? "'" + output + "' is being written by another process"
                                                 : "cannot lock '" + path_ + "': " + std::strerror(problem));
        }
        if (hasName(descriptor_, path_)) {
            return;
        }
        ::close(descriptor_);
    }
}

OutputLock::~OutputLock() {
    ::unlink(path_.c_str());  // while the lock is held: nobody else can have it under this name
    ::close(descriptor_);
}

bool isLocked(const std::string& output) {
    const int descriptor = ::open(lockOf(output).c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return false;
    }
    const bool locked = ::flock(descriptor, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    ::close(descriptor);
    return locked;
}

}  // namespace likeness::darkroom
