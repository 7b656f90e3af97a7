#include "batch/result_store.hpp"

#include "batch/appended_file.hpp"
#include "batch/json_depth.hpp"
#include "batch/output_lock.hpp"
#include "batch/result_examples.hpp"
#include "batch/result_text.hpp"
#include "files/refusal.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <fstream>

namespace likeness::testing {
namespace {

const std::vector<std::string> columns = exampleColumns();

ResultRecord record(std::uint64_t position) {
    return exampleRecord(position);
}

std::vector<ResultRecord> recordsOf(const std::string& path, ResultFormat format) {
    const auto reader = openResults(path, format);
    std::vector<ResultRecord> records;
    for (ResultRecord next; reader->next(next);) {
        records.push_back(next);
    }
    return records;
}

class ResultStore : public ::testing::TestWithParam<const char*> {
protected:
    std::string path() const { return std::string("results.") + GetParam(); }
    ResultFormat format() const { return resultFormatOf("--output", path()); }
    ScratchDirectory scratch_;
};

TEST_P(ResultStore, ReadsBackWhatWasWritten) {
    {
        const auto writer = writeResults({path(), format(), columns, {}});
        writer->append({record(1), record(2)});
        writer->append({record(3)});
        writer->finish();
    }
    const std::vector<ResultRecord> read = recordsOf(path(), format());
    ASSERT_EQ(read.size(), 3U);
    for (std::uint64_t k = 1; k <= 3; ++k) {
        const ResultRecord expected = record(k);
        const ResultRecord& actual = read[k - 1];
        EXPECT_EQ(csvLine(actual, columns), csvLine(expected, columns));
        EXPECT_EQ(jsonLine(actual), jsonLine(expected));
        EXPECT_EQ(actual.outcome.coefficients, expected.outcome.coefficients);
    }
}

TEST_P(ResultStore, WithoutFinishEverythingIsThereAllTheSame) {
    const auto writer = writeResults({path(), format(), columns, {}});
    writer->append({record(1)});
    EXPECT_EQ(recordsOf(path(), format()).size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Formats, ResultStore, ::testing::Values("jsonl", "csv", "db"),
                         [](const auto& format) { return std::string(format.param); });

class TextStore : public ResultStore {};

TEST_P(TextStore, ACutOffAnywhereLeavesTheWholeRecords) {
    writeResults({path(), format(), columns, {}})->append({record(1), record(2), record(3)});
    const std::string whole = contentOf(path());
    for (std::size_t length = 0; length < whole.size(); length += 5) {
        std::ofstream(path(), std::ios::binary) << whole.substr(0, length);
        const auto reader = openResults(path(), format());
        std::size_t count = 0;
        ResultRecord next;
        while (reader->next(next)) {
            ++count;
        }
        const ResultReader::Tail tail = reader->tail();
        EXPECT_EQ(tail.cutOff, tail.begin < length) << length;
        // Going on behind what is whole gives the file again.
        const auto writer = writeResults({path(), format(), columns, {}}, tail);
        for (std::size_t k = count; k < 3; ++k) {
            writer->append({record(k + 1)});
        }
        ASSERT_EQ(contentOf(path()), whole) << length;
    }
}

TEST_P(TextStore, RefusesDamageAndOtherFiles) {
    writeResults({path(), format(), columns, {}})->append({record(1), record(3), record(5)});
    std::string text = contentOf(path());
    const std::size_t place = text.find("1.2.3", text.find("1.2.3") + 1);
    std::ofstream(path(), std::ios::binary) << text.replace(place - 3, 9, "\"x\"\n,,{\n");
    EXPECT_THROW(recordsOf(path(), format()), Refusal);
    for (const std::string& other : {std::string("my notes"), std::string("a,b\n1,2\n"), std::string("{\"a\":1}\n")}) {
        std::ofstream(path(), std::ios::binary) << other;
        EXPECT_THROW(recordsOf(path(), format()), Refusal) << other;
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, TextStore, ::testing::Values("jsonl", "csv"),
                         [](const auto& format) { return std::string(format.param); });

TEST(SqliteStore, RefusesOtherFilesAndDamage) {
    const ScratchDirectory scratch;
    std::ofstream("notes.db") << std::string(5000, 'x');
    EXPECT_THROW(recordsOf("notes.db", ResultFormat::sqlite), Refusal);
    EXPECT_THROW(recordsOf("missing.db", ResultFormat::sqlite), Refusal);
    EXPECT_FALSE(std::filesystem::exists("missing.db"));
    {
        const auto writer = writeResults({"r.db", ResultFormat::sqlite, {}, {}});
        for (std::uint64_t k = 1; k < 200; ++k) {
            writer->append({record(k)});
        }
        EXPECT_THROW(writer->append({record(200), record(7)}), Refusal);  // the id is there
        writer->finish();
    }
    EXPECT_EQ(recordsOf("r.db", ResultFormat::sqlite).size(), 199U);  // and nothing of the group
    EXPECT_FALSE(std::filesystem::exists("r.db-wal"));
    const std::string whole = contentOf("r.db");
    std::ofstream("r.db", std::ios::binary) << whole.substr(0, whole.size() / 2);
    EXPECT_THROW(recordsOf("r.db", ResultFormat::sqlite), Refusal);
}

// A failing disk: a number of bytes fit, in writes of at most seven, now and then interrupted.
std::size_t roomLeft = 0;
int writes = 0;

::ssize_t shortWrite(int descriptor, const void* bytes, std::size_t count) {
    if (++writes % 3 == 0) {
        errno = EINTR;
        return -1;
    }
    const std::size_t fitting = std::min({count, roomLeft, std::size_t{7}});
    if (fitting == 0) {
        errno = ENOSPC;
        return -1;
    }
    roomLeft -= fitting;
    return ::write(descriptor, bytes, fitting);
}

TEST(AppendedFile, HoldsWholeBlocksWhereverWritingFails) {
    const ScratchDirectory scratch;
    const std::string block = "0123456789 abcdefghij\n";
    for (roomLeft = 0; roomLeft < 3 * block.size(); ++roomLeft) {
        const std::size_t room = roomLeft;
        std::remove("file");
        AppendedFile file("file", 0, shortWrite);
        std::string expected;
        try {
            for (int k = 0; k < 3; ++k) {
                file.append(block);
                expected += block;
            }
            FAIL() << "everything fitted into " << room;
        } catch (const Refusal& refusal) {
            EXPECT_STREQ(refusal.what(), "cannot write 'file': No space left on device");
        }
        EXPECT_EQ(expected.size(), room / block.size() * block.size());
        EXPECT_EQ(contentOf("file"), expected);
        roomLeft = room;
    }
}

TEST(AppendedFile, GoesOnBehindWhatIsKept) {
    const ScratchDirectory scratch;
    std::ofstream("file") << "whole\ncut o";
    AppendedFile file("file", 6);
    file.append("next\n");
    file.finish();
    EXPECT_EQ(contentOf("file"), "whole\nnext\n");
}

TEST_P(TextStore, WhatAPowerFailureLeavesAtTheEndIsDropped) {
    writeResults({path(), format(), columns, {}})->append({record(1), record(2), record(3)});
    const std::string whole = contentOf(path());
    const std::string next = format() == ResultFormat::csv ? csvLine(record(4), columns) : jsonLine(record(4));
    const std::string begin = next.substr(0, next.size() / 2);
    const std::string zeros(5000, '\0');
    const std::string tails[] = {zeros.substr(0, 10),
                                 zeros,
                                 begin,
                                 begin + zeros,
                                 begin + "\xff\"\x01,,}\n",
                                 begin + "\xff\"\x01\n garbage \n\n{[",
                                 zeros + '\n',
                                 begin + '\n' + begin + zeros};
    for (const std::string& tail : tails) {
        std::ofstream(path(), std::ios::binary) << whole << tail;
        const auto reader = openResults(path(), format());
        int count = 0;
        for (ResultRecord read; reader->next(read);) {
            ++count;
        }
        EXPECT_EQ(count, 3);
        EXPECT_TRUE(reader->tail().cutOff);
        EXPECT_EQ(reader->tail().begin, whole.size());
        EXPECT_EQ(reader->tail().dropped, tail.size());
        // With a whole record behind it, it is no end.
        std::ofstream(path(), std::ios::binary) << whole << tail << '\n' << next;
        EXPECT_THROW(recordsOf(path(), format()), Refusal) << tail.size();
    }
    std::ofstream(path(), std::ios::binary) << whole << zeros << next;
    EXPECT_THROW(recordsOf(path(), format()), Refusal);
    // What does not begin as a record is somebody's, and stays.
    for (const char* const other : {"# looked through by Eva\n", "note", "\n\nx\n"}) {
        std::ofstream(path(), std::ios::binary) << whole << other;
        EXPECT_THROW(recordsOf(path(), format()), Refusal) << other;
    }
}

TEST_P(ResultStore, GoesOnAfterARest) {
    {
        const auto writer = writeResults({path(), format(), columns, {}});
        writer->append({record(1), record(2), record(3)});
        writer->finish();
    }
    const auto reader = openResults(path(), format());
    ResultRecord next;
    for (std::uint64_t k = 1; k <= 3; ++k) {
        reader->rest();
        ASSERT_TRUE(reader->next(next));
        EXPECT_EQ(jsonLine(next), jsonLine(record(k)));
    }
    reader->rest();
    EXPECT_FALSE(reader->next(next));
}

TEST(TimesFile, ThatIsSomebodyElsesOrDamagedIsNamedAndKept) {
    const ScratchDirectory scratch;
    const ResultFile file{"r.csv", ResultFormat::csv, {}, "r.csv.timing.csv"};
    const auto refusal = [&](const std::string& text) {
        std::ofstream(file.timing, std::ios::binary) << text;
        try {
            writeResults(file);
        } catch (const Refusal& problem) {
            EXPECT_EQ(contentOf(file.timing), text);
            return std::string(problem.what());
        }
        return std::string();
    };
    const std::string kept = "'r.csv.timing.csv' is no file of times, and it would be overwritten; move it away";
    EXPECT_EQ(refusal("my own\n"), kept);
    EXPECT_EQ(refusal("my own"), kept);
    EXPECT_EQ(refusal("id,milliseconds\na,1.0\nb,\"2\"x\n"),
              "'r.csv.timing.csv', line 3: there is text behind a closing quote; move the file away");
    EXPECT_EQ(refusal("id,milliseconds\na,1.0,5\n"),
              "'r.csv.timing.csv', line 2: there are 3 fields in place of 2; move the file away");
    EXPECT_EQ(refusal("id,milliseconds\na,1.0\nb,2."), "");
}

TEST(SqliteStore, AnIdleReaderIsNoFailure) {
    const ScratchDirectory scratch;
    const auto writer = writeResults({"r.db", ResultFormat::sqlite, columns, {}});
    writer->append({record(1), record(2)});
    const auto idle = openResults("r.db", ResultFormat::sqlite);
    ResultRecord next;
    ASSERT_TRUE(idle->next(next));
    writer->append({record(3)});
    EXPECT_NO_THROW(writer->finish());
    EXPECT_EQ(recordsOf("r.db", ResultFormat::sqlite).size(), 3U);
    EXPECT_TRUE(idle->next(next));
    EXPECT_FALSE(idle->next(next));
}

TEST(JsonDepth, IsBounded) {
    const ScratchDirectory scratch;
    const std::string line = jsonLine(record(1));
    const auto brackets = [](int depth) {
        return std::string(static_cast<std::size_t>(depth), '[') + std::string(static_cast<std::size_t>(depth), ']');
    };
    const auto nested = [&](int depth) {
        return line.substr(0, line.size() - 2) + ",\"x\":" + brackets(depth) + "}\n";
    };
    ResultRecord deepest = record(1);
    deepest.carried = {{"x", CarriedValue::Kind::json, brackets(mostJsonDepth - 1)}};
    EXPECT_EQ(parseJsonRecord(jsonLine(deepest)).carried.back().text, brackets(mostJsonDepth - 1));
    for (const std::string& deep :
         {nested(mostJsonDepth), nested(200'000), "{\"schema\":" + std::string(200'000, '[') + '\n'}) {
        std::ofstream("r.jsonl", std::ios::binary) << line << deep;
        try {
            recordsOf("r.jsonl", ResultFormat::jsonLines);
            FAIL();
        } catch (const Refusal& refusal) {
            EXPECT_STREQ(refusal.what(), "'r.jsonl', line 2: arrays and objects are nested more than 64 deep");
        }
    }
    EXPECT_FALSE(nestsTooDeep('"' + std::string(100, '[') + "\\\"" + std::string(100, '{') + '"'));
    EXPECT_TRUE(nestsTooDeep("\"\\\\\"" + std::string(65, '[')));
}

TEST(ResultFormats, AreThoseOfTheExtension) {
    for (const char* const name : {"a.db", "a.sqlite", "b/a.sqlite3"}) {
        EXPECT_EQ(resultFormatOf("--output", name), ResultFormat::sqlite) << name;
    }
    EXPECT_EQ(resultFormatOf("--output", "a.jsonl"), ResultFormat::jsonLines);
    EXPECT_EQ(resultFormatOf("--output", "a.ndjson"), ResultFormat::jsonLines);
    EXPECT_EQ(resultFormatOf("--output", "a.csv"), ResultFormat::csv);
    for (const char* const name : {"a.txt", "a", "sqlite", "a.db.gz"}) {
        EXPECT_THROW(resultFormatOf("--output", name), Refusal) << name;
    }
}

TEST(OutputLock, ExcludesAndIsGivenBack) {
    const ScratchDirectory scratch;
    {
        const OutputLock lock("out");
        EXPECT_FALSE(lock.existed());
        EXPECT_TRUE(isLocked("out"));
        EXPECT_THROW(OutputLock("out"), Refusal);
        const OutputLock other("other");
        std::ofstream("other") << "written";
    }
    EXPECT_FALSE(std::filesystem::exists("out"));
    EXPECT_TRUE(std::filesystem::exists("other"));
    EXPECT_FALSE(isLocked("other"));
    std::ofstream("empty").flush();
    { const OutputLock lock("empty"); }
    EXPECT_TRUE(std::filesystem::exists("empty"));  // it was there before
}

TEST(OutputLock, IsTheFilesWhateverItsName) {
    const ScratchDirectory scratch;
    std::ofstream("out") << "x";
    std::filesystem::create_symlink("out", "symbolic");
    std::filesystem::create_hard_link("out", "hard");
    const OutputLock lock("symbolic");
    for (const char* const name : {"out", "symbolic", "hard"}) {
        EXPECT_TRUE(isLocked(name)) << name;
        EXPECT_THROW(OutputLock{name}, Refusal) << name;
    }
    // A file that takes the name is another one.
    std::ofstream("new") << "y";
    std::filesystem::rename("new", "out");
    const OutputLock second("out");
    EXPECT_THROW(OutputLock("symbolic"), Refusal);
    EXPECT_THROW(OutputLock("symbolic", OutputLock::Links::refuse), Refusal);
}

TEST(OutputLock, LeavesSqlitesLocksAlone) {
    const ScratchDirectory scratch;
    const OutputLock lock("r.db");
    const auto writer = writeResults({"r.db", ResultFormat::sqlite, columns, {}});
    writer->append({record(1)});
    EXPECT_EQ(recordsOf("r.db", ResultFormat::sqlite).size(), 1U);
    EXPECT_THROW(OutputLock("r.db"), Refusal);
    writer->append({record(2)});
    writer->finish();
    EXPECT_EQ(recordsOf("r.db", ResultFormat::sqlite).size(), 2U);
}

TEST(ResultText, KeepsTheTypesOfJson) {
    ResultRecord made = record(1);
    made.carried = {{"a", CarriedValue::Kind::json, "[1,2.5,null]"},
                    {"b", CarriedValue::Kind::absent, ""},
                    {"c", CarriedValue::Kind::text, "12"}};
    const std::string line = jsonLine(made);
    EXPECT_NE(line.find("\"a\":[1,2.5,null],\"c\":\"12\"}"), std::string::npos) << line;
    EXPECT_EQ(line.find("\"b\""), std::string::npos);
    EXPECT_EQ(jsonLine(parseJsonRecord(line)), line);
    EXPECT_NE(line.find("\"brightness\":0.123456791,\"lightness\":1.0,\"chroma\":0.0,"), std::string::npos) << line;
}

}  // namespace
}  // namespace likeness::testing
