// Records prove themselves: what has changed in a results file is noticed, whatever its form.
#include "batch/csv.hpp"
#include "batch/result_examples.hpp"
#include "batch/result_merge.hpp"
#include "batch/result_store.hpp"
#include "batch/result_text.hpp"
#include "files/crc32c.hpp"
#include "files/refusal.hpp"
#include "support/process.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace likeness::testing {
namespace {

TEST(Crc32c, HasThePublishedValues) {
    // RFC 3720, appendix B.4, read as little-endian numbers; the last is the check value of the CRC catalogues.
    EXPECT_EQ(crc32c(std::string(32, '\0')), 0x8A9136AAU);
    EXPECT_EQ(crc32c(std::string(32, '\xFF')), 0x62A8AB43U);
    EXPECT_EQ(crc32c("123456789"), 0xE3069283U);
    EXPECT_EQ(crc32c("6789", crc32c("12345")), 0xE3069283U);
    EXPECT_EQ(crc32c(""), 0U);
}

/// All that a reader gives of a file; or "refused", or "cut off".
std::string meaningOf(const std::string& path) {
    try {
        const auto reader = openResults(path, resultFormatOf("", path));
        std::string meaning;
        for (ResultRecord record; reader->next(record);) {
            meaning += jsonLine(record);
            for (const CarriedValue& value : record.carried) {
                meaning += value.column + static_cast<char>(value.kind) + value.text + '\n';
            }
        }
        return reader->tail().cutOff ? "cut off" : meaning;
    } catch (const Refusal&) {
        return "refused";
    }
}

class ResultChecksums : public ::testing::TestWithParam<const char*> {
protected:
    std::string path() const { return std::string("r.") + GetParam(); }
    ScratchDirectory scratch_;
};

TEST_P(ResultChecksums, NoticeEveryFlippedBit) {
    ResultRecord first = exampleRecord(1);
    first.carried[1].kind = CarriedValue::Kind::json;
    const auto writer = writeResults({path(), resultFormatOf("", path()), exampleColumns(), {}});
    writer->append({first, exampleRecord(2)});
    writer->finish();
    const std::string whole = contentOf(path());
    const std::string meaning = meaningOf(path());
    ASSERT_NE(meaning, "refused");
    // A part of the bits, other ones in each byte: of all of them there are thousands of files. Those of a record follow.
    const std::size_t step = path() == "r.db" ? 997 : 29;
    std::size_t noticed = 0;
    for (std::size_t bit = 0; bit < 8 * whole.size(); bit += step) {
        std::string flipped = whole;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
        std::ofstream(path(), std::ios::binary) << flipped;
        const std::string now = meaningOf(path());
        if (now == "refused" || now == "cut off") {
            ++noticed;
        } else {
            // A record less is a record that is missing; what is there is what was written.
            ASSERT_TRUE(now == meaning || (now.size() < meaning.size() && meaning.find(now) != std::string::npos))
                << "bit " << bit % 8 << " of byte " << bit / 8 << " of '" << whole[bit / 8] << "' in "
                << whole.substr(bit / 8 < 20 ? 0 : bit / 8 - 20, 40) << "\nbecame " << now;
        }
    }
    EXPECT_GT(noticed, path() == "r.db" ? 5U : 8 * whole.size() / step * 9 / 10);
}

INSTANTIATE_TEST_SUITE_P(Formats, ResultChecksums, ::testing::Values("jsonl", "csv", "db"),
                         [](const auto& format) { return std::string(format.param); });

/// A database of 40 records, in which each page has something.
std::string databaseOfRecords() {
    const auto writer = writeResults({"r.db", ResultFormat::sqlite, exampleColumns(), {}});
    std::vector<ResultRecord> records;
    for (std::uint64_t k = 1; k <= 40; ++k) {
        records.push_back(exampleRecord(k));
    }
    writer->append(records);
    writer->finish();
    return contentOf("r.db");
}

std::string damageOf(const std::string& content) {
    std::ofstream("r.db", std::ios::binary) << content;
    try {
        return damageOfResults("r.db", ResultFormat::sqlite);
    } catch (const Refusal& refusal) {
        return refusal.what();
    }
}

TEST(ResultDatabase, ItsTornEndIsNoticedThoughNoRecordStandsThere) {
    const ScratchDirectory scratch;
    const std::string whole = databaseOfRecords();
    EXPECT_EQ(damageOf(whole), "");
    for (const std::size_t lost : {300U, 4096U}) {
        const std::string torn = whole.substr(0, whole.size() - lost);
        EXPECT_NE(damageOf(torn).find("bytes in place of"), std::string::npos) << lost;
        const std::string zeroed = torn + std::string(lost, '\0');
        EXPECT_EQ(damageOf(zeroed).empty(), zeroed == whole) << lost << " zeros";
    }
    EXPECT_NE(damageOf(whole + "x"), "");
    std::ofstream("r.db", std::ios::binary) << whole.substr(0, whole.size() - 300);
    EXPECT_THROW(ResultMerge({"r.db"}, "all.csv"), Refusal);
}

TEST(ResultDatabase, FlippedBitsOfItsHeaderAndTablesAreNoticed) {
    const ScratchDirectory scratch;
    const std::string whole = databaseOfRecords();
    const auto flipped = [&](std::size_t bit) {
        std::string content = whole;
        content[bit / 8] = static_cast<char>(content[bit / 8] ^ (1 << bit % 8));
        return content;
    };
    // The schema's cookie and the number of the library that wrote it may be any.
    for (std::size_t byte = 0; byte < 100; ++byte) {
        if ((byte >= 40 && byte < 44) || (byte >= 96 && byte < 100)) {
            continue;
        }
        for (std::size_t bit = 8 * byte; bit < 8 * byte + 8; ++bit) {
            EXPECT_NE(damageOf(flipped(bit)), "") << "bit " << bit % 8 << " of byte " << byte;
        }
    }
    const std::size_t tables = whole.find("CREATE TABLE results");
    ASSERT_NE(tables, std::string::npos);
    for (std::size_t byte = tables; byte < tables + 200; ++byte) {
        EXPECT_NE(damageOf(flipped(8 * byte + byte % 8)), "") << "byte " << byte;
    }
}

std::string withFlippedBit(std::string text, std::size_t bit) {
    text[bit / 8] = static_cast<char>(text[bit / 8] ^ (1 << bit % 8));
    return text;
}

TEST(ResultChecksum, ADamagedHeaderIsNoCutOffRecord) {
    const ScratchDirectory scratch;
    const std::vector<std::string> columns = {"bright", "note", "iso"};
    for (const std::uint64_t records : {1U, 3U}) {
        std::string whole = csvHeader(columns);
        const std::size_t begin = csvHeader({}).size();
        const std::size_t end = whole.size();
        for (std::uint64_t k = 1; k <= records; ++k) {
            whole += csvLine(exampleRecord(k), columns);
        }
        for (std::size_t bit = 8 * (begin - 1); bit < 8 * end; ++bit) {
            std::ofstream("r.csv", std::ios::binary) << withFlippedBit(whole, bit);
            EXPECT_EQ(meaningOf("r.csv"), "refused")
                << "bit " << bit % 8 << " of '" << whole[bit / 8] << "' with " << records;
        }
    }
}

TEST(ResultChecksum, ARecordOfZerosIsACutOffOne) {
    const ScratchDirectory scratch;
    const std::string first = csvHeader({}) + csvLine(exampleRecord(1), {});
    std::ofstream("r.csv", std::ios::binary) << first << std::string(700, '\0') << '\n';
    EXPECT_EQ(meaningOf("r.csv"), "cut off");
    std::ofstream("r.csv", std::ios::binary) << first << std::string(700, '\0') << '\n'
                                             << csvLine(exampleRecord(3), {});
    EXPECT_EQ(meaningOf("r.csv"), "refused");
}

TEST(ResultChecksum, OfALineNoticesEveryBit) {
    ResultRecord record = exampleRecord(1);
    record.carried[1].kind = CarriedValue::Kind::json;
    std::string line = jsonLine(record);
    line.pop_back();
    for (std::size_t bit = 0; bit < 8 * line.size(); ++bit) {
        EXPECT_THROW(parseJsonRecord(withFlippedBit(line, bit)), NoRecord)
            << "bit " << bit % 8 << " of byte " << bit / 8;
    }
    const std::string row = csvLine(record, exampleColumns());
    const std::string header = csvHeader(exampleColumns());
    std::size_t unnoticed = 0;
    for (std::size_t bit = 0; bit < 8 * row.size(); ++bit) {
        std::istringstream in(withFlippedBit(row, bit));
        CsvReader csv(in, ',');
        std::vector<std::string> fields;
        try {
            csv.next(fields);
            EXPECT_EQ(csvLine(parseCsvRecord(fields, exampleColumns()), exampleColumns()), row);
            ++unnoticed;  // the line's end alone, which the reader of a file misses
        } catch (const NoRecord&) {
        } catch (const CsvProblem&) {
        }
    }
    EXPECT_LT(unnoticed, 9U);
}

TEST(ResultChecksum, IsWhatTheFormatsSay) {
    const ResultRecord record = exampleRecord(1);
    std::string line = jsonLine(record);
    const std::string digits = parseJsonRecord(line).checksum;
    line.replace(line.find("\"checksum\":\"") + 12, 8, "00000000");
    line.pop_back();
    EXPECT_EQ(digits, checksumText(crc32c(line)));
    // A record without further columns, so that the columns are those of the header.
    std::string row = csvLine(record, {});
    const std::string rowDigits = row.substr(row.size() - 9, 8);
    row.replace(row.size() - 9, 8, "00000000");
    EXPECT_EQ(rowDigits, checksumText(crc32c(csvHeader({}) + row)));
}

/// A record of the first version, as it stood in files.
const char* const oldJson =
    "{\"schema\":1,\"position\":1,\"pairs\":1,\"id\":\"p\",\"first\":\"a\",\"second\":\"b\",\"first_width\":4,"
    "\"first_height\":3,\"second_width\":2,\"second_height\":1,\"brightness\":0.5,\"lightness\":0.5,\"chroma\":0.5,"
    "\"colorfulness\":0.5,\"saturation\":0.5,\"first_nan_brightness\":0.0,\"first_nan_lightness\":0.0,"
    "\"first_nan_chroma\":0.0,\"first_nan_colorfulness\":0.0,\"first_nan_saturation\":0.0,"
    "\"second_nan_brightness\":0.0,\"second_nan_lightness\":0.0,\"second_nan_chroma\":0.0,"
    "\"second_nan_colorfulness\":0.0,\"second_nan_saturation\":0.0,\"status\":\"compared\",\"error\":null,"
    "\"remarks\":null,\"version\":\"0.1.0\",\"parameters\":\"0123456789abcdef\",\"note\":\"x\"}\n";
const char* const oldRow =
    "1,1,1,p,a,b,4,3,2,1,0.5,0.5,0.5,0.5,0.5,0,0,0,0,0,0,0,0,0,0,compared,,,0.1.0,0123456789abcdef,x\n";

TEST(FirstVersion, IsReadInEveryForm) {
    const ScratchDirectory scratch;
    std::ofstream("r.jsonl") << oldJson;
    std::string header = csvHeader({"note"}, firstResultSchema);
    EXPECT_EQ(header.substr(header.find("parameters")), "parameters,note\n");
    std::ofstream("r.csv") << header << oldRow;
    std::vector<std::string> paths = {"r.jsonl", "r.csv"};
    if (std::filesystem::exists("/usr/bin/sqlite3")) {
        header.pop_back();
        std::string values;
        std::string row = oldRow;
        row.pop_back();
        run({"/usr/bin/sqlite3", "r.db",
             "CREATE TABLE results (" + header +
                 "); INSERT INTO results VALUES (1,1,1,'p','a','b',4,3,2,1,0.5,0.5,0.5,0.5,"
                 "0.5,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,0.0,'compared',NULL,NULL,'0.1.0','0123456789abcdef','x');"
                 "PRAGMA user_version = 1"},
            std::filesystem::current_path());
        paths.emplace_back("r.db");
    }
    for (const std::string& path : paths) {
        const auto reader = openResults(path, resultFormatOf("", path));
        ResultRecord record;
        ASSERT_TRUE(reader->next(record)) << path;
        EXPECT_EQ(record.schema, firstResultSchema);
        EXPECT_EQ(record.outcome.first.width, 4);
        EXPECT_EQ(record.outcome.coefficients[0], 0.5F);
        EXPECT_FALSE(record.outcome.first.stamp);
        EXPECT_EQ(record.carried.size(), 1U);
        EXPECT_FALSE(reader->next(record));
        EXPECT_FALSE(reader->tail().cutOff);
        // What is written of it is of the present version.
        EXPECT_EQ(parseJsonRecord(jsonLine(record)).schema, resultSchema);
    }
    // A record of one version does not stand in a table of the other.
    std::ofstream("r.csv") << csvHeader({"note"}) << csvLine(exampleRecord(1), {"note"}) << oldRow;
    EXPECT_EQ(meaningOf("r.csv"), "refused");
}

/// Its lists could have columns that are fields by now: what is written would say two things by one name.
TEST(FirstVersion, IsNotMergedWhereAColumnHasTheNameOfAField) {
    const ScratchDirectory scratch;
    std::string line = oldJson;
    line.replace(line.find("\"note\""), 6, "\"checksum\"");
    std::ofstream("r.jsonl") << line;
    try {
        const ResultMerge merge({"r.jsonl"}, "merged.jsonl");
        FAIL() << "merged";
    } catch (const Refusal& refusal) {
        EXPECT_EQ(
            std::string(refusal.what()),
            "'r.jsonl': the list's column 'checksum' has the name of a field of results; rename it and do the list "
            "again");
    }
}

}  // namespace
}  // namespace likeness::testing
