#include "batch/result_fields.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace likeness {
namespace {

using Type = ResultField::Type;

constexpr std::uint64_t mostPosition = std::numeric_limits<std::int64_t>::max();  // as SQLite can keep
constexpr std::uint64_t mostPixels = std::numeric_limits<int>::max();

/// A coefficient is a float sum of up to 1000 products, each addition rounded by up to 2^-24: at most 6e-5 above 1.
constexpr double greatestCoefficient = 1.0001;

constexpr std::string_view comparedStatus = "compared";
constexpr std::string_view failedStatus = "failed";

/// The first field that records of the first version do not have.
constexpr std::string_view firstOfSecondVersion = "first_bytes";

FieldValue textOrNone(const std::string& text) {
    return text.empty() ? FieldValue() : FieldValue(std::string_view(text));
}

ResultField integerField(std::string name, std::uint64_t least, std::uint64_t most) {
    ResultField field;
    field.name = std::move(name);
    field.type = Type::integer;
    field.least = least;
    field.most = most;
    return field;
}

/// @param text  gives the record's member
template <typename Member>
ResultField textField(std::string name, bool mayLack, Member text) {
    ResultField field;
    field.name = std::move(name);
    field.mayLack = mayLack;
    field.get = [text, mayLack](const ResultRecord& record) {
        const std::string& value = text(record);
        return mayLack ? textOrNone(value) : FieldValue(std::string_view(value));
    };
    field.set = [text](ResultRecord& record, const FieldValue& value) {
        const auto* const given = std::get_if<std::string_view>(&value);
        text(record) = given == nullptr ? std::string_view() : *given;
    };
    return field;
}

using Photograph = PhotographFacts PairOutcome::*;

ResultField sideField(std::string name, Photograph photograph, int PhotographFacts::*side) {
    ResultField field = integerField(std::move(name), 1, mostPixels);
    field.mayLack = true;
    field.get = [photograph, side](const ResultRecord& record) {
        const PhotographFacts& facts = record.outcome.*photograph;
        return facts.width > 0 ? FieldValue(static_cast<std::uint64_t>(facts.*side)) : FieldValue();
    };
    field.set = [photograph, side](ResultRecord& record, const FieldValue& value) {
        const auto* const given = std::get_if<std::uint64_t>(&value);
        record.outcome.*photograph.*side = given == nullptr ? 0 : static_cast<int>(*given);
    };
    return field;
}

ResultField numberField(std::string name, double greatest) {
    ResultField field;
    field.name = std::move(name);
    field.type = Type::number;
    field.mayLack = true;
    field.greatest = greatest;
    field.greatestNamed = "1";
    return field;
}

double numberOrZero(const FieldValue& value) {
    const auto* const given = std::get_if<double>(&value);
    return given == nullptr ? 0.0 : *given;
}

ResultField coefficientField(std::size_t k) {
    ResultField field = numberField(std::string(correlateNames[k].name), greatestCoefficient);
    field.get = [k](const ResultRecord& record) {
        const PairOutcome& outcome = record.outcome;
        return outcome.compared() ? FieldValue(static_cast<double>(outcome.coefficients[k])) : FieldValue();
    };
    field.set = [k](ResultRecord& record, const FieldValue& value) {
        record.outcome.coefficients[k] = static_cast<float>(numberOrZero(value));
    };
    return field;
}

ResultField shareField(const std::string& photographName, Photograph photograph, std::size_t k) {
    ResultField field = numberField(photographName + "_nan_" + std::string(correlateNames[k].name), 1.0);
    field.get = [photograph, k](const ResultRecord& record) {
        const PhotographFacts& facts = record.outcome.*photograph;
        return facts.width > 0 ? FieldValue(facts.nanShares[k]) : FieldValue();
    };
    field.set = [photograph, k](ResultRecord& record, const FieldValue& value) {
        (record.outcome.*photograph).nanShares[k] = numberOrZero(value);
    };
    return field;
}

ResultField stampField(std::string name, Photograph photograph, std::uint64_t FileStamp::*number) {
    ResultField field = integerField(std::move(name), 0, mostPosition);
    field.mayLack = true;
    field.get = [photograph, number](const ResultRecord& record) {
        const std::optional<FileStamp>& stamp = (record.outcome.*photograph).stamp;
        return stamp ? FieldValue((*stamp).*number) : FieldValue();
    };
    field.set = [photograph, number](ResultRecord& record, const FieldValue& value) {
        std::optional<FileStamp>& stamp = (record.outcome.*photograph).stamp;
        if (const auto* const given = std::get_if<std::uint64_t>(&value)) {
            stamp = stamp.value_or(FileStamp());
            (*stamp).*number = *given;
        }
    };
    return field;
}

ResultField statusField() {
    ResultField field;
    field.name = "status";
    field.get = [](const ResultRecord& record) {
        return FieldValue(record.outcome.compared() ? comparedStatus : failedStatus);
    };
    field.set = [](ResultRecord&, const FieldValue&) {};  // it follows from the error
    return field;
}

std::vector<ResultField> allFields() {
    std::vector<ResultField> fields;
    fields.push_back(integerField("schema", firstResultSchema, resultSchema));
    fields.back().get = [](const ResultRecord&) { return FieldValue(std::uint64_t{resultSchema}); };
    fields.back().set = [](ResultRecord& record, const FieldValue& value) {
        record.schema = static_cast<int>(std::get<std::uint64_t>(value));
    };
    for (const auto& [name, member] :
         {std::pair("position", &ResultRecord::position), std::pair("pairs", &ResultRecord::pairs)}) {
        fields.push_back(integerField(name, 1, mostPosition));
        fields.back().get = [member = member](const ResultRecord& record) { return FieldValue(record.*member); };
        fields.back().set = [member = member](ResultRecord& record, const FieldValue& value) {
            record.*member = std::get<std::uint64_t>(value);
        };
    }
    fields.push_back(textField(
        "id", false, [](auto& record) -> auto& { return record.id; }));
    fields.push_back(textField(
        "first", false, [](auto& record) -> auto& { return record.first; }));
    fields.push_back(textField(
        "second", false, [](auto& record) -> auto& { return record.second; }));
    const std::pair<std::string, Photograph> photographs[] = {{"first", &PairOutcome::first},
                                                              {"second", &PairOutcome::second}};
    for (const auto& [name, photograph] : photographs) {
        fields.push_back(sideField(name + "_width", photograph, &PhotographFacts::width));
        fields.push_back(sideField(name + "_height", photograph, &PhotographFacts::height));
    }
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        fields.push_back(coefficientField(k));
    }
    for (const auto& [name, photograph] : photographs) {
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            fields.push_back(shareField(name, photograph, k));
        }
    }
    fields.push_back(statusField());
    fields.push_back(textField(
        "error", true, [](auto& record) -> auto& { return record.outcome.error; }));
    fields.push_back(textField(
        "remarks", true, [](auto& record) -> auto& { return record.outcome.remarks; }));
    fields.push_back(textField(
        "version", false, [](auto& record) -> auto& { return record.version; }));
    fields.push_back(textField(
        "parameters", false, [](auto& record) -> auto& { return record.parameters; }));
    for (const auto& [name, photograph] : photographs) {
        fields.push_back(stampField(name + "_bytes", photograph, &FileStamp::bytes));
        fields.push_back(stampField(name + "_modified", photograph, &FileStamp::modified));
        fields.push_back(textField(
            name + "_sha256",
            true, [photograph = photograph](auto& record) -> auto& { return (record.outcome.*photograph).sha256; }));
    }
    fields.push_back(textField(
        "checksum", false, [](auto& record) -> auto& { return record.checksum; }));
    fields.back().get = [](const ResultRecord&) { return FieldValue(noChecksum); };
    return fields;
}

