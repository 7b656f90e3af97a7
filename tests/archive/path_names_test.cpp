#include "archive/path_names.hpp"

#include <gtest/gtest.h>

namespace likeness::testing {
namespace {

TEST(PathNames, AreSortedByTheirBytesAndStandThereOnce) {
    PathNames names;
    EXPECT_TRUE(names.empty());
    for (const std::string& name : {std::string("b"), std::string("a/long name that no short string holds.jpg"),
                                    std::string("\xc3\xa4"), std::string("a"), std::string("b"), std::string()}) {
        names.add(name);
    }
    names.sortUnique();
    ASSERT_EQ(names.size(), 5U);
    EXPECT_EQ(names[0], "");
    EXPECT_EQ(names[1], "a");
    EXPECT_EQ(names[2], "a/long name that no short string holds.jpg");
    EXPECT_EQ(names[3], "b");
    EXPECT_EQ(names[4], "\xc3\xa4");
    EXPECT_TRUE(names.contains("b"));
    EXPECT_FALSE(names.contains("c"));
    names.select([](std::string_view name) { return name != "b"; });
    EXPECT_EQ(names.size(), 4U);
    EXPECT_FALSE(names.contains("b"));
    EXPECT_TRUE(names.contains("\xc3\xa4"));
}

}  // namespace
}  // namespace likeness::testing
