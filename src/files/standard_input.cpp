#include "files/standard_input.hpp"

#include "files/refusal.hpp"

#include <sys/mman.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <cstring>

namespace likeness {
namespace {

/// Of the memory that holds what was read; -1 before.
int& heldInput() {
    static int descriptor = -1;
    return descriptor;
}

[[noreturn]] void refuse(int problem) {
    throw Refusal(std::string("cannot read standard input: ") + std::strerror(problem));
}

void writeAll(int descriptor, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ::ssize_t written = ::write(descriptor, bytes, count);
        if (written < 0 && errno != EINTR) {
            refuse(errno);
        }
        if (written > 0) {
            bytes += written;
            count -= static_cast<std::size_t>(written);
        }
    }
}

}  // namespace

void takeStandardInput() {
    if (heldInput() >= 0) {
        return;
    }
    if (::isatty(STDIN_FILENO) == 1) {
        throw Refusal("'-' is standard input, which is a terminal: lead a file or a program's output into it");
    }
    const int descriptor = ::memfd_create("standard input", MFD_CLOEXEC);
    if (descriptor < 0) {
        refuse(errno);
    }
    heldInput() = descriptor;
    std::array<char, std::size_t{1} << 16> block{};
    bool any = false;
    for (;;) {
        const ::ssize_t count = ::read(STDIN_FILENO, block.data(), block.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            refuse(errno);
        }
        if (count == 0) {
            break;
        }
        any = true;
        writeAll(descriptor, block.data(), static_cast<std::size_t>(count));
    }
    if (!any) {
        throw Refusal("'-' is standard input, which is empty");
    }
}

std::string placeOfInput(const std::string& name) {
    return name == standardStream && heldInput() >= 0 ? "/proc/self/fd/" + std::to_string(heldInput()) : name;
}

}  // namespace likeness
