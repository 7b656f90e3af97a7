#include "batch/result_fields.hpp"

#include "batch/result_examples.hpp"
#include "batch/result_store.hpp"
#include "batch/result_text.hpp"
#include "files/refusal.hpp"
#include "support/needed_package.hpp"
#include "support/process.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

namespace likeness::testing {
namespace {

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    const std::size_t place = text.find(from);
    EXPECT_NE(place, std::string::npos) << from;
    return place == std::string::npos ? text : text.replace(place, from.size(), to);
}

std::string whyNoResults(const std::string& path) {
    try {
        const auto reader = openResults(path, resultFormatOf("", path));
        for (ResultRecord next; reader->next(next);) {
        }
    } catch (const Refusal& refusal) {
        return refusal.what();
    }
    return "read";
}

struct Wrong {
    const char* field;
    const char* value;
    const char* what;
};

constexpr const char* positionRange = "'position' is no whole number from 1 to 9223372036854775807";
constexpr const char* widthRange = "'first_width' is no whole number from 1 to 2147483647";

/// Values that stand in place of a field's, in JSON.
constexpr Wrong wrongValues[] = {
    {"position", "3e72", positionRange},
    {"position", "-1", positionRange},
    {"position", "0", positionRange},
    {"position", "1.9", positionRange},
    {"position", "9223372036854775808", positionRange},
    {"position", "\"1\"", positionRange},
    {"position", "null", positionRange},
    {"schema", "true", "'schema' is no whole number from 1 to 2"},
    {"schema", "1.0", "'schema' is no whole number from 1 to 2"},
    {"schema", "3", "'schema' is no whole number from 1 to 2"},
    {"pairs", "[]", "'pairs' is no whole number from 1 to 9223372036854775807"},
    {"first_width", "99999999999", widthRange},
    {"first_width", "2147483648", widthRange},
    {"first_width", "0", widthRange},
    {"first_width", "4000.5", widthRange},
    {"second_height", "-3", "'second_height' is no whole number from 1 to 2147483647"},
    {"first_width", "null", "not a complete result record of schema 2"},
    {"brightness", "1.001", "'brightness' is no number from 0 to 1"},
    {"brightness", "-0.5", "'brightness' is no number from 0 to 1"},
    {"brightness", "\"0.5\"", "'brightness' is no number from 0 to 1"},
    {"brightness", "null", "not a complete result record of schema 2"},
    {"first_nan_chroma", "1.01", "'first_nan_chroma' is no number from 0 to 1"},
    {"second_nan_saturation", "null", "not a complete result record of schema 2"},
    {"id", "12", "'id' is no text"},
    {"version", "null", "'version' is no text"},
    {"status", "\"failed\"", "not a complete result record of schema 2"},
    {"status", "\"fine\"", "not a complete result record of schema 2"},
    {"error", "false", "'error' is no text"},
};

/// The line with another value of a field.
std::string jsonWith(const std::string& line, const Wrong& wrong) {
    const std::string key = '"' + std::string(wrong.field) + "\":";
    const std::size_t begin = line.find(key) + key.size();
    const std::size_t end = line.find(",\"", begin);
    return line.substr(0, begin) + wrong.value + line.substr(end);
}

TEST(ResultFields, OutOfTheirRangeAreRefusedInJsonLines) {
    const ScratchDirectory scratch;
    const std::string line = jsonLine(exampleRecord(1));
    for (const Wrong& wrong : wrongValues) {
        std::ofstream("r.jsonl", std::ios::binary) << line << jsonWith(line, wrong) << line;
        EXPECT_EQ(whyNoResults("r.jsonl"), std::string("'r.jsonl', line 2: ") + wrong.what)
            << wrong.field << ' ' << wrong.value;
        // Nor is the last line taken for one that was cut off.
        std::ofstream("r.jsonl", std::ios::binary) << line << jsonWith(line, wrong);
        EXPECT_EQ(whyNoResults("r.jsonl"), std::string("'r.jsonl', line 2: ") + wrong.what);
    }
    // Rounding may carry a coefficient above 1.
    EXPECT_EQ(parseJsonRecord(line).outcome.coefficients[3], 1.00000012F);
    EXPECT_THROW(parseJsonRecord(replaced(line, "\"position\"", "\"Position\"")), NoRecord);
    EXPECT_THROW(parseJsonRecord("[1]"), NoRecord);
}

TEST(ResultFields, OutOfTheirRangeAreRefusedInCsv) {
    const ScratchDirectory scratch;
    ResultRecord plain = exampleRecord(1);
    plain.first = "a.jpg";
    plain.second = "b.jpg";
    const std::string line = csvLine(plain, {});
    ASSERT_EQ(line.rfind("2,1,9,pair 1,a.jpg,b.jpg,4000,3000,1,1,0.123456791,", 0), 0U) << line;
    const std::pair<const char*, Wrong> changes[] = {
        {"2,1,9", {"2,3e72,9", "", positionRange}},
        {"2,1,9", {"2,-1,9", "", positionRange}},
        {"2,1,9", {"2,1.9,9", "", positionRange}},
        {"2,1,9", {"2,,9", "", positionRange}},
        {"2,1,9", {"true,1,9", "", "'schema' is no whole number from 1 to 2"}},
        {",4000,", {",99999999999,", "", widthRange}},
        {",4000,", {",,", "", "not a complete result record of schema 2"}},
        {",0.123456791,", {",nan,", "", "'brightness' is no number from 0 to 1"}},
        {",0.123456791,", {",inf,", "", "'brightness' is no number from 0 to 1"}},
        {",0.123456791,", {",0x1p-3,", "", "'brightness' is no number from 0 to 1"}},
        {",0.123456791,", {", 0.5,", "", "'brightness' is no number from 0 to 1"}},
        {",0.123456791,", {",,", "", "not a complete result record of schema 2"}},
    };
    for (const auto& [from, wrong] : changes) {
        std::ofstream("r.csv", std::ios::binary) << csvHeader({}) << line << replaced(line, from, wrong.field);
        EXPECT_EQ(whyNoResults("r.csv"), std::string("'r.csv', line 3: ") + wrong.what) << wrong.field;
    }
}

/// Runs a statement over a database with the system's own program.
std::string sqlite(const std::string& database, const std::string& statement) {
    const Outcome outcome = run({"/usr/bin/sqlite3", database, statement}, std::filesystem::current_path());
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return outcome.out;
}

class ResultFieldsInSqlite : public ::testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists("/usr/bin/sqlite3")) {
            SKIP_WITHOUT_PACKAGE("the program sqlite3 is not installed");
        }
        const auto writer = writeResults({"r.db", ResultFormat::sqlite, exampleColumns(), {}});
        writer->append({exampleRecord(1), exampleRecord(2)});
        writer->finish();
    }
    ScratchDirectory scratch_;
};

