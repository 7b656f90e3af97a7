#pragma once

#include <likeness/diagnostics/diagnostics.hpp>

#include <string>
#include <string_view>

namespace likeness {

/// Lines that a loop prints, possibly one per element of the image: collected and handed on in large pieces, the last
/// one when the object goes. Where nobody wants messages nothing is formatted.
class MessageLines {
public:
    explicit MessageLines(const Diagnostics& diagnostics)
        : diagnostics_(diagnostics), wanted_(diagnostics.wantsMessages()) {}
    ~MessageLines();
    MessageLines(const MessageLines&) = delete;
    MessageLines& operator=(const MessageLines&) = delete;

    /// Adds `line` and an end of line.
    void add(std::string_view line) {
        if (wanted_) {
            append(line);
        }
    }

    /// Adds a line of `value` in the default float format of a stream.
    void add(float value) {
        if (wanted_) {
            append(value);
        }
    }

private:
    void append(std::string_view line);
    void append(float value);

    const Diagnostics& diagnostics_;
    bool wanted_;
    std::string text_;
};

}  // namespace likeness
