// The fields of a result record: one table for all forms of results. docs/formats.md describes them.
#pragma once

#include "batch/result_record.hpp"

#include <cstdint>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace likeness {

/// What a record holds in a field: nothing, a whole number, a number, a text.
using FieldValue = std::variant<std::monostate, std::uint64_t, double, std::string_view>;

struct ResultField {
    enum class Type { integer, number, text };

    std::string name;
    Type type = Type::text;
    bool mayLack = false;            ///< whether a record may have none
    std::uint64_t least = 0;         ///< of an integer
    std::uint64_t most = 0;          ///< of an integer
    double greatest = 0;             ///< of a number; its least is 0
    std::string_view greatestNamed;  ///< the same for a reader, without the room for rounding

    /// The text in the value is the record's own.
    std::function<FieldValue(const ResultRecord&)> get;
    /// For values of the field's type and range.
    std::function<void(ResultRecord&, const FieldValue&)> set;
};

/// All fields but the carried ones, in their order. Those of the first version are the first of them.
const std::vector<ResultField>& resultFields();

/// How many of these a record of a version has.
std::size_t resultFieldCount(int schema);

/// Whether a column of a list would take the name of a field; upper and lower case count as equal.
bool isResultField(std::string_view name, int schema = resultSchema);

/// What a record is written with in the place of its checksum before that is known.
inline constexpr std::string_view noChecksum = "00000000";

/// 8 hexadecimal digits.
std::string checksumText(std::uint32_t checksum);

/// What is read is no record; `what` says why, fit to stand behind the place in the file.
class NoRecord : public std::runtime_error {
public:
    /// @param broken  whether it is no whole text either, as a stop in the middle of writing leaves it
    NoRecord(const std::string& why, bool broken) : std::runtime_error(why), broken_(broken) {}
    /// The general one.
    explicit NoRecord(bool broken);
    bool broken() const noexcept { return broken_; }

private:
    bool broken_;
};

/// Puts a record together from its fields, which come in their order: those of its version.
class RecordAssembly {
public:
    explicit RecordAssembly(ResultRecord& record) : record_(record) { record_ = {}; }

    /// @throws NoRecord  if the value is none of the field's
    void add(const FieldValue& value);
    /// For a value of a type that no field has.
    /// @throws NoRecord
    [[noreturn]] void refuse() const;
    /// The field whose value comes next.
    const ResultField& field() const { return resultFields()[next_]; }
    /// Whether another one comes; known once the first was added, which is the version.
    bool goesOn() const { return next_ < resultFieldCount(record_.schema); }

    /// @throws NoRecord  if the fields contradict each other
    void finish() const;

private:
    ResultRecord& record_;
    std::size_t next_ = 0;
    std::uint64_t present_ = 0;  ///< a bit for each field that has a value
    bool compared_ = false;
};

}  // namespace likeness
