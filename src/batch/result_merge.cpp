#include "batch/result_merge.hpp"

#include "batch/distance_columns.hpp"
#include "batch/output_lock.hpp"
#include "batch/result_text.hpp"
#include "batch/shard.hpp"
#include "batch/stable_hash.hpp"
#include "batch/working_file.hpp"
#include "files/interrupt_cleanup.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "files/replaced_file.hpp"

#include <fmt/format.h>

#include <fcntl.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>
#include <optional>
#include <queue>
#include <unordered_set>

namespace likeness {
namespace {

namespace fs = std::filesystem;

/// Inputs that stay open while they are merged. More of them take turns.
constexpr std::size_t mostOpen = 32;
/// Records that are kept of inputs that take turns, all together: some 30 MB. At least one each.
constexpr std::size_t mostRecordsAhead = 32768;

bool isDistance(const CarriedValue& value) {
    const std::vector<std::string>& names = distanceColumns();
    return std::find(names.begin(), names.end(), value.column) != names.end();
}

bool isPrediction(const CarriedValue& value) {
    return std::find(predictionColumns.begin(), predictionColumns.end(), value.column) != predictionColumns.end();
}

/// How many carried values, the last ones, are what the run computed: distances, predictions and the hue's coefficient,
/// in this order.
/// @param someMayLack  where records have no absent values, as lines of JSON; a table has all columns of a kind or none
std::size_t computedValues(const ResultRecord& record, bool someMayLack) {
    auto value = record.carried.rbegin();
    const auto end = record.carried.rend();
    if (value != end && comparesHue(record) && value->column == hueColumn) {
        ++value;
    }
    for (const auto& [is, all] :
         {std::pair(&isPrediction, predictionColumns.size()), std::pair(&isDistance, distanceColumns().size())}) {
        const auto other = std::find_if_not(value, end, *is);
        value = someMayLack || static_cast<std::size_t>(other - value) == all ? other : value;
    }
    return static_cast<std::size_t>(value - record.carried.rbegin());
}

/// What a run computes is a number wherever values have kinds, whatever the list is.
void takeForNumber(CarriedValue& value) {
    value.kind = value.text.empty() ? CarriedValue::Kind::absent : CarriedValue::Kind::json;
}

class Input {
public:
    /// @param output  in whose records computed values are numbers, unless it is a table of texts
    Input(std::string path, std::size_t inputs, ResultFormat output)
        : path_(std::move(path)), reader_(openResults(path_, resultFormatOf("IN", path_))), output_(output) {
        if (inputs > mostOpen) {
            block_ = std::max<std::size_t>(1, std::min<std::size_t>(1000, mostRecordsAhead / inputs));
            reader_->rest();
        }
    }

    const std::string& path() const noexcept { return path_; }
    const ResultReader& reader() const noexcept { return *reader_; }
    const ResultRecord& record() const { return ahead_[current_]; }

    bool advance() {
        const std::uint64_t before = position_;
        if (++current_ >= ahead_.size() && !refill()) {
            return false;
        }
        if (record().position <= before) {
            throw Refusal(fmt::format("'{}': the pair '{}' of position {} stands behind position {}", path_,
                                      record().id, record().position, before));
        }
        position_ = record().position;
        return true;
    }

private:
    bool refill() {
        ahead_.clear();
        current_ = 0;
        for (ResultRecord next; ahead_.size() < std::max<std::size_t>(1, block_) && !ended_;) {
            if (reader_->next(next)) {
                if (output_ != ResultFormat::csv && !reader_->knowsKinds()) {
                    std::for_each(next.carried.end() - static_cast<std::ptrdiff_t>(computedValues(next, false)),
                                  next.carried.end(), takeForNumber);
                }
                ahead_.push_back(std::move(next));
            } else {
                ended_ = true;
                if (reader_->tail().cutOff) {
                    throw Refusal("'" + path_ + "': the last record is cut off; darkroom batch --resume repairs it");
                }
            }
        }
        if (block_ > 0 || ended_) {
            reader_->rest();
        }
        return !ahead_.empty();
    }

