#include "batch/working_file.hpp"

#include "batch/stable_hash.hpp"

#include <fmt/format.h>

#include <filesystem>

namespace likeness {

namespace fs = std::filesystem;

std::string workingFile(const std::string& output, std::string_view purpose) {
    const fs::path path(output);
    const std::string name = fmt::format(".darkroom-{}-{:016x}", purpose, wideHash(path.filename().string()).low);
    return (path.parent_path() / name).string();
}

void removeWithJournals(const std::string& path) {
    for (const char* const ending : {"", "-wal", "-shm", "-journal"}) {
        std::error_code error;
        fs::remove(path + ending, error);
    }
}

}  // namespace likeness
