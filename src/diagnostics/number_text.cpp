#include "diagnostics/number_text.hpp"

#include <charconv>
#include <string_view>
#include <vector>

#include "diagnostics/output_file.hpp"

namespace likeness {

char* writeNumber(char* out, float value) noexcept {
    return std::to_chars(out, out + numberTextCapacity, value, std::chars_format::general, 6).ptr;
}

std::string numberText(float value) {
    char text[numberTextCapacity];
    return {text, writeNumber(text, value)};
}

bool writeMapText(const std::string& path, const cv::Mat& map, int rows, int cols) {
    OutputFile file(path);
    std::vector<char> buffer(std::size_t{1} << 18);
    char* const begin = buffer.data();
    const char* const full = begin + buffer.size() - numberTextCapacity;
    char* end = begin;
    for (int i = 0; i < rows; ++i) {
        const float* const values = map.ptr<float>(i);
        for (int j = 0; j < cols; ++j) {
            end = writeNumber(end, values[j]);
            *end++ = '\n';
            if (end >= full) {
                file.write({begin, static_cast<std::size_t>(end - begin)});
                end = begin;
            }
        }
    }
    file.write({begin, static_cast<std::size_t>(end - begin)});
    return file.close();
}

}  // namespace likeness
