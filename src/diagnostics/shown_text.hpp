#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace likeness {

/// Length of the character that begins at `at`, if it is well-formed UTF-8 (RFC 3629); 0 if not.
/// @param at  < text.size()
std::size_t utf8Length(std::string_view text, std::size_t at) noexcept;

/// A text of somebody else's (a file's name, an id, what a decoder says) as it may stand in a line on a terminal:
/// control characters, line ends of every kind, marks that reverse the direction of writing, and bytes that are not
/// UTF-8 are escaped: "\n", "\t", "\r", "\x1b", "\u009b", "\u2028". Everything else is as it was, a backslash too: the
/// text is to be read by people, not to be turned back.
std::string shownText(std::string_view text);

/// The same line by line: line ends (LF) and tabs stay.
std::string shownLines(std::string_view text);

}  // namespace likeness
