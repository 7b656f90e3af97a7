#include "files/replaced_file.hpp"

#include "files/crc32c.hpp"
#include "files/interrupt_cleanup.hpp"
#include "files/refusal.hpp"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>

namespace likeness {
namespace {

namespace fs = std::filesystem;

/// @return  0, or the errno of what failed
int writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ::ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0) {
            return EIO;
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

/// Permissions that a newly created file gets. The mask can only be read by setting it, which is done once: other
/// threads may be creating files.
::mode_t newFileMode() {
    static const ::mode_t mode = [] {
        const ::mode_t mask = ::umask(0);
        ::umask(mask);
        return static_cast<::mode_t>(0666 & ~mask);
    }();
    return mode;
}

/// Gives the new file the permissions of the one it replaces, and its owner where that is allowed.
/// @return  0, or the errno of what failed
int takeOverAccess(int descriptor, const fs::path& target) {
    struct ::stat existing {};
    if (::stat(target.c_str(), &existing) != 0) {
        return ::fchmod(descriptor, newFileMode()) == 0 ? 0 : errno;
    }
    if (existing.st_uid != ::geteuid() || existing.st_gid != ::getegid()) {
        // Only root may; anybody else becomes the owner of what is written.
        [[maybe_unused]] const int ignored = ::fchown(descriptor, existing.st_uid, existing.st_gid);
    }
    return ::fchmod(descriptor, existing.st_mode & 07777) == 0 ? 0 : errno;
}

/// A file that is written in the place of another, beside it. Its name tells of which, and it is locked while it is
/// written: what a killed process has left is found and taken, so that there is never more than one of it.
/// @return  its descriptor, or -1 with `errno`
int openTemporary(const fs::path& target, std::string& name) {
    // A name of its own length: one made from a long name might be too long.
    const std::string begin = fmt::format(".darkroom-write-{:08x}", crc32c(target.filename().string()));
    constexpr int most = 4096;  // of writers of one file at the same time
    for (int number = 0; number < most; ++number) {
        name = (target.parent_path() / fmt::format("{}-{}", begin, number)).string();
        const int descriptor =
            ::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0600);
        if (descriptor < 0) {
            if (errno == ELOOP || errno == EISDIR || errno == ENXIO || errno == EACCES) {
                std::error_code error;
                if (fs::exists(fs::symlink_status(name, error))) {
                    continue;  // somebody else's
                }
                errno = EACCES;
            }
            return -1;
        }
        struct ::stat opened {};
        struct ::stat named {};
        const bool locked = ::flock(descriptor, LOCK_EX | LOCK_NB) == 0;
        const bool locks = locked || errno == EWOULDBLOCK || errno == EINTR;
        // Another writer may have given it its name meanwhile.
        const bool ours = locked && ::fstat(descriptor, &opened) == 0 && ::lstat(name.c_str(), &named) == 0 &&
                          opened.st_ino == named.st_ino && opened.st_dev == named.st_dev && S_ISREG(opened.st_mode) &&
                          opened.st_nlink == 1 && opened.st_uid == ::geteuid();
        if (ours && ::ftruncate(descriptor, 0) == 0) {
            return descriptor;
        }
        if (!locks && ::fstat(descriptor, &opened) == 0 && opened.st_size == 0) {
            ::unlink(name.c_str());
        }
        ::close(descriptor);
        if (!locks) {  // the file system has none: a name that nobody else has, which a kill may leave
            name = (target.parent_path() / ".darkroom-XXXXXX").string();
            return ::mkstemp(name.data());
        }
    }
    errno = EEXIST;
    return -1;
}

int writeBeside(const fs::path& target, std::string_view bytes) {
    std::string temporary;
    std::optional<RemovedOnInterrupt> onInterrupt;
    int descriptor = -1;
    {
        const HeldInterruptions noSignal;
        descriptor = openTemporary(target, temporary);
        if (descriptor < 0) {
            return errno;
        }
        onInterrupt.emplace(temporary);
    }
    int problem = writeAll(descriptor, bytes);
    if (problem == 0) {
        problem = takeOverAccess(descriptor, target);
    }
    if (problem == 0 && ::fsync(descriptor) != 0 && errno != EINVAL) {
        problem = errno;
    }
    if (problem == 0 && std::rename(temporary.c_str(), target.c_str()) != 0) {
        problem = errno;
    }
    if (problem != 0) {
        ::unlink(temporary.c_str());
    }
    ::close(descriptor);  // which gives up the lock; all of the file is on the disk
    if (problem == 0) {
        synchronizeFolderOf(target.string());
    }
    return problem;
}

int writeInPlace(const std::string& path, std::string_view bytes) {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        return errno;
    }
    int problem = writeAll(::fileno(file), bytes);
    if (std::fclose(file) != 0 && problem == 0) {
        problem = errno;
    }
    return problem;
}

}  // namespace

fs::path followedLinks(const std::string& name) {
    constexpr int mostLinks = 40;  // as the kernel follows
    fs::path path = name;
    std::error_code error;
    for (int i = 0; i < mostLinks && fs::is_symlink(fs::symlink_status(path, error)); ++i) {
        const fs::path next = fs::read_symlink(path, error);
        if (error) {
            break;
        }
        path = next.is_absolute() ? next : path.parent_path() / next;
    }
    return fs::absolute(path, error);
}

std::string behindLinks(const std::string& path) {
    std::error_code error;
    return fs::is_symlink(fs::symlink_status(path, error)) ? followedLinks(path).string() : path;
}

void synchronizeFile(const std::string& path) noexcept {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor >= 0) {
        [[maybe_unused]] const int ignored = ::fsync(descriptor);
        ::close(descriptor);
    }
}

void synchronizeFolderOf(const std::string& path) noexcept {
    const fs::path folder = fs::path(path).parent_path();
    synchronizeFile(folder.empty() ? "." : folder.string());
}

void replaceFile(const std::string& path, std::string_view bytes) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    const bool special = fs::exists(status) && !fs::is_regular_file(status);
    int problem = 0;
    if (special) {
        problem = writeInPlace(path, bytes);
    } else {
        const fs::path target = followedLinks(path);
        problem = fs::is_symlink(fs::symlink_status(target, error)) ? ELOOP : writeBeside(target, bytes);
    }
    if (problem != 0) {
        throw Refusal("cannot write '" + path + "': " + std::strerror(problem));
    }
}

}  // namespace likeness
