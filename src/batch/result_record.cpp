#include "batch/result_record.hpp"

#include <cstdlib>

namespace likeness {

std::string maskIn(const std::vector<CarriedValue>& carried, const char* column) {
    for (const CarriedValue& value : carried) {
        const bool given =
            value.kind == CarriedValue::Kind::text || (value.kind == CarriedValue::Kind::json && value.text != "null");
        if (given && value.column == column) {
            return value.text;
        }
    }
    return {};
}

void takeHue(ResultRecord& record) {
    if (record.carried.empty() || record.carried.back().column != hueColumn) {
        return;
    }
    const std::string& text = record.carried.back().text;
    char* end = nullptr;
    const float hue = std::strtof(text.c_str(), &end);
    if (end != text.c_str() && *end == '\0') {
        record.outcome.hue = hue;
    }
    record.carried.pop_back();
}

bool comparesHue(const ResultRecord& record) {
    return record.parameters.find(";hue=") != std::string::npos;
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    }
    return lower;
}

}  // namespace likeness
