// Runs a harness over files, or over all files of folders: the corpus as an ordinary test.
#include "harness.hpp"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

namespace fs = std::filesystem;

int main(int argc, char** argv) {
    std::vector<fs::path> files;
    for (int k = 1; k < argc; ++k) {
        if (!fs::is_directory(argv[k])) {
            files.emplace_back(argv[k]);
            continue;
        }
        for (const auto& entry : fs::recursive_directory_iterator(argv[k])) {
            if (entry.is_regular_file()) {
                files.push_back(entry.path());
            }
        }
    }
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) {
        std::printf("%s\n", file.c_str());
        std::fflush(stdout);
        const std::string bytes = likeness::fuzz::contentOf(file.string());
        // A copy of just this length: the sanitizers see the first byte that is read behind it.
        const auto copy = std::make_unique<std::uint8_t[]>(bytes.size());
        std::copy(bytes.begin(), bytes.end(), copy.get());
        LLVMFuzzerTestOneInput(copy.get(), bytes.size());
    }
    std::printf("%zu files\n", files.size());
    return files.empty() ? 1 : 0;
}
