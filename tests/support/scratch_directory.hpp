#pragma once

#include <filesystem>
#include <string>

namespace likeness::testing {

/// An empty folder that is the working directory while the object lives, and is removed with everything in it.
class ScratchDirectory {
public:
    ScratchDirectory();
    ~ScratchDirectory();
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path previous_;
    std::filesystem::path path_;
};

/// Whole content of a file; fails the test if it cannot be read.
std::string contentOf(const std::filesystem::path& file);

/// What `action` prints on standard output.
template <typename Action>
std::string printedBy(Action action);

}  // namespace likeness::testing

#include <gtest/gtest.h>

template <typename Action>
std::string likeness::testing::printedBy(Action action) {
    ::testing::internal::CaptureStdout();
    action();
    return ::testing::internal::GetCapturedStdout();
}