/// A bit for each field whose name the predicate accepts.
template <typename Predicate>
std::uint64_t fieldsWith(Predicate accepts) {
    std::uint64_t bits = 0;
    for (std::size_t k = 0; k < resultFields().size(); ++k) {
        bits |= accepts(resultFields()[k].name) ? std::uint64_t{1} << k : 0;
    }
    return bits;
}

/// Those of a photograph that was read.
std::uint64_t fieldsOfPhotograph(const std::string& photograph) {
    return fieldsWith([&](const std::string& name) {
        return name == photograph + "_width" || name == photograph + "_height" ||
               name.rfind(photograph + "_nan_", 0) == 0;
    });
}

std::uint64_t fieldsOfStamp(const std::string& photograph) {
    return fieldsWith(
        [&](const std::string& name) { return name == photograph + "_bytes" || name == photograph + "_modified"; });
}

}  // namespace

const std::vector<ResultField>& resultFields() {
    static const std::vector<ResultField> all = allFields();
    return all;
}

std::size_t resultFieldCount(int schema) {
    const auto& fields = resultFields();
    static const auto ofFirst = static_cast<std::size_t>(
        std::find_if(fields.begin(), fields.end(),
                     [](const ResultField& field) { return field.name == firstOfSecondVersion; }) -
        fields.begin());
    return schema == firstResultSchema ? ofFirst : fields.size();
}

