#include "console/coefficient_limits.hpp"

#include "batch/correlates.hpp"
#include "console/option_checks.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "files/trimmed_text.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace likeness::darkroom {
namespace {

std::string allNames() {
    std::string names;
    for (const ComparedCorrelate& correlate : comparedCorrelates) {
        names += (names.empty() ? "" : ", ") + std::string(correlate.name);
    }
    return names;
}

bool isName(const std::string& name) {
    return name == hueCorrelate.name ||
           std::any_of(comparedCorrelates.begin(), comparedCorrelates.end(),
                       [&](const ComparedCorrelate& correlate) { return name == correlate.name; });
}

void addLimitsIn(const std::string& text, CoefficientLimits& limits) {
    // A comma behind the last limit stands before an empty one, which is none.
    std::istringstream parts(text + (text.empty() || text.back() == ',' ? "," : ""));
    for (std::string part; std::getline(parts, part, ',');) {
        const std::size_t sign = part.find('=');
        if (sign == std::string::npos) {
            throw Refusal("'" + trimmed(part) + "' is not of the form NAME=VALUE");
        }
        std::string name = trimmed(part.substr(0, sign));
        name = name == "colourfulness" ? "colorfulness" : name;
        std::string value = trimmed(part.substr(sign + 1));
        if (!isName(name)) {
            throw Refusal("there is no coefficient '" + name + "'; there are " + allNames());
        }
        if (const std::string problem = numberBetween(0, 1)(value); !problem.empty()) {
            throw Refusal(name + ": " + problem);
        }
        if (!limits.emplace(name, std::strtod(value.c_str(), nullptr)).second) {
            throw Refusal("'" + name + "' is given twice");
        }
    }
}

}  // namespace

CoefficientLimits coefficientLimitsIn(const std::string& text) {
    CoefficientLimits limits;
    addLimitsIn(text, limits);
    return limits;
}

void addCoefficientLimits(CoefficientLimits& limits, const std::string& text) {
    try {
        addLimitsIn(text, limits);
    } catch (const Refusal& refusal) {
        throw Refusal(fmt::format("--min: {}", refusal.what()));
    }
}

bool reaches(float coefficient, double limit) {
    return coefficient >= static_cast<float>(limit);
}

std::string shortfall(const LikenessCoefficients& coefficients, const CoefficientLimits& limits,
                      const std::optional<float>& hue) {
    std::string text;
    const auto check = [&](const char* name, float coefficient) {
        const auto limit = limits.find(name);
        if (limit != limits.end() && !reaches(coefficient, limit->second)) {
            text += (text.empty() ? "" : ", ") + std::string(name) + ' ' + nineDigits(coefficient) + " < " +
                    nineDigits(limit->second);
        }
    };
    for (const ComparedCorrelate& correlate : comparedCorrelates) {
        check(correlate.name, coefficients.*correlate.coefficient);
    }
    if (hue) {
        check(hueCorrelate.name, *hue);
    }
    return text;
}

}  // namespace likeness::darkroom
