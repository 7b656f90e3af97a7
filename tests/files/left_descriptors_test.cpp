#include "files/left_descriptors.hpp"

#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>
#include <fstream>

namespace likeness::testing {
namespace {

bool isOpen(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) >= 0;
}

TEST(LeftDescriptors, AreClosedOfThisFileAlone) {
    const ScratchDirectory folder;
    std::ofstream("a") << 'a';
    std::ofstream("b") << 'b';
    const int first = ::open("a", O_RDONLY);
    const int second = ::open("a", O_RDONLY);
    const int other = ::open("b", O_RDONLY);
    closeDescriptorsOf("a");
    EXPECT_FALSE(isOpen(first));
    EXPECT_FALSE(isOpen(second));
    EXPECT_TRUE(isOpen(other));
    closeDescriptorsOf("missing");
    closeDescriptorsOf(".");
    EXPECT_TRUE(isOpen(other));
    ::close(other);
}

}  // namespace
}  // namespace likeness::testing
