// Files of results, JSON Lines or CSV: the first byte chooses.
#include "batch/result_store.hpp"
#include "batch/result_text.hpp"
#include "files/refusal.hpp"
#include "harness.hpp"

#include <algorithm>

using namespace likeness;
using namespace likeness::fuzz;

namespace {

struct Content {
    std::vector<ResultRecord> records;
    std::vector<std::string> columns;
    ResultReader::Tail tail;
};

Content read(const std::string& path, ResultFormat format) {
    Content content;
    const auto reader = openResults(path, format);
    for (ResultRecord record; reader->next(record);) {
        content.records.push_back(record);
    }
    content.columns = reader->columns();
    content.tail = reader->tail();
    return content;
}

std::string linesOf(const Content& content, ResultFormat format) {
    std::string text;
    for (const ResultRecord& record : content.records) {
        text += format == ResultFormat::csv ? csvLine(record, content.columns) : jsonLine(record);
    }
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    const bool table = choices.byte() % 2 == 1;
    const auto format = table ? ResultFormat::csv : ResultFormat::jsonLines;
    const std::string extension = table ? ".csv" : ".jsonl";
    const std::string bytes = choices.rest();
    const std::string path = scratchPath("results" + extension);
    writeFile(path, bytes);
    Content content;
    try {
        content = read(path, format);
    } catch (const Refusal&) {
        return 0;
    }
    require(content.tail.begin <= bytes.size(), "records end within the file");
    const std::string lines = linesOf(content, format);

    // What stands before the tail is the same file without its end.
    writeFile(path, std::string_view(bytes).substr(0, content.tail.begin));
    if (content.tail.begin > 0) {
        const Content whole = read(path, format);
        require(!whole.tail.cutOff, "nothing is cut off of the whole records");
        require(linesOf(whole, format) == lines, "the whole records are the same without the tail");
    }
    // Columns of results of the first version may have names that are now those of fields: nothing writes these.
    if (content.records.empty() || std::any_of(content.columns.begin(), content.columns.end(),
                                               [](const std::string& name) { return isResultField(name); })) {
        return 0;
    }
    const std::string copy = scratchPath("copy" + extension);
    std::filesystem::remove(copy);
    const auto writer = writeResults({copy, format, content.columns, {}});
    writer->append(content.records);
    writer->finish();
    require(linesOf(read(copy, format), format) == lines, "records that are written are read equal");
    return 0;
}
