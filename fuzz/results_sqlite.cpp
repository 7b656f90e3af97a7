// Databases of results.
#include "batch/result_store.hpp"
#include "batch/result_text.hpp"
#include "batch/sqlite_results.hpp"
#include "files/refusal.hpp"
#include "harness.hpp"

using namespace likeness;
using namespace likeness::fuzz;

namespace {

/// @return  the rows, and "refused" behind them if something was
std::string rowsOf(const std::string& path) {
    std::string text;
    try {
        const auto reader = openResults(path, ResultFormat::sqlite);
        for (ResultRecord record; reader->next(record);) {
            text += csvLine(record, reader->columns());
        }
    } catch (const Refusal&) {
        text += "refused";
    }
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string path = scratchPath("results.db");
    for (const char* const beside : {"-wal", "-shm", "-journal"}) {
        std::filesystem::remove(path + beside);
    }
    const std::string bytes = textOf(data, size);
    writeFile(path, bytes);
    const std::string rows = rowsOf(path);
    require(rowsOf(path) == rows, "a database that is read twice is the same");
    return 0;
}
