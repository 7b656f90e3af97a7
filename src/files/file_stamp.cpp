#include "files/file_stamp.hpp"

#include <sys/stat.h>
#include <algorithm>

namespace likeness {

std::optional<FileStamp> stampOf(const std::string& path) {
    struct ::stat status {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    constexpr std::int64_t nanoseconds = 1'000'000'000;
    const std::int64_t modified = status.st_mtim.tv_sec * nanoseconds + status.st_mtim.tv_nsec;
    return FileStamp{static_cast<std::uint64_t>(status.st_size),
                     static_cast<std::uint64_t>(std::max<std::int64_t>(0, modified))};
}

}  // namespace likeness
