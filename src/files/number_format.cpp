#include "files/number_format.hpp"

#include <fmt/format.h>

#include <cmath>
#include <cstdlib>

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

}  // namespace likeness
