#include "batch/result_text.hpp"

#include "batch/csv.hpp"
#include "batch/json_depth.hpp"
#include "files/crc32c.hpp"
#include "files/number_format.hpp"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
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

/// The text of a value in a table.
std::string textOf(const FieldValue& value) {
    if (const auto* const integer = std::get_if<std::uint64_t>(&value)) {
        return std::to_string(*integer);
    }
    if (const auto* const number = std::get_if<double>(&value)) {
        return nineDigits(*number);
    }
    const auto* const text = std::get_if<std::string_view>(&value);
    return text == nullptr ? std::string() : std::string(*text);
}

std::string joined(const std::vector<std::string>& texts) {
    std::string line;
    for (const std::string& text : texts) {
        appendField(line, text);
    }
    line.back() = '\n';
    return line;
}

/// Place of the checksum's digits in a line of JSON as it is written; npos where there is none.
std::size_t checksumIn(std::string_view line) {
    constexpr std::string_view before = "\"checksum\":\"";  // within a text its quotes would follow backslashes
    const std::size_t place = line.find(before);
    return place == std::string_view::npos || place + before.size() + noChecksum.size() > line.size()
               ? std::string_view::npos
               : place + before.size();
}

std::size_t checksumField() {
    return resultFields().size() - 1;
}

}  // namespace

std::string jsonLine(const ResultRecord& record) {
    Json json =
        Json::object();  // one that becomes an object later is destroyed wrongly where there is no memory for it
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
    std::string line = json.dump();
    line.replace(checksumIn(line), noChecksum.size(), checksumText(crc32c(line)));
    return line + '\n';
}

void checkChecksum(const ResultRecord& record, std::uint32_t checksum, bool broken) {
    if (record.checksum != checksumText(checksum)) {
        throw NoRecord("its checksum does not agree: it has changed since it was written", broken);
    }
}

std::uint32_t rowChecksum(const std::vector<std::string>& columns, std::vector<std::string> texts,
                          std::string_view kinds) {
    texts[checksumField()] = noChecksum;
    return crc32c(kinds, crc32c(joined(texts), crc32c(csvHeader(columns))));
}

std::vector<std::string> rowTexts(const ResultRecord& record, const std::vector<std::string>& columns) {
    std::vector<std::string> texts;
    texts.reserve(resultFields().size() + columns.size());
    for (const ResultField& field : resultFields()) {
        texts.push_back(textOf(field.get(record)));
    }
    for (const std::string& column : columns) {
        const CarriedValue* const value = carriedValue(record, column);
        texts.push_back(value == nullptr ? std::string() : value->text);
    }
    return texts;
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
    while (assembly.goesOn()) {
        const auto member = json.find(assembly.field().name);
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
        if (!isResultField(name, record.schema)) {
            record.carried.push_back(value.is_string()
                                         ? CarriedValue{name, CarriedValue::Kind::text, value.get<std::string>()}
                                         : CarriedValue{name, CarriedValue::Kind::json, value.dump()});
        }
    }
    if (json.size() != resultFieldCount(record.schema) + record.carried.size()) {
        throw NoRecord(false);  // a field's name in other letters
    }
    if (record.schema != firstResultSchema) {
        std::string written = line.substr(0, line.find_last_not_of('\n') + 1);
        const std::size_t place = checksumIn(written);
        if (place != std::string::npos) {
            written.replace(place, noChecksum.size(), noChecksum);
        }
        checkChecksum(record, crc32c(written), false);
    }
    return record;
}

std::string csvHeader(const std::vector<std::string>& carried, int schema) {
    std::string line;
    for (std::size_t k = 0; k < resultFieldCount(schema); ++k) {
        appendField(line, resultFields()[k].name);
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
    std::vector<std::string> texts = rowTexts(record, carried);
    texts[checksumField()] = checksumText(rowChecksum(carried, texts));
    return joined(texts);
}

ResultRecord parseCsvRecord(const std::vector<std::string>& fields, const std::vector<std::string>& carried,
                            int schema) {
    const std::size_t own = resultFieldCount(schema);
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
        if (record.schema != schema) {
            throw NoRecord(fmt::format("a record of schema {} stands in a table of schema {}", record.schema, schema),
                           false);
        }
    }
    assembly.finish();
    for (std::size_t k = 0; k < carried.size(); ++k) {
        record.carried.push_back({carried[k], CarriedValue::Kind::text, fields[own + k]});
    }
    if (schema != firstResultSchema) {
        const bool zeros = std::any_of(fields.begin(), fields.end(),
                                       [](const std::string& text) { return text.find('\0') != std::string::npos; });
        checkChecksum(record, rowChecksum(carried, fields), zeros);
    }
    return record;
}

bool mayHaveBeenJson(const std::string& text) {
    return !text.empty() && std::string_view("-0123456789tfn[{").find(text.front()) != std::string_view::npos &&
           !nestsTooDeep(text) && Json::accept(text);
}

}  // namespace likeness
