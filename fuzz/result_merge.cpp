// Results of one list, split in any way into files of any formats, are merged in any order: the result is that of one run.
#include "batch/result_merge.hpp"
#include "batch/result_examples.hpp"
#include "batch/result_text.hpp"
#include "harness.hpp"

#include <algorithm>
#include <utility>

using namespace likeness;
using namespace likeness::fuzz;

namespace {

constexpr const char* extensions[] = {".jsonl", ".csv", ".db"};

void save(const std::string& path, const std::vector<ResultRecord>& records, const std::vector<std::string>& columns) {
    for (const char* const beside : {"", "-wal", "-shm"}) {
        std::filesystem::remove(path + beside);
    }
    const auto writer = writeResults({path, resultFormatOf("", path), columns, {}});
    writer->append(records);
    writer->finish();
}

std::string rowsOf(const std::string& path) {
    const auto reader = openResults(path, resultFormatOf("", path));
    std::string text;
    for (ResultRecord record; reader->next(record);) {
        text += csvLine(record, testing::exampleColumns());
    }
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    const std::size_t count = 1 + choices.upTo(11);
    const std::size_t parts = 1 + choices.upTo(3);
    const std::size_t outputFormat = choices.upTo(2);
    std::vector<std::size_t> formats;
    for (std::size_t part = 0; part < parts; ++part) {
        formats.push_back(choices.upTo(2));
    }
    std::vector<ResultRecord> all;
    std::vector<std::vector<ResultRecord>> split(parts);
    for (std::uint64_t position = 1; position <= count; ++position) {
        ResultRecord record = testing::exampleRecord(position);
        record.pairs = count;
        record.id = std::to_string(position) + ":" + choices.word();  // 1 and "1" are not 11 and ""
        record.carried[0].text = choices.word();
        record.carried[1].text = choices.word();
        all.push_back(record);
        split[choices.upTo(parts - 1)].push_back(record);
    }
    std::vector<std::string> inputs;
    bool sameFormat = true;
    for (std::size_t part = 0; part < parts; ++part) {
        if (split[part].empty()) {
            continue;
        }
        inputs.push_back(scratchPath("part" + std::to_string(part) + extensions[formats[part]]));
        save(inputs.back(), split[part], testing::exampleColumns());
        sameFormat = sameFormat && formats[part] == outputFormat;
    }
    for (std::size_t k = inputs.size(); k > 1; --k) {
        std::swap(inputs[k - 1], inputs[choices.upTo(k - 1)]);
    }
    const std::string whole = scratchPath(std::string("whole") + extensions[outputFormat]);
    const std::string merged = scratchPath(std::string("merged") + extensions[outputFormat]);
    save(whole, all, testing::exampleColumns());
    std::filesystem::remove(merged);
    const ResultMerge merge(inputs, merged);
    require(merge.pairs() == count, "a merge has all pairs");
    merge.write(merged, false);
    require(rowsOf(merged) == rowsOf(whole), "a merge of parts is the whole");
    if (sameFormat && outputFormat != 2) {
        require(contentOf(merged) == contentOf(whole), "a merge of text files is the whole, byte for byte");
    }
    return 0;
}
