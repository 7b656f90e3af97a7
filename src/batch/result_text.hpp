// One result record as a line of JSON Lines or of CSV, and back. What is written of a record that was read is the same
// bytes.
#pragma once

#include "batch/result_record.hpp"

#include <optional>
#include <string>
#include <vector>

namespace likeness {

/// A JSON object and a line feed.
std::string jsonLine(const ResultRecord& record);

/// @return  nothing if the line is not a whole record of this schema
std::optional<ResultRecord> recordOfJson(const std::string& line);

/// The header line of a table of results.
/// @param carried  names of the further columns
std::string csvHeader(const std::vector<std::string>& carried);

/// A record of the table. A carried value whose column is not among `carried` is left out.
std::string csvLine(const ResultRecord& record, const std::vector<std::string>& carried);

/// @param fields  as many as the header has
/// @return        nothing if they are not a record of this schema
std::optional<ResultRecord> recordOfFields(const std::vector<std::string>& fields,
                                           const std::vector<std::string>& carried);

/// The value of the named column, or none.
const CarriedValue* carriedValue(const ResultRecord& record, const std::string& column);

}  // namespace likeness