    std::string path_;
    std::unique_ptr<ResultReader> reader_;
    ResultFormat output_;
    std::vector<ResultRecord> ahead_;
    std::size_t current_ = 0;
    std::size_t block_ = 0;  ///< records that are read at a time before the file is closed; 0: it stays open
    std::uint64_t position_ = 0;
    bool ended_ = false;
};

/// Visits the records of all inputs by ascending position.
void forEachRecord(const std::vector<std::string>& paths, ResultFormat output,
                   const std::function<void(const Input&)>& visit) {
    std::vector<Input> inputs;
    inputs.reserve(paths.size());
    for (const std::string& path : paths) {
        inputs.emplace_back(path, paths.size(), output);
    }
    const auto later = [](const Input* a, const Input* b) { return a->record().position > b->record().position; };
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

/// Whether the kinds of the carried values survive. A table holds texts alone: an absent member of the list is an empty
/// field in it, a number the same as its digits.
class KindChecks {
public:
    explicit KindChecks(ResultFormat output) : output_(output) {}

    void operator()(const Input& input) {
        const bool known = input.reader().knowsKinds();
        const bool isTable = resultFormatOf("IN", input.path()) == ResultFormat::csv;
        allKnown_ = allKnown_ && known;
        std::size_t present = 0;
        const std::vector<CarriedValue>& carried = input.record().carried;
        const std::size_t ofList = carried.size() - computedValues(input.record(), known);
        for (std::size_t k = 0; k < ofList; ++k) {
            const CarriedValue& value = carried[k];
            present += value.kind == CarriedValue::Kind::absent ? 0U : 1U;
            if (value.kind == CarriedValue::Kind::json && unlike_.empty()) {
                unlike_ = input.path();
            }
            if (!known && doubtful_.empty() && (value.text.empty() ? isTable : mayLoseJson(value.text)) &&
                output_ != ResultFormat::csv) {
                doubtfulPath_ = input.path();
                doubtful_ = fmt::format("'{}' of the column '{}' for the pair '{}'", value.text, value.column,
                                        input.record().id);
            }
        }
        mostPresent_ = std::max(mostPresent_, present);
        if (!isTable && present < leastPresent_) {
            leastPresent_ = present;
            leastPath_ = input.path();
        }
    }

    bool allKnown() const noexcept { return allKnown_; }

    /// @return  what is assumed; empty if nothing
    /// @throws Refusal  if the inputs show that it would be wrong
    std::string assumption() const {
        if (doubtful_.empty()) {
            return {};
        }
        const std::string what =
            fmt::format("'{}' does not tell texts from other values and absent ones ({})", doubtfulPath_, doubtful_);
        const std::string& unlike = leastPresent_ < mostPresent_ ? leastPath_ : unlike_;
        if (!unlike.empty()) {
            throw Refusal(what + ", and '" + unlike + "' shows that the list has such; merge into .csv, or do the " +
                          "shard again as .jsonl");
        }
        return what + "; all are taken for texts, as those of a CSV list are";
    }

private:
    bool mayLoseJson(const std::string& text) const {
        return output_ == ResultFormat::jsonLines && mayHaveBeenJson(text);
    }

    ResultFormat output_;
    bool allKnown_ = true;
    std::string doubtfulPath_;
    std::string doubtful_;
    std::string unlike_;                                                  ///< an input that has values other than texts
    std::size_t mostPresent_ = 0;                                         ///< carried values that a record has
    std::size_t leastPresent_ = std::numeric_limits<std::size_t>::max();  ///< the same of inputs other than tables
    std::string leastPath_;
};

/// What the records of all inputs must have in common, and the sequence of their positions.
class Checks {
public:
    void operator()(const Input& input) {
        const ResultRecord& record = input.record();
        if (path_.empty()) {
            path_ = input.path();
            first_ = record;
        }
        same(input, "version", record.version, first_.version);
        same(input, "parameters", record.parameters, first_.parameters);
        same(input, "number of pairs in the list", std::to_string(record.pairs), std::to_string(first_.pairs));
        if (record.position == position_) {
            throw Refusal(fmt::format("position {} of the list is in '{}' ('{}') and in '{}' ('{}')", position_,
                                      before_, id_, input.path(), record.id));
        }
        if (record.position != position_ + 1) {
            refuseGap(record.position - 1);
        }
        position_ = record.position;
        before_ = input.path();
        id_ = record.id;
        ids_.push_back(wideHash(record.id));
        for (const CarriedValue& value : record.carried) {
            if (known_.insert(value.column).second) {
                if (isResultField(value.column)) {  // results of the first version have fewer fields
                    throw Refusal(
                        fmt::format("'{}': the list's column '{}' has the name of a field of results; "
                                    "rename it and do the list again",
                                    input.path(), value.column));
                }
                columns_.push_back(value.column);
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
                fmt::format("'{}' and '{}' differ in the {}: {} and {}", path_, input.path(), what, expected, value));
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
    std::unordered_set<std::string> known_;
    std::vector<std::string> columns_;
    std::uint64_t failed_ = 0;
};

/// What results of a shard of an archive's pairs say of themselves.
struct ShardOfPairs {
    Shard shard;
    std::string fingerprint;
};

/// @return  nothing of other results
std::optional<ShardOfPairs> shardOfPairs(const ResultRecord& record) {
    for (const CarriedValue& value : record.carried) {
        const std::size_t space = value.text.find(' ');
        if (value.column == pairsShardColumn && space != std::string::npos) {
            try {
                return ShardOfPairs{parseShard(value.text.substr(0, space)), value.text.substr(space + 1)};
            } catch (const Refusal&) {
                return std::nullopt;
            }
        }
    }
    return std::nullopt;
}

/// The same for an input.
struct InputOfPairs {
    std::string path;
    std::optional<ResultRecord>
        first;  ///< its first record, or that of a shard without pairs; nothing of an empty file
    std::optional<ShardOfPairs> shard;
};

std::vector<InputOfPairs> inputsOfPairs(const std::vector<std::string>& paths) {
    std::vector<InputOfPairs> inputs;
    for (const std::string& path : paths) {
        InputOfPairs input{path, {}, {}};
        const auto reader = openResults(path, resultFormatOf("IN", path));
        if (ResultRecord record; reader->next(record)) {
            input.shard = shardOfPairs(record);
            input.first = std::move(record);
        } else if (const ResultRecord* const empty = reader->ofShardWithoutPairs()) {
            input.shard = shardOfPairs(*empty);
            input.first = *empty;
        }
        inputs.push_back(std::move(input));
    }
    return inputs;
}

/// Visits the records of shards of pairs one shard after the other, as those of one list.
/// @param pairs   of all of them; 0 while it is not known
/// @param output  decides on the kind of the hue's coefficient and the distances
void forEachOfShards(const std::vector<std::string>& paths, std::uint64_t pairs, ResultFormat output,
                     const std::function<void(ResultRecord& record)>& visit) {
    std::uint64_t position = 0;
    for (const std::string& path : paths) {
        const auto reader = openResults(path, resultFormatOf("IN", path));
        std::uint64_t here = 0;
        std::uint64_t its = 0;
        for (ResultRecord read; reader->next(read);) {
            ResultRecord record = read;  // a reader goes on with its own
            its = record.pairs;
            if (record.position != ++here || !shardOfPairs(record)) {
                throw Refusal(fmt::format("'{}': the pair '{}' stands where the {}. of the shard is expected", path,
                                          record.id, here));
            }
            record.position = ++position;
            record.pairs = pairs;
            std::erase_if(record.carried, [](const CarriedValue& value) { return value.column == pairsShardColumn; });
            for (CarriedValue& value : record.carried) {
                if ((value.column == hueColumn || isDistance(value)) && value.kind != CarriedValue::Kind::absent) {
                    value.kind = output == ResultFormat::csv ? CarriedValue::Kind::text
                                 : value.text.empty()        ? CarriedValue::Kind::absent
                                                             : CarriedValue::Kind::json;
                }
            }
            visit(record);
        }
        if (reader->tail().cutOff || here != its) {
            throw Refusal(fmt::format("'{}' is not whole: {} of {} are there; darkroom pairs makes it anew", path, here,
                                      numberOf(its, "pair")));
        }
    }
}

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

/// Gives a finished file its name.
void moveInto(const std::string& from, const std::string& to, ResultFormat format, bool overwrite) {
    if (overwrite) {
        // What SQLite keeps beside the old database is none of the new one's.
        for (const char* const ending : {"-wal", "-shm", "-journal"}) {
            std::error_code error;
            if (format == ResultFormat::sqlite && fs::exists(to, error)) {
                fs::remove(to + ending, error);
            }
        }
        if (std::rename(from.c_str(), to.c_str()) != 0) {
            throw Refusal("cannot write '" + to + "': " + std::strerror(errno));
        }
    } else if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0) {
        // Not every file system has that; a hard link, too, takes only a free name.
        int problem = errno;
        if (problem == EINVAL || problem == ENOSYS) {
            problem = ::link(from.c_str(), to.c_str()) == 0 ? 0 : errno;
            if (problem == 0) {
                ::unlink(from.c_str());
            } else if (problem != EEXIST && !fs::exists(to)) {
                problem = std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
            }
        }
        if (problem == EEXIST) {
            throw Refusal("OUT: '" + to + "' exists; --overwrite replaces it");
        }
        if (problem != 0) {
            throw Refusal("cannot write '" + to + "': " + std::strerror(problem));
        }
    }
    synchronizeFolderOf(to);
}

}  // namespace

ResultMerge::ResultMerge(std::vector<std::string> inputs, const std::string& output) : inputs_(std::move(inputs)) {
    for (const std::string& input : inputs_) {
        resultFormatOf("IN", input);
    }
    for (const std::string& input : inputs_) {
        if (isLocked(input)) {
            throw Refusal("'" + input + "' is being written by another process");
        }
        if (const std::string damage = damageOfResults(input, resultFormatOf("IN", input)); !damage.empty()) {
            throw Refusal("'" + input + "' is damaged: " + damage + "; darkroom batch --resume repairs it");
        }
    }
    checkColumns(inputs_);
    checkShardsOfPairs(output);
    if (ofPairs_) {
        return;
    }
    Checks checks;
    KindChecks kinds(resultFormatOf("OUT", output));
    forEachRecord(inputs_, resultFormatOf("OUT", output), [&](const Input& input) {
        checks(input);
        kinds(input);
    });
    checks.finish();
    columns_ = checks.columns();
    pairs_ = checks.pairs();
    failed_ = checks.failed();
    assumption_ = kinds.assumption();
    knowsKinds_ = kinds.allKnown();
}

void ResultMerge::checkShardsOfPairs(const std::string& output) {
    std::vector<InputOfPairs> inputs = inputsOfPairs(inputs_);
    const auto one = std::find_if(inputs.begin(), inputs.end(), [](const auto& input) { return input.shard; });
    if (one == inputs.end()) {
        return;
    }
    ofPairs_ = true;
    const ShardOfPairs first = *one->shard;
    std::vector<const InputOfPairs*> byShard(first.shard.count, nullptr);
    std::vector<std::string> ordered;
    for (const InputOfPairs& input : inputs) {
        if (!input.first) {
            throw Refusal("'" + input.path +
                          "' is empty and says of no shard that it is one; darkroom pairs makes it anew");
        }
        if (!input.shard || input.shard->fingerprint != first.fingerprint ||
            input.shard->shard.count != first.shard.count || input.first->version != one->first->version ||
            input.first->parameters != one->first->parameters) {
            throw Refusal(
                "'" + one->path + "' and '" + input.path +
                "' are no shards of one run of darkroom pairs: archives, options or numbers of shards differ");
        }
        const InputOfPairs*& place = byShard[input.shard->shard.index - 1];
        if (place != nullptr) {
            throw Refusal(fmt::format("'{}' and '{}' are both shard {}/{}", place->path, input.path,
                                      input.shard->shard.index, first.shard.count));
        }
        place = &input;
    }
    if (inputs.size() != first.shard.count) {
        throw Refusal(fmt::format("the pairs are in {}, and {} given; those without pairs are needed too",
                                  numberOf(first.shard.count, "shard"),
                                  numberOf(inputs.size(), "input is", "inputs are")));
    }
    ordered.reserve(byShard.size());
    for (const InputOfPairs* const input : byShard) {
        ordered.push_back(input->path);
    }
    inputs_ = std::move(ordered);
    std::unordered_set<std::string> known;
    for (const CarriedValue& value : one->first->carried) {  // of shards without pairs that is all there is
        if (value.column != pairsShardColumn && known.insert(value.column).second) {
            columns_.push_back(value.column);
        }
    }
    forEachOfShards(inputs_, 0, resultFormatOf("OUT", output), [&](ResultRecord& record) {
        ++pairs_;
        failed_ += record.outcome.compared() ? 0U : 1U;
        for (const CarriedValue& value : record.carried) {
            if (known.insert(value.column).second) {
                columns_.push_back(value.column);
            }
        }
    });
}

void ResultMerge::write(const std::string& output, bool overwrite) const {
    const ResultFormat format = resultFormatOf("OUT", output);
    const std::string target = behindLinks(output);
    std::error_code error;
    refuseLeftJournals(target, format);
    // The lock keeps a second merge from the same file. What is in the file is left of one that was killed.
    const std::string temporary = workingFile(target, "merge");
    const OutputLock lock(temporary, OutputLock::Links::refuse);
    const RemovedOnInterrupt onInterrupt[] = {RemovedOnInterrupt(temporary), RemovedOnInterrupt(temporary + "-wal"),
                                              RemovedOnInterrupt(temporary + "-shm"),
                                              RemovedOnInterrupt(temporary + "-journal")};
    try {
        for (const char* const ending : {"-wal", "-shm", "-journal"}) {
            fs::remove(temporary + ending, error);
        }
        if (::truncate(temporary.c_str(), 0) != 0) {
            throw Refusal("cannot write '" + temporary + "': " + std::strerror(errno));
        }
        ResultFile file{temporary, format, columns_, {}};
        file.knowsKinds = knowsKinds_;
        const auto writer = writeResults(file);
        std::vector<ResultRecord> block;
        if (ofPairs_) {
            constexpr std::size_t asPairsWrites = 4096;
            forEachOfShards(inputs_, pairs_, format, [&](ResultRecord& record) {
                block.push_back(std::move(record));
                if (block.size() == asPairsWrites) {
                    writer->append(block);
                    block.clear();
                }
            });
        }
        constexpr std::size_t blockSize = 1000;
        forEachRecord(ofPairs_ ? std::vector<std::string>() : inputs_, format, [&](const Input& input) {
            block.push_back(input.record());
            if (block.size() == blockSize) {
                writer->append(block);
                block.clear();
            }
        });
        writer->append(block);
        writer->finish();
        moveInto(temporary, target, format, overwrite);
    } catch (...) {
        removeWithJournals(temporary);
        throw;
    }
}

}  // namespace likeness
