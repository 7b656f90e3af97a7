#include "files/number_format.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace likeness {

std::string nineDigits(double value) {
    return std::isnan(value) ? "nan" : fmt::format("{:.9g}", value);
}

double roundedToNineDigits(double value) {
    return std::strtod(nineDigits(value).c_str(), nullptr);
}

std::string numberOf(std::uint64_t count, std::string_view singular, std::string_view plural) {
    std::string text = std::to_string(count) + ' ';
    text += count == 1 || plural.empty() ? singular : plural;
    return count == 1 || !plural.empty() ? text : text + 's';
}

std::vector<std::string> partsOf(const std::string& text) {
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

double parseNumber(const std::string& text) {
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    const bool plain = text.find_first_not_of("0123456789+-.eE") == std::string::npos;
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    return plain && !text.empty() && *end == '\0' && std::isfinite(value) ? value : none;
}

}  // namespace likeness
