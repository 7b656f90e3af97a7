#include "console/option_checks.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

namespace likeness::darkroom {
namespace {

/// How many letters must be put in, left out or exchanged to make one word of the other.
std::size_t editDistance(const std::string& from, const std::string& to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t exchanged = diagonal + (from[i - 1] == to[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({exchanged, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

/// "; did you mean 'gain'?" of the choice that is nearest to what was typed, or nothing where none is near: two letters
/// away at most, and less than half of those that it has.
std::string suggestion(const std::string& text, const std::vector<std::string>& choices) {
    constexpr std::size_t near = 2;
    std::size_t least = near + 1;
    std::string nearest;
    for (const std::string& choice : choices) {
        const std::size_t distance = editDistance(text, choice);
        if (distance < least && 2 * distance < choice.size()) {
            least = distance;
            nearest = choice;
        }
    }
    return nearest.empty() ? "" : fmt::format("; did you mean '{}'?", nearest);
}

template <typename Accepts>
OptionCheck check(const std::string& expected, Accepts accepts) {
    return {[=](std::string& text) {
                const double value = parseNumber(text);
                return accepts(value) ? std::string() : "'" + text + "' is not " + expected;
            },
            ""};
}

bool isPositiveTriple(const std::string& text, double high) {
    const std::vector<std::string> parts = partsOf(text);
    return parts.size() == 3 && std::all_of(parts.begin(), parts.end(), [=](const auto& part) {
               const double value = parseNumber(part);
               return value > 0 && value <= high;
           });
}

std::string noTriple(const std::string& text, double high) {
    return fmt::format("'{}' is not three numbers above 0 and up to {}, as in 0.9,1,0.8", text, high);
}

}  // namespace

OptionCheck numberBetween(double low, double high) {
    return check(fmt::format("a number from {} to {}", low, high),
                 [=](double value) { return value >= low && value <= high; });
}

OptionCheck numberAbove(double low) {
    return check(fmt::format("a number above {}", low), [=](double value) { return value > low; });
}

OptionCheck finiteNumber() {
    return check("a finite number", [](double value) { return std::isfinite(value); });
}

OptionCheck integerBetween(std::int64_t low, std::int64_t high) {
    // A few numbers are words to choose from.
    constexpr std::int64_t few = 6;
    std::vector<std::int64_t> choices;
    for (std::int64_t value = low; high - low < few && value <= high; ++value) {
        choices.push_back(value);
    }
    return {[=](std::string& text) {
                // Digits alone, the first of several not 0: the parser takes "010" for an octal 8.
                const std::size_t sign = !text.empty() && text.front() == '-' ? 1 : 0;
                const std::string digits = text.substr(sign);
                const bool plain = !digits.empty() && digits.find_first_not_of("0123456789") == std::string::npos &&
                                   (digits.front() != '0' || digits.size() == 1);
                const double value = plain ? parseNumber(text) : std::numeric_limits<double>::quiet_NaN();
                return value >= static_cast<double>(low) && value <= static_cast<double>(high)
                           ? std::string()
                           : fmt::format("'{}' is not a whole number from {} to {}", text, low, high);
            },
            choices.empty() ? "" : fmt::format("{{{}}}", fmt::join(choices, ","))};
}

OptionCheck oneOf(const std::vector<std::string>& choices) {
    return {[=](std::string& text) {
                return std::find(choices.begin(), choices.end(), text) != choices.end()
                           ? std::string()
                           : fmt::format("'{}' is {} {}{}", text, choices.size() == 1 ? "not" : "none of",
                                         fmt::join(choices, ", "), suggestion(text, choices));
            },
            fmt::format("{{{}}}", fmt::join(choices, ","))};
}

OptionCheck positiveTriple(double high) {
    return {[=](std::string& text) { return isPositiveTriple(text, high) ? std::string() : noTriple(text, high); }, ""};
}

OptionCheck tripleOrChromaticity(double high) {
    return {[=](std::string& text) {
                const std::vector<std::string> parts = partsOf(text);
                if (parts.size() == 2) {
                    const cv::Vec2d xy = chromaticityIn(text);
                    return xy[0] > 0 && xy[1] > 0 && xy[0] + xy[1] <= 1
                               ? std::string()
                               : fmt::format("'{}' is not a chromaticity x,y, both above 0, with a sum up to 1", text);
                }
                return isPositiveTriple(text, high) ? std::string() : noTriple(text, high) + ", nor a chromaticity x,y";
            },
            ""};
}

cv::Vec2d chromaticityIn(const std::string& text) {
    const std::vector<std::string> parts = partsOf(text);
    return {parseNumber(parts.at(0)), parseNumber(parts.at(1))};
}

cv::Vec3d tripleIn(const std::string& text) {
    const std::vector<std::string> parts = partsOf(text);
    return {parseNumber(parts.at(0)), parseNumber(parts.at(1)), parseNumber(parts.at(2))};
}

std::string optionText(const std::string& what, const std::string& example) {
    return what + " (example: " + example + ")";
}

}  // namespace likeness::darkroom
