#include "comparison/report.hpp"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace likeness {

std::string appendToReport(const std::string& path, std::string_view text) {
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        return std::string("cannot be opened for appending: ") + std::strerror(errno);
    }
    std::string problem;
    ::ssize_t written = 0;
    do {
        written = ::write(descriptor, text.data(), text.size());
    } while (written < 0 && errno == EINTR);
    if (written < 0) {
        problem = std::string("cannot be written: ") + std::strerror(errno);
    } else if (static_cast<std::size_t>(written) < text.size()) {
        problem = "was cut off: no space left";
    }
    if (::close(descriptor) != 0 && problem.empty()) {
        problem = std::string("cannot be written: ") + std::strerror(errno);
    }
    return problem;
}

}  // namespace likeness
