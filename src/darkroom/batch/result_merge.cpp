#include "darkroom/batch/result_merge.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <queue>

#include "darkroom/batch/output_lock.hpp"
#include "darkroom/batch/stable_hash.hpp"
#include "darkroom/interrupt_cleanup.hpp"
#include "darkroom/refusal.hpp"

namespace likeness::darkroom {
namespace {

struct Input {
    std::string path;
    std::unique_ptr<ResultReader> reader;
    ResultRecord record;  // the next one

    bool advance() {
        const std::uint64_t before = record.position;
        if (!reader->next(record)) {
            if (reader->tail().cutOff) {
                throw Refusal("'" + path + "': the last record is cut off; darkroom batch --resume repairs it");
            }
            return false;
        }
        if (record.position <= before) {
            throw Refusal(fmt::format("'{}': the pair '{}' of position {} stands behind position {}", path, record.id,
                                      record.position, before));
        }
        return true;
    }
};

/// Visits the records of all inputs by ascending position.
void forEachRecord(const std::vector<std::string>& paths, const std::function<void(const Input&)>& visit) {
    std::vector<Input> inputs;
    for (const std::string& path : paths) {
        inputs.push_back({path, openResults(path, resultFormatOf("IN", path)), {}});
    }
    const auto later = [](const Input* a, const Input* b) { return a->record.position > b->record.position; };
    std::priority_queue<Input*, std::vector<Input*>, decltype(later)> queue(later);
    for (Input& input : inputs) {
        if (input.advance()) {
            queue.push(&input);
        }
    }
    while (!queue.empty()) {
        Input* const input = queue.top();
        queue.pop();
        visit(*input);
        if (input->advance()) {
            queue.push(input);
        }
    }
}

/// What the records of all inputs must have in common, and the sequence of their positions.
class Checks {
public:
    void operator()(const Input& input) {
        const ResultRecord& record = input.record;
        if (path_.empty()) {
            path_ = input.path;
            first_ = record;
        }
        same(input, "version", record.version, first_.version);
        same(input, "parameters", record.parameters, first_.parameters);
        same(input, "number of pairs in the list", std::to_string(record.pairs), std::to_string(first_.pairs));
        if (record.position == position_) {
            throw Refusal(fmt::format("position {} of the list is in '{}' ('{}') and in '{}' ('{}')", position_,
                                      before_, id_, input.path, record.id));
        }
        if (record.position != position_ + 1) {
            refuseGap(record.position - 1);
        }
        position_ = record.position;
        before_ = input.path;
        id_ = record.id;
        ids_.push_back(wideHash(record.id));
        if (input.reader->columns() != lastColumns_) {
            lastColumns_ = input.reader->columns();
            for (const std::string& column : lastColumns_) {
                if (std::find(columns_.begin(), columns_.end(), column) == columns_.end()) {
                    columns_.push_back(column);
                }
            }
        }
        failed_ += record.outcome.compared() ? 0U : 1U;
    }

    void finish() {
        if (path_.empty()) {
            throw Refusal("there are no records in the inputs");
        }
        if (position_ != first_.pairs) {
            refuseGap(first_.pairs);
        }
        std::sort(ids_.begin(), ids_.end());
        if (std::adjacent_find(ids_.begin(), ids_.end()) != ids_.end()) {
            throw Refusal("a pair occurs at two positions: the inputs are of different lists");
        }
    }

    std::uint64_t pairs() const noexcept { return first_.pairs; }
    std::uint64_t failed() const noexcept { return failed_; }
    const std::vector<std::string>& columns() const noexcept { return columns_; }

private:
    void same(const Input& input, const char* what, const std::string& value, const std::string& expected) const {
        if (value != expected) {
            throw Refusal(
                fmt::format("'{}' and '{}' differ in the {}: {} and {}", path_, input.path, what, expected, value));
        }
    }

    [[noreturn]] void refuseGap(std::uint64_t last) const {
        const std::uint64_t begin = position_ + 1;
        throw Refusal(begin == last ? fmt::format("position {} of {} of the list is in no input", begin, first_.pairs)
                                    : fmt::format("positions {} to {} of {} of the list are in no input", begin, last,
                                                  first_.pairs));
    }

    std::string path_;
    ResultRecord first_;
    std::uint64_t position_ = 0;
    std::string before_;
    std::string id_;
    std::vector<WideHash> ids_;
    std::vector<std::string> lastColumns_;
    std::vector<std::string> columns_;
    std::uint64_t failed_ = 0;
};

/// Inputs with a header must have one and the same.
void checkColumns(const std::vector<std::string>& paths) {
    std::string path;
    std::vector<std::string> columns;
    for (const std::string& candidate : paths) {
        const ResultFormat format = resultFormatOf("IN", candidate);
        const auto reader = openResults(candidate, format);
        ResultRecord record;
        if (format == ResultFormat::jsonLines || !reader->next(record)) {
            continue;
        }
        if (!path.empty() && reader->columns() != columns) {
            throw Refusal("'" + path + "' and '" + candidate + "' differ in their columns");
        }
        path = candidate;
        columns = reader->columns();
    }
}

}  // namespace

ResultMerge::ResultMerge(std::vector<std::string> inputs) : inputs_(std::move(inputs)) {
    for (const std::string& input : inputs_) {
        resultFormatOf("IN", input);
    }
    for (const std::string& input : inputs_) {
        if (isLocked(input)) {
            throw Refusal("'" + input + "' is being written by another process");
        }
    }
    checkColumns(inputs_);
    Checks checks;
    forEachRecord(inputs_, [&](const Input& input) { checks(input); });
    checks.finish();
    columns_ = checks.columns();
    pairs_ = checks.pairs();
    failed_ = checks.failed();
}

void ResultMerge::write(const std::string& output) const {
    const ResultFormat format = resultFormatOf("OUT", output);
    const std::string temporary = output + ".merging";
    const auto removeTemporary = [&] {
        for (const char* const ending : {"", "-wal", "-shm", "-journal"}) {
            std::error_code error;
            std::filesystem::remove(temporary + ending, error);
        }
    };
    const RemovedOnInterrupt onInterrupt[] = {RemovedOnInterrupt(temporary), RemovedOnInterrupt(temporary + "-wal"),
                                              RemovedOnInterrupt(temporary + "-shm"),
                                              RemovedOnInterrupt(temporary + "-journal")};
    removeTemporary();
    try {
        const auto writer = writeResults({temporary, format, columns_, {}});
        std::vector<ResultRecord> block;
        constexpr std::size_t blockSize = 1000;
        forEachRecord(inputs_, [&](const Input& input) {
            block.push_back(input.record);
            if (block.size() == blockSize) {
                writer->append(block);
                block.clear();
            }
        });
        writer->append(block);
        writer->finish();
        if (std::rename(temporary.c_str(), output.c_str()) != 0) {
            throw Refusal("cannot write '" + output + "': " + std::strerror(errno));
        }
    } catch (...) {
        removeTemporary();
        throw;
    }
}

}  // namespace likeness::darkroom
