// One result record as a line of JSON Lines or of CSV, and back. What is written of a record that was read is the same
// bytes.
#pragma once

#include "batch/result_fields.hpp"

#include <string>
#include <vector>

namespace likeness {

/// A JSON object and a line feed.
std::string jsonLine(const ResultRecord& record);

/// @param line  without its line feed
/// @throws NoRecord  if the line is not a whole record of this schema
ResultRecord parseJsonRecord(const std::string& line);

/// The header line of a table of results.
/// @param carried  names of the further columns
std::string csvHeader(const std::vector<std::string>& carried);

/// A record of the table. A carried value whose column is not among `carried` is left out.
std::string csvLine(const ResultRecord& record, const std::vector<std::string>& carried);

/// @param fields  as many as the header has
/// @throws NoRecord  if they are not a record of this schema
ResultRecord parseCsvRecord(const std::vector<std::string>& fields, const std::vector<std::string>& carried);

/// Whether the text is JSON other than a string: what stands so in a table may have been a number, say, in the list.
bool mayHaveBeenJson(const std::string& text);

/// The value of the named column, or none.
const CarriedValue* carriedValue(const ResultRecord& record, const std::string& column);

}  // namespace likeness
