#include "console/json_output.hpp"

#include "files/number_format.hpp"

#include <likeness/version.hpp>

#include <cmath>

namespace likeness::darkroom {

nlohmann::ordered_json jsonOfSchema(const std::string& name, int version) {
    return {{"schema", "darkroom." + name}, {"schema_version", version}, {"program_version", LIKENESS_VERSION}};
}

std::string indentedJson(const nlohmann::ordered_json& json) {
    return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

std::string lineOfJson(const nlohmann::ordered_json& json) {
    return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

nlohmann::ordered_json numberOrNull(double value) {
    return std::isfinite(value) ? nlohmann::ordered_json(value) : nlohmann::ordered_json();
}

nlohmann::ordered_json roundedOrNull(double value) {
    return numberOrNull(roundedToNineDigits(value));
}

}  // namespace likeness::darkroom
