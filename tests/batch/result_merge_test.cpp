#include "batch/result_merge.hpp"

#include "batch/output_lock.hpp"
#include "batch/result_examples.hpp"
#include "batch/result_text.hpp"
#include "batch/working_file.hpp"
#include "files/refusal.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>
#include <algorithm>
#include <fstream>

namespace likeness::testing {
namespace {

namespace fs = std::filesystem;
using Kind = CarriedValue::Kind;

void save(const std::string& path, const std::vector<ResultRecord>& records, const std::vector<std::string>& columns) {
    fs::remove(path);
    const auto writer = writeResults({path, resultFormatOf("", path), columns, {}});
    writer->append(records);
    writer->finish();
}

/// All of a file's records, with the kinds of their values.
std::string contentOfResults(const std::string& path) {
    if (!path.ends_with(".db")) {
        return contentOf(path);
    }
    const auto reader = openResults(path, ResultFormat::sqlite);
    std::string text = csvHeader(reader->columns());
    for (ResultRecord record; reader->next(record);) {
        text += csvLine(record, reader->columns());
        for (const CarriedValue& value : record.carried) {
            // Whether it is a text or another value is a database's business only as far as it is kept at all.
            text += value.kind == Kind::absent ? "absent " : "there ";
        }
        text += reader->knowsKinds() ? jsonLine(record) : "";
    }
    return text;
}

/// The same without what only some databases keep.
std::string rowsOf(const std::string& path) {
    const auto reader = openResults(path, resultFormatOf("", path));
    std::string text = csvHeader(reader->columns());
    for (ResultRecord record; reader->next(record);) {
        text += csvLine(record, reader->columns());
        for (const CarriedValue& value : record.carried) {
            text += value.kind == Kind::absent ? "absent " : "there ";
        }
    }
    return text;
}

/// Records of nine pairs; `typed` as of a JSON Lines list with numbers and absent members, otherwise of a CSV list.
std::vector<ResultRecord> nine(bool typed) {
    std::vector<ResultRecord> records;
    for (std::uint64_t k = 1; k <= 9; ++k) {
        ResultRecord record = exampleRecord(k);
        record.carried = {{"note", Kind::text, k == 4 ? "" : "n" + std::to_string(k)},
                          {"iso", Kind::text, std::to_string(100 * k)}};
        if (typed) {
            record.carried[1].kind = k % 3 == 0 ? Kind::text : Kind::json;
            if (k % 4 == 1 && k > 1) {  // the first line of the list sets the order of the columns
                record.carried[0] = {"note", Kind::absent, {}};
            }
            record.carried.push_back(k < 6 ? CarriedValue{"tags", Kind::absent, {}}
                                           : CarriedValue{"tags", Kind::json, "[1,{\"a\":null}]"});
        }
        records.push_back(record);
    }
    return records;
}

TEST(ResultMerge, OfAnyFormatsGivesTheSingleRunOrSaysWhyNot) {
    const ScratchDirectory scratch;
    const std::string formats[] = {"csv", "db", "jsonl"};
    for (const bool typed : {false, true}) {
        std::vector<std::string> columns = exampleColumns();
        if (typed) {
            columns.push_back("tags");
        }
        const std::vector<ResultRecord> records = nine(typed);
        for (const std::string& format : formats) {
            save("single." + format, records, columns);
            for (std::size_t shard = 0; shard < 3; ++shard) {
                std::vector<ResultRecord> part;
                for (std::size_t k = shard; k < 9; k += 3) {
                    part.push_back(records[k]);
                }
                save(std::to_string(shard) + '.' + format, part, columns);
            }
        }
        int same = 0;
        int assumed = 0;
        int refused = 0;
        // A mix in base 3; of the list that loses nothing some will do.
        for (int mix = 0; mix < 27; mix += typed ? 1 : 5) {
            std::vector<std::string> inputs = {"0." + formats[mix % 3], "1." + formats[mix / 3 % 3],
                                               "2." + formats[mix / 9]};
            std::rotate(inputs.begin(), inputs.begin() + mix % 2, inputs.end());
            for (const std::string& format : formats) {
                const std::string out = "out." + format;
                fs::remove(out);
                try {
                    const ResultMerge merge(inputs, out);
                    merge.write(out, false);
                    if (!merge.assumption().empty()) {
                        ++assumed;
                        // Right for a list that is a table.
                        EXPECT_TRUE(typed || rowsOf(out) == rowsOf("single." + format)) << mix << format;
                        continue;
                    }
                    ++same;
                    EXPECT_EQ(rowsOf(out), rowsOf("single." + format)) << mix << format;
                    if (format != "db" || openResults(out, ResultFormat::sqlite)->knowsKinds()) {
                        EXPECT_EQ(contentOfResults(out), contentOfResults("single." + format)) << mix << format;
                    }
                } catch (const Refusal& refusal) {
                    ++refused;
                    EXPECT_TRUE(typed) << refusal.what();
                    EXPECT_FALSE(fs::exists(out));
                    EXPECT_NE(std::string(refusal.what()).find("does not tell texts from other values"),
                              std::string::npos)
                        << refusal.what();
                }
            }
        }
        // Into CSV everything fits, and without a CSV nothing is lost. Of CSV alone a typed list cannot be known.
        EXPECT_EQ(same + assumed + refused, typed ? 81 : 18);
        EXPECT_GE(same, typed ? 27 + 8 + 8 : 6);
        EXPECT_EQ(refused > 0, typed);
    }
}

TEST(ResultMerge, SaysWhatIsAssumedAndWhatIsRefused) {
    const ScratchDirectory scratch;
    const std::vector<ResultRecord> records = nine(true);
    save("a.csv", {records[0], records[1], records[2], records[3]}, {"note", "iso", "tags"});
    save("b.jsonl", {records[4], records[5], records[6], records[7], records[8]}, {});
    try {
        const ResultMerge merge({"b.jsonl", "a.csv"}, "out.jsonl");
        FAIL();
    } catch (const Refusal& refusal) {
        EXPECT_STREQ(refusal.what(),
                     "'a.csv' does not tell texts from other values and absent ones ('100' of the column 'iso' for the "
                     "pair 'pair 1'), and 'b.jsonl' shows that the list has such; merge into .csv, or do the shard "
                     "again as .jsonl");
    }
    save("c.csv", nine(false), exampleColumns());
    EXPECT_EQ(ResultMerge({"c.csv"}, "out.jsonl").assumption(),
              "'c.csv' does not tell texts from other values and absent ones ('100' of the column 'iso' for the pair "
              "'pair 1'); all are taken for texts, as those of a CSV list are");
    EXPECT_EQ(ResultMerge({"c.csv"}, "out.csv").assumption(), "");
}

/// Few file descriptors while the object lives.
class DescriptorLimit {
public:
    explicit DescriptorLimit(::rlim_t most) {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        const ::rlimit few{most, before_.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &few);
    }
    ~DescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &before_); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    ::rlimit before_{};
};

TEST(ResultMerge, OfManyInputsNeedsFewDescriptors) {
    const ScratchDirectory scratch;
    constexpr std::uint64_t inputs = 300;
    std::vector<ResultRecord> all;
    std::vector<std::vector<ResultRecord>> parts(inputs);
    for (std::uint64_t k = 0; k < 3 * inputs; ++k) {
        ResultRecord record = exampleRecord(k + 1);
        record.pairs = 3 * inputs;
        all.push_back(record);
        parts[k * 7 % inputs].push_back(record);
    }
    std::vector<std::string> names;
    for (std::size_t k = 0; k < inputs; ++k) {
        names.push_back(std::to_string(k) + (k % 60 == 0 ? ".db" : k % 2 == 0 ? ".csv" : ".jsonl"));
        const auto writer = writeResults({names.back(), resultFormatOf("", names.back()), exampleColumns(), {}});
        writer->append(parts[k]);
    }
    save("single.csv", all, exampleColumns());
    const DescriptorLimit limit(64);
    const ResultMerge merge(names, "out.csv");
    merge.write("out.csv", false);
    EXPECT_EQ(contentOf("out.csv"), contentOf("single.csv"));
}

TEST(ResultMerge, LeavesOtherFilesAlone) {
    const ScratchDirectory scratch;
    save("a.csv", nine(false), exampleColumns());
    for (const char* const other : {"out.csv.lock", "out.csv.merging", "out.csv.previous", "out.csv-wal"}) {
        std::ofstream(other) << "mine";
    }
    const ResultMerge merge({"a.csv"}, "out.csv");
    merge.write("out.csv", false);
    for (const char* const other : {"out.csv.lock", "out.csv.merging", "out.csv.previous", "out.csv-wal"}) {
        EXPECT_EQ(contentOf(other), "mine") << other;
    }
    // A file that came while the inputs were read stays.
    std::ofstream("out.csv", std::ios::trunc) << "mine";
    EXPECT_THROW(merge.write("out.csv", false), Refusal);
    EXPECT_EQ(contentOf("out.csv"), "mine");
    merge.write("out.csv", true);
    EXPECT_EQ(contentOf("out.csv"), contentOf("a.csv"));
    // What a killed merge left is taken; nothing else remains.
    std::ofstream(workingFile("out.csv", "merge")) << "half";
    merge.write("out.csv", true);
    EXPECT_EQ(contentOf("out.csv"), contentOf("a.csv"));
    EXPECT_EQ(std::distance(fs::directory_iterator("."), fs::directory_iterator()), 6);
    // A second one at the same time is refused.
    const OutputLock other(workingFile("out.csv", "merge"));
    EXPECT_THROW(merge.write("out.csv", true), Refusal);
    std::ofstream("out.db-wal") << "mine";
    EXPECT_THROW(merge.write("out.db", false), Refusal);
    EXPECT_EQ(contentOf("out.db-wal"), "mine");
}

TEST(ResultMerge, ThroughASymbolicLinkIsTheFileThatItNames) {
    const ScratchDirectory scratch;
    save("a.csv", nine(false), exampleColumns());
    fs::create_directory("elsewhere");
    fs::create_symlink("elsewhere/out.csv", "link.csv");
    ResultMerge({"a.csv"}, "link.csv").write("link.csv", false);
    EXPECT_TRUE(fs::is_symlink("link.csv"));
    EXPECT_EQ(contentOf("elsewhere/out.csv"), contentOf("a.csv"));
}

}  // namespace
}  // namespace likeness::testing
