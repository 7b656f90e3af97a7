#include "batch/result_text.hpp"

#include "batch/csv.hpp"
#include "files/number_format.hpp"

#include <nlohmann/json.hpp>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace likeness {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* comparedStatus = "compared";
constexpr const char* failedStatus = "failed";

Json numberOrNull(double value) {
    return std::isnan(value) ? Json() : Json(roundedToNineDigits(value));
}

Json textOrNull(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

void addSize(Json& json, const char* name, const PhotographFacts& facts) {
    json[std::string(name) + "_width"] = facts.width > 0 ? Json(facts.width) : Json();
    json[std::string(name) + "_height"] = facts.width > 0 ? Json(facts.height) : Json();
}

void addNanShares(Json& json, const char* name, const PhotographFacts& facts) {
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        json[std::string(name) + "_nan_" + std::string(correlateNames[k])] =
            facts.width > 0 ? numberOrNull(facts.nanShares[k]) : Json();
    }
}

std::string textIn(const Json& json, const char* name) {
    const Json& value = json.at(name);
    return value.is_null() ? std::string() : value.get<std::string>();
}

double numberIn(const Json& value) {
    return value.is_null() ? std::numeric_limits<double>::quiet_NaN() : value.get<double>();
}

PhotographFacts factsIn(const Json& json, const std::string& name) {
    PhotographFacts facts;
    if (!json.at(name + "_width").is_null()) {
        facts.width = json.at(name + "_width").get<int>();
        facts.height = json.at(name + "_height").get<int>();
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            facts.nanShares[k] = numberIn(json.at(name + "_nan_" + std::string(correlateNames[k])));
        }
    }
    return facts;
}

ResultRecord recordIn(const Json& json) {
    ResultRecord record;
    record.position = json.at("position").get<std::uint64_t>();
    record.pairs = json.at("pairs").get<std::uint64_t>();
    record.id = textIn(json, "id");
    record.first = textIn(json, "first");
    record.second = textIn(json, "second");
    record.outcome.first = factsIn(json, "first");
    record.outcome.second = factsIn(json, "second");
    const bool compared = textIn(json, "status") == comparedStatus;
    for (std::size_t k = 0; compared && k < correlateNames.size(); ++k) {
        record.outcome.coefficients[k] = static_cast<float>(numberIn(json.at(std::string(correlateNames[k]))));
    }
    record.outcome.error = textIn(json, "error");
    record.outcome.remarks = textIn(json, "remarks");
    record.version = textIn(json, "version");
    record.parameters = textIn(json, "parameters");
    for (const auto& [name, value] : json.items()) {
        if (!isResultField(name)) {
            record.carried.push_back(value.is_string()
                                         ? CarriedValue{name, CarriedValue::Kind::text, value.get<std::string>()}
                                         : CarriedValue{name, CarriedValue::Kind::json, value.dump()});
        }
    }
    return record;
}

void appendField(std::string& line, const std::string& text) {
    line += csvField(text);
    line += ',';
}

void appendSize(std::string& line, const PhotographFacts& facts) {
    appendField(line, facts.width > 0 ? std::to_string(facts.width) : "");
    appendField(line, facts.width > 0 ? std::to_string(facts.height) : "");
}

template <typename Integer>
bool readInteger(const std::string& text, Integer& value) {
    const char* const end = text.data() + text.size();
    const auto [rest, problem] = std::from_chars(text.data(), end, value);
    return problem == std::errc() && rest == end;
}

bool readNumber(const std::string& text, double& value) {
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0';
}

}  // namespace

std::string jsonLine(const ResultRecord& record) {
    const PairOutcome& outcome = record.outcome;
    Json json;
    json["schema"] = resultSchema;
    json["position"] = record.position;
    json["pairs"] = record.pairs;
    json["id"] = record.id;
    json["first"] = record.first;
    json["second"] = record.second;
    addSize(json, "first", outcome.first);
    addSize(json, "second", outcome.second);
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        json[std::string(correlateNames[k])] =
            outcome.compared() ? numberOrNull(static_cast<double>(outcome.coefficients[k])) : Json();
    }
    addNanShares(json, "first", outcome.first);
    addNanShares(json, "second", outcome.second);
    json["status"] = outcome.compared() ? comparedStatus : failedStatus;
    json["error"] = textOrNull(outcome.error);
    json["remarks"] = textOrNull(outcome.remarks);
    json["version"] = record.version;
    json["parameters"] = record.parameters;
    for (const CarriedValue& value : record.carried) {
        if (value.kind == CarriedValue::Kind::text) {
            json[value.column] = value.text;
        } else if (value.kind == CarriedValue::Kind::json) {
            json[value.column] = Json::parse(value.text);
        }
    }
    return json.dump() + '\n';
}

