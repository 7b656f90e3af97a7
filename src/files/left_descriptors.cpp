#include "files/left_descriptors.hpp"

#include <sys/stat.h>
#include <unistd.h>
#include <charconv>
#include <filesystem>
#include <vector>

namespace likeness {

void closeDescriptorsOf(const std::string& path) {
    struct stat file {};
    if (::stat(path.c_str(), &file) != 0 || !S_ISREG(file.st_mode)) {
        return;
    }
    std::vector<int> left;
    std::error_code error;
    std::filesystem::directory_iterator entries("/proc/self/fd", error);
    for (; !error && entries != std::filesystem::directory_iterator(); entries.increment(error)) {
        const std::string name = entries->path().filename();
        int descriptor = -1;
        std::from_chars(name.data(), name.data() + name.size(), descriptor);
        struct stat open {};
        if (descriptor > STDERR_FILENO && ::fstat(descriptor, &open) == 0 && open.st_dev == file.st_dev &&
            open.st_ino == file.st_ino) {
            left.push_back(descriptor);
        }
    }
    for (const int descriptor : left) {
        ::close(descriptor);
    }
}

}  // namespace likeness
