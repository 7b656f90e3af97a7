#include "darkroom/option_checks.hpp"

#include <fmt/format.h>

#include <cmath>
#include <cstdlib>
#include <limits>

namespace likeness::darkroom {
namespace {

template <typename Accepts>
CLI::Validator check(const std::string& expected, Accepts accepts) {
    return {[=](std::string& text) {
                const double value = numberIn(text);
                return accepts(value) ? std::string() : "'" + text + "' is not " + expected;
            },
            ""};
}

}  // namespace

double numberIn(const std::string& text) {
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    const bool plain = text.find_first_not_of("0123456789+-.eE") == std::string::npos;
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    return plain && !text.empty() && *end == '\0' && std::isfinite(value) ? value : none;
}

CLI::Validator numberBetween(double low, double high) {
    return check(fmt::format("a number from {} to {}", low, high),
                 [=](double value) { return value >= low && value <= high; });
}

CLI::Validator numberAbove(double low) {
    return check(fmt::format("a number above {}", low), [=](double value) { return value > low; });
}

CLI::Validator finiteNumber() {
    return check("a finite number", [](double value) { return std::isfinite(value); });
}

CLI::Validator integerBetween(int low, int high) {
    return check(fmt::format("a whole number from {} to {}", low, high),
                 [=](double value) { return value >= low && value <= high && value == std::floor(value); });
}

std::string optionText(const std::string& what, const std::string& example) {
    return what + " (example: " + example + ")";
}

}  // namespace likeness::darkroom
