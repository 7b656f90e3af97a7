#include "batch/result_store.hpp"

#include "batch/sqlite_results.hpp"
#include "batch/text_results.hpp"
#include "files/refusal.hpp"

#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace likeness {

ResultFormat resultFormatOf(const std::string& option, const std::string& path) {
    const std::string extension = lowerCase(std::filesystem::path(path).extension().string());
    if (extension == ".jsonl" || extension == ".ndjson") {
        return ResultFormat::jsonLines;
    }
    if (extension == ".csv") {
        return ResultFormat::csv;
    }
    if (extension == ".db" || extension == ".sqlite" || extension == ".sqlite3") {
        return ResultFormat::sqlite;
    }
    throw Refusal(option + ": '" + path + "' does not end in .db, .sqlite, .sqlite3, .jsonl, .ndjson or .csv");
}

std::unique_ptr<ResultReader> openResults(const std::string& path, ResultFormat format) {
    return format == ResultFormat::sqlite ? openSqliteResults(path) : openTextResults(path, format);
}

std::unique_ptr<ResultWriter> writeResults(const ResultFile& file, const ResultReader::Tail& tail) {
    return file.format == ResultFormat::sqlite ? writeSqliteResults(file) : writeTextResults(file, tail);
}

void emptyResults(const ResultFile& file) {
    if (file.format == ResultFormat::sqlite) {
        emptySqliteResults(file);
    } else if (::truncate(file.path.c_str(), 0) != 0) {
        throw Refusal("cannot write '" + file.path + "': " + std::strerror(errno));
    }
}

void checkpointResults(const std::string& path, ResultFormat format) {
    if (format == ResultFormat::sqlite) {
        settleSqliteResults(path);
    }
}

}  // namespace likeness
