#include "batch/result_store.hpp"

#include "batch/sqlite_results.hpp"
#include "batch/text_results.hpp"
#include "files/refusal.hpp"

#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <utility>

namespace likeness {
namespace {

/// Leaves out what says that a shard has no pairs.
class PairsReader final : public ResultReader {
public:
    explicit PairsReader(std::unique_ptr<ResultReader> all) : all_(std::move(all)) {}

    bool next(ResultRecord& record) override {
        while (all_->next(record)) {
            if (record.outcome.error != shardWithoutPairs || !record.first.empty() || !record.second.empty()) {
                return true;
            }
            withoutPairs_ = record;
        }
        return false;
    }

    const std::vector<std::string>& columns() const override { return all_->columns(); }
    bool knowsKinds() const override { return all_->knowsKinds(); }
    void rest() override { all_->rest(); }
    Tail tail() const override { return all_->tail(); }
    const ResultRecord* ofShardWithoutPairs() const override { return withoutPairs_ ? &*withoutPairs_ : nullptr; }

private:
    std::unique_ptr<ResultReader> all_;
    std::optional<ResultRecord> withoutPairs_;
};

}  // namespace

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
    return std::make_unique<PairsReader>(format == ResultFormat::sqlite ? openSqliteResults(path)
                                                                        : openTextResults(path, format));
}

std::unique_ptr<ResultWriter> writeResults(const ResultFile& file, const ResultReader::Tail& tail) {
    return file.format == ResultFormat::sqlite ? writeSqliteResults(file) : writeTextResults(file, tail);
}

std::string damageOfResults(const std::string& path, ResultFormat format) {
    return format == ResultFormat::sqlite ? damageOfSqliteResults(path) : std::string();
}

void refuseLeftJournals(const std::string& path, ResultFormat format) {
    std::error_code error;
    if (format != ResultFormat::sqlite || std::filesystem::exists(path, error)) {
        return;
    }
    for (const char* const ending : {"-wal", "-shm", "-journal"}) {
        if (std::filesystem::exists(path + ending, error)) {
            throw Refusal("'" + path + ending + "' is there without its database; move it away");
        }
    }
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
