#include "harness.hpp"

#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace likeness::fuzz {
namespace {

namespace fs = std::filesystem;

struct Folder {
    Folder() : path(fs::temp_directory_path() / ("likeness-fuzz-" + std::to_string(::getpid()))) {
        fs::create_directories(path);
    }
    ~Folder() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    fs::path path;
};

}  // namespace

void require(bool holds, std::string_view promise, const char* file, int line) {
    if (!holds) {
        std::fprintf(stderr, "%s:%d: broken: %.*s\n", file, line, static_cast<int>(promise.size()), promise.data());
        std::abort();
    }
}

std::string Choices::word() {
    static constexpr std::string_view letters = "abcXYZ019 ,\"\n\\/{";
    std::string text;
    for (std::size_t left = upTo(15); left > 0; --left) {
        text += letters[byte() % letters.size()];
    }
    return text;
}

std::string scratchPath(const std::string& name) {
    static const Folder folder;
    return (folder.path / name).string();
}

void writeFile(const std::string& path, std::string_view bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    require(!file.fail(), "the scratch file is written");
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace likeness::fuzz
