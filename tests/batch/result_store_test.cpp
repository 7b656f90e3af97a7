#include "batch/result_store.hpp"

#include "batch/appended_file.hpp"
#include "batch/output_lock.hpp"
#include "batch/result_text.hpp"
#include "files/refusal.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <sys/resource.h>
#include <unistd.h>

namespace likeness::testing {
namespace {

using namespace darkroom;

const std::vector<std::string> columns = {"note", "iso"};

ResultRecord record(std::uint64_t position) {
    ResultRecord made;
    made.position = position;
    made.pairs = 9;
    made.id = "pair " + std::to_string(position);
    made.first = "a, \"b\".jpg";
    made.second = "c\nd.jpg";
    if (position % 2 == 0) {
        made.outcome.error = "cannot read 'c\nd.jpg' as an image";
        made.outcome.first = {30, 20, {0, 0.25, 1, 1.0 / 3, 0}};
    } else {
        made.outcome.coefficients = {0.123456789F, 1.0F, 0.0F, 1.00000012F, 1e-7F};
        made.outcome.first = {4000, 3000, {0, 0, 0, 0, 0.5}};
        made.outcome.second = {1, 1, {1, 1, 1, 1, 1}};
        made.outcome.remarks = "'a': Premature end of JPEG file";
    }
    made.version = "1.2.3";
    made.parameters = "0123456789abcdef";
    made.carried = {{"note", CarriedValue::Kind::text, "x,\ny"}, {"iso", CarriedValue::Kind::text, "100"}};
    made.milliseconds = 12.5;
    return made;
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

TEST(OutputLock, ExcludesAndIsGivenBack) {
    const ScratchDirectory scratch;
    {
        const OutputLock lock("out");
        EXPECT_TRUE(isLocked("out"));
        EXPECT_THROW(OutputLock("out"), Refusal);
        const OutputLock other("other");
    }
    EXPECT_FALSE(std::filesystem::exists("out.lock"));
    std::ofstream("out.lock") << "left behind";
    EXPECT_FALSE(isLocked("out"));
    const OutputLock lock("out");
}

TEST(ResultText, KeepsTheTypesOfJson) {
    ResultRecord made = record(1);
    made.carried = {{"a", CarriedValue::Kind::json, "[1,2.5,null]"},
                    {"b", CarriedValue::Kind::absent, ""},
                    {"c", CarriedValue::Kind::text, "12"}};
    const std::string line = jsonLine(made);
    EXPECT_NE(line.find("\"a\":[1,2.5,null],\"c\":\"12\"}"), std::string::npos) << line;
    EXPECT_EQ(line.find("\"b\""), std::string::npos);
    EXPECT_EQ(jsonLine(*recordOfJson(line)), line);
    EXPECT_NE(line.find("\"brightness\":0.123456791,\"lightness\":1.0,\"chroma\":0.0,"), std::string::npos) << line;
}

}  // namespace
}  // namespace likeness::testing
