#pragma once

#include <string>
#include <string_view>

namespace likeness {

/// Text as content or as quoted attribute value of HTML and SVG: &, <, >, " and ' are escaped. Bytes that are no UTF-8
/// and control characters, which such a page must not hold, become U+FFFD; a tab or an end of line stays.
std::string escapedMarkup(std::string_view text);

/// The text with everything that is no UTF-8 replaced by U+FFFD.
std::string validUtf8(std::string_view text);

}  // namespace likeness
