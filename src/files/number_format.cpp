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

}  // namespace likeness
