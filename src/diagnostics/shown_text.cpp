#include "diagnostics/shown_text.hpp"

#include <cstdint>
#include <cstdio>

namespace likeness {
namespace {

unsigned byteAt(std::string_view text, std::size_t at) noexcept {
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U;
}

/// Unicode number of a well-formed character.
std::uint32_t codePoint(std::string_view text, std::size_t at, std::size_t length) noexcept {
    const unsigned lead = byteAt(text, at);
    std::uint32_t code = length == 1 ? lead : lead & (0x7fU >> length);
    for (std::size_t k = 1; k < length; ++k) {
        code = code << 6U | (byteAt(text, at + k) & 0x3fU);
    }
    return code;
}

bool between(std::uint32_t code, std::uint32_t first, std::uint32_t last) noexcept {
    return code >= first && code <= last;
}

/// Whether a terminal would do something other than show the character in its place.
bool acts(std::uint32_t code) noexcept {
    return code < 0x20 || between(code, 0x7f, 0x9f) ||                      // C0, DEL, C1
           code == 0x2028 || code == 0x2029 ||                              // line and paragraph separator
           between(code, 0x202a, 0x202e) || between(code, 0x2066, 0x2069);  // embedded and overridden directions
}

void addEscaped(std::string& shown, std::uint32_t code) {
    switch (code) {
        case '\n':
            shown += "\\n";
            return;
        case '\r':
            shown += "\\r";
            return;
        case '\t':
            shown += "\\t";
            return;
        default:
            char escape[8];
            std::snprintf(escape, sizeof escape, code < 0x80 ? "\\x%02x" : "\\u%04x",
                          static_cast<unsigned>(code & 0xffffU));
            shown += escape;
    }
}

void addByte(std::string& shown, unsigned byte) {
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\x%02x", byte & 0xffU);
    shown += escape;
}

std::string shown(std::string_view text, bool lines) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = utf8Length(text, at);
        if (length == 0) {
            addByte(result, byteAt(text, at));
            ++at;
            continue;
        }
        const std::uint32_t code = codePoint(text, at, length);
        if (acts(code) && !(lines && (code == '\n' || code == '\t'))) {
            addEscaped(result, code);
        } else {
            result += text.substr(at, length);
        }
        at += length;
    }
    return result;
}

}  // namespace

std::size_t utf8Length(std::string_view text, std::size_t at) noexcept {
    const unsigned lead = byteAt(text, at);
    const std::size_t length = lead < 0x80U   ? 1
                               : lead < 0xc2U ? 0
                               : lead < 0xe0U ? 2
                               : lead < 0xf0U ? 3
                               : lead < 0xf5U ? 4
                                              : 0;
    for (std::size_t k = 1; k < length; ++k) {
        if ((byteAt(text, at + k) & 0xc0U) != 0x80U) {
            return 0;
        }
    }
    const unsigned next = byteAt(text, at + 1);
    const bool overlong = (lead == 0xe0U && next < 0xa0U) || (lead == 0xf0U && next < 0x90U);
    const bool outside = (lead == 0xedU && next >= 0xa0U) || (lead == 0xf4U && next >= 0x90U);
    return overlong || outside ? 0 : length;
}

std::string shownText(std::string_view text) {
    return shown(text, false);
}

std::string shownLines(std::string_view text) {
    return shown(text, true);
}

}  // namespace likeness
