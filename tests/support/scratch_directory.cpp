#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <stdlib.h>
#include <fstream>
#include <sstream>

namespace likeness::testing {

ScratchDirectory::ScratchDirectory() : previous_(std::filesystem::current_path()) {
    std::string pattern = (std::filesystem::temp_directory_path() / "likeness-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::filesystem::filesystem_error("no scratch folder", pattern,
                                                std::error_code(errno, std::generic_category()));
    }
    path_ = pattern;
    std::filesystem::current_path(path_);
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::current_path(previous_, ignored);
    std::filesystem::remove_all(path_, ignored);
}

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    EXPECT_TRUE(stream.is_open()) << file;
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

}  // namespace likeness::testing
