#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace likeness {

/// A field of a CSV file (RFC 4180): quoted where it holds a comma, a quote or an end of line.
inline std::string csvField(std::string_view text) {
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
        return std::string(text);
    }
    std::string field = "\"";
    for (const char c : text) {
        field += c;
        if (c == '"') {
            field += '"';
        }
    }
    return field + '"';
}

/// A line of fields, with its end ("\n").
inline std::string csvLine(const std::vector<std::string>& fields) {
    std::string line;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        line += (i == 0 ? "" : ",") + csvField(fields[i]);
    }
    return line + '\n';
}

}  // namespace likeness
