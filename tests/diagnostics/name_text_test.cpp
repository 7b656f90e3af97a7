#include <likeness/diagnostics/name_text.hpp>

#include "reference/color_reference.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace likeness {
namespace {

TEST(ConvertIntToString, IsDecimal) {
    EXPECT_EQ(convertIntToString(-5), "-5");
    EXPECT_EQ(convertIntToString(0), "0");
    EXPECT_EQ(convertIntToString(17), "17");
    EXPECT_EQ(convertIntToString(std::numeric_limits<int>::min()), "-2147483648");
    for (int n = -1'234'567'890; n < 2'000'000'000 - 7'654'321; n += 7'654'321) {
        EXPECT_EQ(convertIntToString(n), reference::convertIntToString(n));
    }
}

TEST(RemoveExtension, CutsAtTheLastDot) {
    EXPECT_EQ(remove_extension("a.b.jpg"), "a.b");
    EXPECT_EQ(remove_extension("photo.jpg"), "photo");
    EXPECT_EQ(remove_extension("photo."), "photo");
}

TEST(RemoveExtension, LeavesATextWithoutADot) {
    EXPECT_EQ(remove_extension("photo"), "photo");
    EXPECT_EQ(remove_extension(""), "");
}

TEST(RemoveExtension, TakesALeadingDotForTheExtensions) {
    EXPECT_EQ(remove_extension(".jpg"), "");
}

TEST(RemoveExtension, DoesNotKnowDirectories) {
    EXPECT_EQ(remove_extension("set.06/photo"), "set");
}

TEST(RemoveExtension, IsTheLiteralVersion) {
    for (const char* const name : {"", ".", "..", "a.", ".a", "a.b", "a.b.c", "./a", "../a.b/c", "a"}) {
        EXPECT_EQ(remove_extension(name), reference::remove_extension(name)) << name;
    }
}

}  // namespace
}  // namespace likeness
