#include "diagnostics/shown_text.hpp"

#include <gtest/gtest.h>

namespace likeness {
namespace {

TEST(ShownText, LeavesWhatPeopleCanRead) {
    for (const char* const text : {"", "a b.jpg", "\"quoted\" 'too' \\ %s ~", "\u00e9t\u00e9", "\u65e5\u672c",
                                   "\U0001f4f7", "\u00a0", "\u00ff", "\u2027", "\u202f", "\ufffd"}) {
        EXPECT_EQ(shownText(text), text);
        EXPECT_EQ(shownLines(text), text);
    }
}

TEST(ShownText, EscapesWhatATerminalActsOn) {
    EXPECT_EQ(shownText("a\nb\r\tc"), "a\\nb\\r\\tc");
    EXPECT_EQ(shownText("\x1b[2J\a"), "\\x1b[2J\\x07");
    EXPECT_EQ(shownText(std::string_view("\0|\x1f|\x7f", 5)), "\\x00|\\x1f|\\x7f");
    EXPECT_EQ(shownText("\u0080|\u009b|\u009f"), "\\u0080|\\u009b|\\u009f");
    EXPECT_EQ(shownText("\u2028|\u2029|\u202e|\u2066"), "\\u2028|\\u2029|\\u202e|\\u2066");
}

TEST(ShownText, EscapesWhatIsNotUtf8) {
    EXPECT_EQ(shownText("\x80|\xff|\xc3"), "\\x80|\\xff|\\xc3");                  // alone, never, cut off
    EXPECT_EQ(shownText("\xc0\x9b|\xe0\x82\x9b"), "\\xc0\\x9b|\\xe0\\x82\\x9b");  // overlong
    EXPECT_EQ(shownText("\xed\xa0\x80"), "\\xed\\xa0\\x80");                      // half of a pair of UTF-16
    EXPECT_EQ(shownText("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");             // beyond the last character
    EXPECT_EQ(shownText("\xe6\x97\n"), "\\xe6\\x97\\n");
}

TEST(ShownText, LinesKeepTheirEndsAndTabs) {
    EXPECT_EQ(shownLines("a\tb\n\x1b\r\n"), "a\tb\n\\x1b\\r\n");
}

TEST(ShownText, NothingThatActsIsLeft) {
    for (unsigned first = 0; first < 256; ++first) {
        for (unsigned second = 0; second < 256; ++second) {
            const std::string text = {static_cast<char>(first), static_cast<char>(second)};
            const std::string shown = shownText(text);
            for (std::size_t at = 0; at < shown.size(); at += utf8Length(shown, at)) {
                ASSERT_NE(utf8Length(shown, at), 0U) << first << ' ' << second;
                const auto byte = static_cast<unsigned char>(shown[at]);
                ASSERT_TRUE(byte >= 0x20 && byte != 0x7f);
                ASSERT_FALSE(byte == 0xc2 && static_cast<unsigned char>(shown[at + 1]) < 0xa0);
            }
        }
    }
}

}  // namespace
}  // namespace likeness
