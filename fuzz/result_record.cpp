// One line of results, as JSON. The checksum is made right, so that what stands behind it is met.
#include "batch/csv.hpp"
#include "batch/result_text.hpp"
#include "files/crc32c.hpp"
#include "harness.hpp"

#include <sstream>

using namespace likeness;
using namespace likeness::fuzz;

namespace {

std::string withRightChecksum(std::string line) {
    constexpr std::string_view before = "\"checksum\":\"";
    const std::size_t place = line.find(before);
    if (place != std::string::npos && place + before.size() + noChecksum.size() <= line.size()) {
        line.replace(place + before.size(), noChecksum.size(), noChecksum);
        const std::string written = line.substr(0, line.find_last_not_of('\n') + 1);
        line.replace(place + before.size(), noChecksum.size(), checksumText(crc32c(written)));
    }
    return line;
}

ResultRecord tableRecord(const std::string& line, const std::vector<std::string>& columns) {
    std::istringstream in(line);
    CsvReader reader(in, ',');
    std::vector<std::string> fields;
    require(reader.next(fields), "a row that is written is a row");
    return parseCsvRecord(fields, columns);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ResultRecord record;
    try {
        record = parseJsonRecord(withRightChecksum(textOf(data, size)));
    } catch (const NoRecord&) {
        return 0;
    }
    for (const CarriedValue& value : record.carried) {
        if (isResultField(value.column)) {
            return 0;  // of the first version, with a column that is a field now: nothing writes these
        }
    }
    std::string line = jsonLine(record);
    require(line.ends_with('\n') && line.find('\n') == line.size() - 1, "a record is one line");
    line.pop_back();
    const ResultRecord again = parseJsonRecord(line);
    require(jsonLine(again) == line + '\n', "what is written of a record that was read is the same bytes");

    std::vector<std::string> columns;
    for (const CarriedValue& value : record.carried) {
        columns.push_back(value.column);
    }
    const std::string row = csvLine(record, columns);
    require(csvLine(tableRecord(row, columns), columns) == row, "a row is read and written as the same bytes");

    // A bit that flips is noticed, wherever it is.
    const std::size_t bit = crc32c(line) % (8 * line.size());
    line[bit / 8] = static_cast<char>(static_cast<unsigned char>(line[bit / 8]) ^ 1U << bit % 8);
    try {
        parseJsonRecord(line);
    } catch (const NoRecord&) {
        return 0;
    }
    require(false, "a flipped bit is noticed");
    return 0;
}
