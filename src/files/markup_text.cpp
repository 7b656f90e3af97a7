#include "files/markup_text.hpp"

#include <cstddef>

namespace likeness {
namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";  // U+FFFD

unsigned byteAt(std::string_view text, std::size_t i) {
    return static_cast<unsigned char>(text[i]);
}

/// Bytes of the UTF-8 sequence at the start of `text`, 0 if there is none (RFC 3629: no overlong forms, no surrogates,
/// nothing above U+10FFFF).
std::size_t sequenceLength(std::string_view text) {
    const unsigned lead = byteAt(text, 0);
    if (lead < 0x80) {
        return 1;
    }
    const std::size_t length = lead >= 0xC2 && lead <= 0xDF   ? 2
                               : lead >= 0xE0 && lead <= 0xEF ? 3
                               : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                              : 0;
    if (length == 0 || text.size() < length) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byteAt(text, i) & 0xC0U) != 0x80U) {
            return 0;
        }
    }
    const unsigned second = byteAt(text, 1);
    const bool outside = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
                         (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F);
    return outside ? 0 : length;
}

/// Hands every character on as its bytes, what is none as U+FFFD.
template <typename Take>
void forEachCharacter(std::string_view text, Take take) {
    while (!text.empty()) {
        const std::size_t length = sequenceLength(text);
        take(length == 0 ? replacement : text.substr(0, length));
        text.remove_prefix(length == 0 ? 1 : length);
    }
}

bool isForbiddenControl(std::string_view character) {
    const unsigned code = byteAt(character, 0);
    return (code < 0x20 && code != '\t' && code != '\n' && code != '\r') || code == 0x7F;
}

}  // namespace

std::string validUtf8(std::string_view text) {
    std::string valid;
    forEachCharacter(text, [&](std::string_view character) { valid += character; });
    return valid;
}

std::string escapedMarkup(std::string_view text) {
    std::string escaped;
    forEachCharacter(text, [&](std::string_view character) {
        switch (character.front()) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\'':
                escaped += "&#39;";
                break;
            default:
                escaped += isForbiddenControl(character) ? replacement : character;
        }
    });
    return escaped;
}

}  // namespace likeness
