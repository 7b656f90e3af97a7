#include "diagnostics/message_lines.hpp"

#include "diagnostics/number_text.hpp"

namespace likeness {
namespace {

// Bounded: a line for each element of a large photograph would fill gigabytes.
constexpr std::size_t pieceSize = std::size_t{1} << 20;

}  // namespace

MessageLines::~MessageLines() {
    if (!text_.empty()) {
        diagnostics_.print(text_);
    }
}

void MessageLines::append(std::string_view line) {
    if (text_.size() + line.size() >= pieceSize) {
        diagnostics_.print(text_);
        text_.clear();
    }
    text_.append(line).push_back('\n');
}

void MessageLines::append(float value) {
    char text[numberTextCapacity];
    append(std::string_view(text, static_cast<std::size_t>(writeNumber(text, value) - text)));
}

}  // namespace likeness
