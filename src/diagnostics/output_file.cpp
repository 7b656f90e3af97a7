#include "diagnostics/output_file.hpp"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>

namespace likeness {

OutputFile::OutputFile(const std::string& path) noexcept
    : descriptor_(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)), complete_(descriptor_ >= 0) {}

OutputFile::~OutputFile() {
    close();
}

void OutputFile::write(std::string_view bytes) noexcept {
    while (complete_ && !bytes.empty()) {
        const ::ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
        if (written > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            complete_ = false;
        }
    }
}

bool OutputFile::close() noexcept {
    if (descriptor_ >= 0) {
        complete_ = ::close(descriptor_) == 0 && complete_;
        descriptor_ = -1;
    }
    return complete_;
}

}  // namespace likeness
