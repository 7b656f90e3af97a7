#include "files/replaced_file.hpp"

#include "files/interrupt_cleanup.hpp"
#include "files/refusal.hpp"

#include <fcntl.h>
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

int writeBeside(const fs::path& target, std::string_view bytes) {
    // A name of its own length: one made from a long name might be too long.
    std::string temporary = (target.parent_path() / ".darkroom-XXXXXX").string();
    std::optional<RemovedOnInterrupt> onInterrupt;
    int descriptor = -1;
    {
        const HeldInterruptions noSignal;
        descriptor = ::mkstemp(temporary.data());
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
    if (::close(descriptor) != 0 && problem == 0) {
        problem = errno;
    }
    if (problem == 0 && std::rename(temporary.c_str(), target.c_str()) != 0) {
        problem = errno;
    }
    if (problem != 0) {
        ::unlink(temporary.c_str());
    } else {
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