bool isResultField(std::string_view name, int schema) {
    const auto begin = resultFields().begin();
    const std::string lower = lowerCase(name);
    return std::any_of(begin, begin + static_cast<std::ptrdiff_t>(resultFieldCount(schema)),
                       [&](const ResultField& field) { return field.name == lower; });
}

std::string checksumText(std::uint32_t checksum) {
    return fmt::format("{:08x}", checksum);
}

NoRecord::NoRecord(bool broken)
    : NoRecord(fmt::format("not a complete result record of schema {}", resultSchema), broken) {}

void RecordAssembly::refuse() const {
    const ResultField& wanted = field();
    if (wanted.type == Type::text) {
        throw NoRecord(fmt::format("'{}' is no text", wanted.name), false);
    }
    if (wanted.type == Type::number) {
        throw NoRecord(fmt::format("'{}' is no number from 0 to {}", wanted.name, wanted.greatestNamed), false);
    }
    throw NoRecord(wanted.least == wanted.most
                       ? fmt::format("'{}' is not {}", wanted.name, wanted.least)
                       : fmt::format("'{}' is no whole number from {} to {}", wanted.name, wanted.least, wanted.most),
                   false);
}

void RecordAssembly::add(const FieldValue& value) {
    const ResultField& wanted = field();
    if (std::holds_alternative<std::monostate>(value)) {
        if (!wanted.mayLack) {
            refuse();
        }
        wanted.set(record_, value);
        ++next_;
        return;
    }
    FieldValue given = value;
    const auto* const integer = std::get_if<std::uint64_t>(&value);
    if (wanted.type == Type::integer) {
        if (integer == nullptr || *integer < wanted.least || *integer > wanted.most) {
            refuse();
        }
    } else if (wanted.type == Type::number) {
        if (integer != nullptr) {
            given = static_cast<double>(*integer);
        }
        const auto* const number = std::get_if<double>(&given);
        // Written so that NaN is refused.
        if (number == nullptr || !(*number >= 0.0 && *number <= wanted.greatest)) {
            refuse();
        }
    } else if (!std::holds_alternative<std::string_view>(value)) {
        refuse();
    }
    static const std::uint64_t status = fieldsWith([](const std::string& name) { return name == "status"; });
    const std::uint64_t bit = std::uint64_t{1} << next_;
    if (bit == status) {
        const std::string_view text = std::get<std::string_view>(value);
        compared_ = text == comparedStatus;
        if (!compared_ && text != failedStatus) {
            throw NoRecord(false);
        }
    }
    present_ |= bit;
    wanted.set(record_, given);
    ++next_;
}

void RecordAssembly::finish() const {
    static const std::uint64_t coefficients = fieldsWith(isCorrelateName);
    static const std::uint64_t first = fieldsOfPhotograph("first");
    static const std::uint64_t second = fieldsOfPhotograph("second");
    static const std::uint64_t firstStamp = fieldsOfStamp("first");
    static const std::uint64_t secondStamp = fieldsOfStamp("second");
    const auto allOrNone = [this](std::uint64_t fields) {
        return (present_ & fields) == 0 || (present_ & fields) == fields;
    };
    const std::uint64_t all = first | second | coefficients;
    const bool good = !goesOn() && allOrNone(firstStamp) && allOrNone(secondStamp) &&
                      compared_ == record_.outcome.compared() && allOrNone(first) && allOrNone(second) &&
                      (compared_ ? (present_ & all) == all : (present_ & coefficients) == 0);
    if (!good) {
        throw NoRecord(false);
    }
}

}  // namespace likeness
