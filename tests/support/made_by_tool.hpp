// Files that the formats' own tools make, in the current folder.
#pragma once

#include "support/built_modules.hpp"
#include "support/needed_package.hpp"
#include "support/process.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace likeness::testing {

/// Whether a tool could be run and made a file; fails the test if it ran and ended with an error.
inline bool made(const std::vector<std::string>& command, const std::string& file) {
    std::vector<std::string> all{"/usr/bin/env"};
    all.insert(all.end(), command.begin(), command.end());
    const Outcome outcome = run(all, std::filesystem::current_path());
    EXPECT_TRUE(outcome.status == 0 || outcome.status == 127) << command.front() << ": " << outcome.err;
    return outcome.status == 0 && std::filesystem::exists(file);
}

}  // namespace likeness::testing

/// Makes a file, or skips the test where the tool or the module that reads it is not there.
#define REQUIRE_TOOL(module, ...)                                                                 \
    if (!::likeness::testing::isModuleBuilt(module) || !::likeness::testing::made(__VA_ARGS__)) { \
        SKIP_WITHOUT_PACKAGE(std::string("the module ") + (module) +                              \
                             " or the tool that makes the file is not installed");                \
    }
