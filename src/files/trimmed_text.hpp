// Fields of texts that people write.
#pragma once

#include <string>

namespace likeness {

/// The text without the spaces, tabs and line ends around it.
inline std::string trimmed(const std::string& text) {
    constexpr const char* blank = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(blank);
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(blank) + 1 - begin);
}

}  // namespace likeness
