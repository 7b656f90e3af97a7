// Tests of what stands on packages that a machine may lack.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace likeness::testing {

/// Whether scripts/test says that it has installed all packages: then no test may be left out for want of one.
inline bool areAllPackagesInstalled() {
    const char* const said = std::getenv("LIKENESS_ALL_PACKAGES");
    return said != nullptr && std::string(said) == "1";
}

}  // namespace likeness::testing

/// Ends a test, or SetUp, for want of a package: skipped with the reason, but a failure where all are installed.
#define SKIP_WITHOUT_PACKAGE(reason)                              \
    do {                                                          \
        if (::likeness::testing::areAllPackagesInstalled()) {     \
            FAIL() << (reason) << ", but all packages are there"; \
        }                                                         \
        GTEST_SKIP() << (reason);                                 \
    } while (false)