TEST_F(ResultFieldsInSqlite, OutOfTheirRangeAreRefused) {
    const Wrong changes[] = {
        {"position", "-1", positionRange},
        {"pairs", "1.5", "'pairs' is no whole number from 1 to 9223372036854775807"},
        {"first_width", "99999999999", widthRange},
        {"first_width", "'wide'", widthRange},
        {"schema", "3", "'schema' is no whole number from 1 to 2"},
        {"brightness", "1.5", "'brightness' is no number from 0 to 1"},
        {"brightness", "'x'", "'brightness' is no number from 0 to 1"},
        {"brightness", "NULL", "not a complete result record of schema 2"},
        {"first", "x'00ff'", "'first' is no text"},
        {"note", "x'00ff'", "'note' is no text"},
    };
    for (const Wrong& wrong : changes) {
        std::filesystem::copy_file("r.db", "wrong.db", std::filesystem::copy_options::overwrite_existing);
        sqlite("wrong.db",
               std::string("UPDATE results SET ") + wrong.field + " = " + wrong.value + " WHERE position = 1");
        const std::string position = std::string(wrong.field) == "position" ? wrong.value : "1";
        EXPECT_EQ(whyNoResults("wrong.db"), "'wrong.db', position " + position + ": " + wrong.what) << wrong.value;
    }
}

TEST_F(ResultFieldsInSqlite, HaveTheirTypes) {
    std::string sql;
    std::string whole;
    std::string failed;
    for (const ResultField& field : resultFields()) {
        const bool ofCoefficient = isCorrelateName(field.name);
        const char* const type = field.type == ResultField::Type::integer  ? "integer"
                                 : field.type == ResultField::Type::number ? "real"
                                                                           : "text";
        sql += (sql.empty() ? "SELECT typeof(" : "||','||typeof(") + field.name + ')';
        whole += std::string(whole.empty() ? "" : ",") + (field.name == "error" ? "null" : type);
        // Of the second example the pair failed, and the second photograph could not be read.
        const bool none = ofCoefficient || field.name.rfind("second_", 0) == 0 || field.name == "remarks";
        failed += std::string(failed.empty() ? "" : ",") + (none ? "null" : type);
    }
    EXPECT_EQ(sqlite("r.db", sql + " FROM results ORDER BY position"), whole + '\n' + failed + '\n');
    EXPECT_EQ(sqlite("r.db", "SELECT typeof(note), typeof(iso) FROM results WHERE position = 1"), "text|text\n");
}

TEST_F(ResultFieldsInSqlite, ASchemaOfSomebodyElseCallsPlainFunctionsAlone) {
    sqlite("r.db", "CREATE TRIGGER t AFTER INSERT ON results BEGIN SELECT load_extension('evil'); END");
    try {
        writeResults({"r.db", ResultFormat::sqlite, exampleColumns(), {}})->append({exampleRecord(3)});
        FAIL() << "the trigger ran";
    } catch (const Refusal& refusal) {
        EXPECT_STREQ(refusal.what(), "cannot write 'r.db': unsafe use of load_extension()");
    }
}

}  // namespace
}  // namespace likeness::testing
