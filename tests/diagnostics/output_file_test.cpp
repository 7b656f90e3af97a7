#include "diagnostics/output_file.hpp"

#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

namespace likeness {
namespace {

using testing::contentOf;
using testing::ScratchDirectory;

TEST(OutputFile, HoldsWhatWasWritten) {
    const ScratchDirectory scratch;
    OutputFile file("file");
    file.write("one ");
    file.write({});
    file.write(std::string_view("t\0wo", 4));
    EXPECT_TRUE(file.close());
    EXPECT_TRUE(file.close());
    EXPECT_EQ(contentOf("file"), std::string("one t\0wo", 8));
}

TEST(OutputFile, ReplacesWhatWasThere) {
    const ScratchDirectory scratch;
    {
        OutputFile file("file");
        file.write("something long");
    }
    EXPECT_EQ(contentOf("file"), "something long");
    OutputFile file("file");
    EXPECT_EQ(contentOf("file"), "");
    file.write("short");
    EXPECT_TRUE(file.close());
    EXPECT_EQ(contentOf("file"), "short");
}

TEST(OutputFile, TellsThatItCouldNotBeOpened) {
    const ScratchDirectory scratch;
    OutputFile file("no such folder/file");
    file.write("lost");
    EXPECT_FALSE(file.close());
    EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST(OutputFile, TellsThatTheDiskIsFull) {
    if (!std::filesystem::exists("/dev/full")) {
        return;  // systems without the device have no disk that is always full
    }
    OutputFile file("/dev/full");
    file.write("lost");
    file.write("lost too");
    EXPECT_FALSE(file.close());
}

}  // namespace
}  // namespace likeness
