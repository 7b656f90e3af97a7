// One result record as a line of JSON Lines or of CSV, and back. What is written of a record that was read is the same
// bytes. What is written is of the present version, and has a checksum (docs/formats.md says of which bytes).
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
std::string csvHeader(const std::vector<std::string>& carried, int schema = resultSchema);

/// A record of the table. A carried value whose column is not among `carried` is left out.
std::string csvLine(const ResultRecord& record, const std::vector<std::string>& carried);

/// @param fields  as many as the header has
/// @param schema  of the header
/// @throws NoRecord  if they are not a record of this schema
ResultRecord parseCsvRecord(const std::vector<std::string>& fields, const std::vector<std::string>& carried,
                            int schema = resultSchema);

/// The checksum of a row of a table: CRC-32C of the header line, of the row's line with `noChecksum` in it, and of the
/// kinds.
/// @param columns  the carried ones
/// @param texts    of the records' own fields and of these
/// @param kinds    a letter for each carried value, where the form keeps kinds (`CarriedValue::Kind`)
std::uint32_t rowChecksum(const std::vector<std::string>& columns, std::vector<std::string> texts,
                          std::string_view kinds = {});

/// The texts of a record in a table; the last of its own fields has `noChecksum`.
std::vector<std::string> rowTexts(const ResultRecord& record, const std::vector<std::string>& columns);

/// Compares the checksum that was read with a record with that of what was read.
/// @param checksum  0 to 2^32 - 1
/// @param broken    whether what was read is no whole text either
/// @throws NoRecord  if they differ
void checkChecksum(const ResultRecord& record, std::uint32_t checksum, bool broken);

/// Whether the text is JSON other than a string: what stands so in a table may have been a number, say, in the list.
bool mayHaveBeenJson(const std::string& text);

/// The value of the named column, or none.
const CarriedValue* carriedValue(const ResultRecord& record, const std::string& column);

}  // namespace likeness