std::optional<ResultRecord> recordOfJson(const std::string& line) {
    try {
        const Json json = Json::parse(line);
        if (json.at("schema").get<int>() != resultSchema) {
            return std::nullopt;
        }
        ResultRecord record = recordIn(json);
        const bool failed = textIn(json, "status") == failedStatus;
        return failed == record.outcome.compared() ? std::nullopt : std::optional(std::move(record));
    } catch (const Json::exception&) {
        return std::nullopt;
    }
}

std::string csvHeader(const std::vector<std::string>& carried) {
    std::string line;
    for (const std::vector<std::string>* const names : {&resultFields(), &carried}) {
        for (const std::string& name : *names) {
            appendField(line, name);
        }
    }
    line.back() = '\n';
    return line;
}

const CarriedValue* carriedValue(const ResultRecord& record, const std::string& column) {
    for (const CarriedValue& value : record.carried) {
        if (value.column == column) {
            return &value;
        }
    }
    return nullptr;
}

std::string csvLine(const ResultRecord& record, const std::vector<std::string>& carried) {
    const PairOutcome& outcome = record.outcome;
    std::string line;
    for (const std::uint64_t number : {std::uint64_t{resultSchema}, record.position, record.pairs}) {
        appendField(line, std::to_string(number));
    }
    for (const std::string* const text : {&record.id, &record.first, &record.second}) {
        appendField(line, *text);
    }
    appendSize(line, outcome.first);
    appendSize(line, outcome.second);
    for (const float coefficient : outcome.coefficients) {
        appendField(line, outcome.compared() ? nineDigits(static_cast<double>(coefficient)) : "");
    }
    for (const PhotographFacts* const facts : {&outcome.first, &outcome.second}) {
        for (const double share : facts->nanShares) {
            appendField(line, facts->width > 0 ? nineDigits(share) : "");
        }
    }
    appendField(line, outcome.compared() ? comparedStatus : failedStatus);
    for (const std::string* const text : {&outcome.error, &outcome.remarks, &record.version, &record.parameters}) {
        appendField(line, *text);
    }
    for (const std::string& column : carried) {
        const CarriedValue* const value = carriedValue(record, column);
        appendField(line, value == nullptr ? "" : value->text);
    }
    line.back() = '\n';
    return line;
}

std::optional<ResultRecord> recordOfFields(const std::vector<std::string>& fields,
                                           const std::vector<std::string>& carried) {
    if (fields.size() != resultFields().size() + carried.size()) {
        return std::nullopt;
    }
    ResultRecord record;
    PairOutcome& outcome = record.outcome;
    auto field = fields.begin();
    bool good = *field++ == std::to_string(resultSchema);
    good = readInteger(*field++, record.position) && good;
    good = readInteger(*field++, record.pairs) && good;
    for (std::string* const text : {&record.id, &record.first, &record.second}) {
        *text = *field++;
    }
    for (PhotographFacts* const facts : {&outcome.first, &outcome.second}) {
        for (int* const side : {&facts->width, &facts->height}) {
            good = (field->empty() || readInteger(*field, *side)) && good;
            ++field;
        }
    }
    const auto coefficients = field;
    field += static_cast<std::ptrdiff_t>(correlateNames.size());
    for (PhotographFacts* const facts : {&outcome.first, &outcome.second}) {
        for (double& share : facts->nanShares) {
            good = (facts->width == 0 || readNumber(*field, share)) && good;
            ++field;
        }
    }
    const std::string& status = *field++;
    for (std::string* const text : {&outcome.error, &outcome.remarks, &record.version, &record.parameters}) {
        *text = *field++;
    }
    for (std::size_t k = 0; outcome.compared() && k < correlateNames.size(); ++k) {
        double value = 0;
        good = readNumber(coefficients[static_cast<std::ptrdiff_t>(k)], value) && good;
        outcome.coefficients[k] = static_cast<float>(value);
    }
    good = status == (outcome.compared() ? comparedStatus : failedStatus) && good;
    for (const std::string& column : carried) {
        record.carried.push_back({column, CarriedValue::Kind::text, *field++});
    }
    return good ? std::optional(std::move(record)) : std::nullopt;
}

}  // namespace likeness
