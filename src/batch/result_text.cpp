#include "batch/result_text.hpp"

#include "batch/csv.hpp"
#include "batch/json_depth.hpp"
#include "files/number_format.hpp"

#include <nlohmann/json.hpp>

#include <charconv>
#include <cmath>

namespace likeness {
namespace {

using Json = nlohmann::ordered_json;

Json numberOrNull(double value) {
    return std::isnan(value) ? Json() : Json(roundedToNineDigits(value));
}

Json jsonOf(const FieldValue& value) {
    if (const auto* const integer = std::get_if<std::uint64_t>(&value)) {
        return *integer;
    }
    if (const auto* const number = std::get_if<double>(&value)) {
        return numberOrNull(*number);
    }
    const auto* const text = std::get_if<std::string_view>(&value);
    return text == nullptr ? Json() : Json(std::string(*text));
}

/// @return  whether the value is of a type that a field may have
bool readJson(const Json& json, FieldValue& value) {
    if (json.is_null()) {
        value = std::monostate();
    } else if (json.is_number_unsigned()) {
        value = json.get<std::uint64_t>();
    } else if (json.is_number()) {
        value = json.get<double>();
    } else if (json.is_string()) {
        value = std::string_view(json.get_ref<const std::string&>());
    } else {
        return false;
    }
    return true;
}

void appendField(std::string& line, std::string_view text) {
    line += csvField(text);
    line += ',';
}

void appendValue(std::string& line, const FieldValue& value) {
    if (const auto* const integer = std::get_if<std::uint64_t>(&value)) {
        appendField(line, std::to_string(*integer));
    } else if (const auto* const number = std::get_if<double>(&value)) {
        appendField(line, nineDigits(*number));
    } else {
        const auto* const text = std::get_if<std::string_view>(&value);
        appendField(line, text == nullptr ? std::string_view() : *text);
    }
}

/// Reads a whole text as the number that it is.
template <typename Number>
bool readNumber(const std::string& text, FieldValue& value) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [rest, problem] = std::from_chars(text.data(), end, number);
    value = number;
    return problem == std::errc() && rest == end;
}

/// @return  whether the text is a value of the type
bool readField(const std::string& text, ResultField::Type type, FieldValue& value) {
    if (type == ResultField::Type::text) {
        value = std::string_view(text);
        return true;
    }
    value = std::monostate();
    return text.empty() || (type == ResultField::Type::integer ? readNumber<std::uint64_t>(text, value)
                                                               : readNumber<double>(text, value));
}

}  // namespace

std::string jsonLine(const ResultRecord& record) {
    Json json;
    for (const ResultField& field : resultFields()) {
        json[field.name] = jsonOf(field.get(record));
    }
    for (const CarriedValue& value : record.carried) {
        if (value.kind == CarriedValue::Kind::text) {
            json[value.column] = value.text;
        } else if (value.kind == CarriedValue::Kind::json) {
            json[value.column] = Json::parse(value.text);
        }
    }
    return json.dump() + '\n';
}

ResultRecord parseJsonRecord(const std::string& line) {
    if (nestsTooDeep(line)) {
        throw NoRecord(tooDeepMessage(), false);
    }
    const Json json = Json::parse(line, nullptr, false);
    if (json.is_discarded()) {
        throw NoRecord(true);
    }
    if (!json.is_object()) {
        throw NoRecord(false);
    }
    ResultRecord record;
    RecordAssembly assembly(record);
    for (const ResultField& field : resultFields()) {
        const auto member = json.find(field.name);
        if (member == json.end()) {
            throw NoRecord(false);
        }
        FieldValue value;
        if (!readJson(*member, value)) {
            assembly.refuse();
        }
        assembly.add(value);
    }
    assembly.finish();
    for (const auto& [name, value] : json.items()) {
        if (!isResultField(name)) {
            record.carried.push_back(value.is_string()
                                         ? CarriedValue{name, CarriedValue::Kind::text, value.get<std::string>()}
                                         : CarriedValue{name, CarriedValue::Kind::json, value.dump()});
        }
    }
    if (json.size() != resultFields().size() + record.carried.size()) {
        throw NoRecord(false);  // a field's name in other letters
    }
    return record;
}

std::string csvHeader(const std::vector<std::string>& carried) {
    std::string line;
    for (const ResultField& field : resultFields()) {
        appendField(line, field.name);
    }
    for (const std::string& name : carried) {
        appendField(line, name);
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
    std::string line;
    for (const ResultField& field : resultFields()) {
        appendValue(line, field.get(record));
    }
    for (const std::string& column : carried) {
        const CarriedValue* const value = carriedValue(record, column);
        appendField(line, value == nullptr ? "" : value->text);
    }
    line.back() = '\n';
    return line;
}

ResultRecord parseCsvRecord(const std::vector<std::string>& fields, const std::vector<std::string>& carried) {
    const std::size_t own = resultFields().size();
    if (fields.size() != own + carried.size()) {
        throw NoRecord(true);
    }
    ResultRecord record;
    RecordAssembly assembly(record);
    for (std::size_t k = 0; k < own; ++k) {
        FieldValue value;
        if (!readField(fields[k], resultFields()[k].type, value)) {
            assembly.refuse();
        }
        assembly.add(value);
    }
    assembly.finish();
    for (std::size_t k = 0; k < carried.size(); ++k) {
        record.carried.push_back({carried[k], CarriedValue::Kind::text, fields[own + k]});
    }
    return record;
}

bool mayHaveBeenJson(const std::string& text) {
    return !text.empty() && std::string_view("-0123456789tfn[{").find(text.front()) != std::string_view::npos &&
           !nestsTooDeep(text) && Json::accept(text);
}

}  // namespace likeness
