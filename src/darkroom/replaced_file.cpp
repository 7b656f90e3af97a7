#include "darkroom/replaced_file.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "darkroom/refusal.hpp"

namespace likeness::darkroom {
namespace {

namespace fs = std::filesystem;

/// @return  0, or the errno of what failed
int writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ::ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

/// Permissions that a newly created file gets.
::mode_t newFileMode() {
    const ::mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

int writeBeside(const fs::path& target, bool exists, std::string_view bytes) {
    std::string temporary = (target.parent_path() / ("." + target.filename().string() + ".XXXXXX")).string();
    const int descriptor = ::mkstemp(temporary.data());
    if (descriptor < 0) {
        return errno;
    }
    struct ::stat existing {};
    const bool keepsMode = exists && ::stat(target.c_str(), &existing) == 0;
    int problem = writeAll(descriptor, bytes);
    if (problem == 0 && ::fchmod(descriptor, keepsMode ? existing.st_mode & 07777 : newFileMode()) != 0) {
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

void replaceFile(const std::string& path, std::string_view bytes) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    const bool exists = fs::exists(status);
    int problem = 0;
    if (exists && !fs::is_regular_file(status)) {
        problem = writeInPlace(path, bytes);
    } else {
        const fs::path target = exists ? fs::canonical(path, error) : fs::absolute(path, error);
        problem = writeBeside(target, exists, bytes);
    }
    if (problem != 0) {
        throw Refusal("cannot write '" + path + "': " + std::strerror(problem));
    }
}

}  // namespace likeness::darkroom
