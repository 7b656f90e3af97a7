#include "batch/result_record.hpp"

#include <algorithm>

namespace likeness {

const std::vector<std::string>& resultFields() {
    static const std::vector<std::string> all = [] {
        std::vector<std::string> names = {"schema", "position",    "pairs",        "id",           "first",
                                          "second", "first_width", "first_height", "second_width", "second_height"};
        names.insert(names.end(), correlateNames.begin(), correlateNames.end());
        for (const char* const photograph : {"first", "second"}) {
            for (const std::string_view correlate : correlateNames) {
                names.push_back(std::string(photograph) + "_nan_" + std::string(correlate));
            }
        }
        names.insert(names.end(), {"status", "error", "remarks", "version", "parameters"});
        return names;
    }();
    return all;
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    }
    return lower;
}

bool isResultField(std::string_view name) {
    const auto& fields = resultFields();
    return std::find(fields.begin(), fields.end(), lowerCase(name)) != fields.end();
}

}  // namespace likeness
