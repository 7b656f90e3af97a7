#include "batch/earlier_results.hpp"

#include "batch/distance_columns.hpp"
#include "batch/mask_files.hpp"
#include "batch/sqlite_results.hpp"
#include "batch/stable_hash.hpp"
#include "batch/working_file.hpp"
#include "files/file_checksum.hpp"
#include "files/file_stamp.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "files/replaced_file.hpp"

#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace likeness {
namespace {

namespace fs = std::filesystem;

void renameResults(const std::string& from, const std::string& to) {
    if (std::rename(from.c_str(), to.c_str()) != 0) {
        throw Refusal("cannot rename '" + from + "' to '" + to + "': " + std::strerror(errno));
    }
    synchronizeFolderOf(to);
}

std::string unfinishedUnion(const std::string& output) {
    return workingFile(output, "previous");
}

/// Empties a database that SQLite cannot empty.
void clearDamaged(const std::string& path) {
    for (const char* const ending : {"-wal", "-shm", "-journal"}) {
        std::error_code error;
        fs::remove(path + ending, error);
    }
    if (::truncate(path.c_str(), 0) != 0) {
        throw Refusal("cannot write '" + path + "': " + std::strerror(errno));
    }
}

/// Finds pairs by their id.
class PairIndex {
public:
    explicit PairIndex(const PairList& pairs) {
        entries_.reserve(pairs.size());
        for (std::size_t k = 0; k < pairs.size(); ++k) {
            entries_.push_back({wideHash(pairs.at(k).id), k});
        }
        std::sort(entries_.begin(), entries_.end());
    }

    /// @return  number of the pair in the list, or npos
    std::size_t find(const std::string& id) const {
        const WideHash hash = wideHash(id);
        const auto found = std::lower_bound(entries_.begin(), entries_.end(), Entry{hash, 0});
        return found != entries_.end() && found->id == hash ? found->number : npos;
    }

    static constexpr std::size_t npos = static_cast<std::size_t>(-1);

private:
    struct Entry {
        WideHash id;
        std::size_t number;

        auto operator<=>(const Entry&) const = default;
    };

    std::vector<Entry> entries_;
};

/// Puts the hue's coefficient behind the carried values.
void carryHue(ResultRecord& record, CarriedValue::Kind kind) {
    const std::optional<float>& hue = record.outcome.hue;
    record.carried.push_back({hueColumn, hue ? kind : CarriedValue::Kind::absent, hue ? nineDigits(*hue) : ""});
}

/// Puts the columns that follow from the outcome behind the carried values.
void carryComputed(ResultRecord& record, const ComputedColumns& columns) {
    const bool compared = record.outcome.compared();
    const std::vector<std::string> values = compared ? columns.values(record.outcome) : std::vector<std::string>();
    for (std::size_t k = 0; k < columns.names.size(); ++k) {
        const std::string text = compared ? values[k] : std::string();
        record.carried.push_back({columns.names[k], text.empty() ? CarriedValue::Kind::absent : columns.kind, text});
    }
}

/// Whether columns hold what follows from the outcome.
bool holdsComputed(const std::vector<CarriedValue>& found, const ResultRecord& record, const ComputedColumns& columns) {
    if (!record.outcome.compared()) {
        return std::all_of(found.begin(), found.end(), [](const CarriedValue& value) { return value.text.empty(); });
    }
    const std::vector<std::string> values = columns.values(record.outcome);
    return found.size() == values.size() &&
           std::equal(found.begin(), found.end(), values.begin(),
                      [](const CarriedValue& value, const std::string& text) {
                          // A number may be written in more than one way.
                          return std::strtod(value.text.c_str(), nullptr) == std::strtod(text.c_str(), nullptr);
                      });
}

class TakeUp {
public:
    TakeUp(const ResultFile& file, const PairList& pairs, const ResultOrigin& origin, const ResumeOptions& options)
        : file_(file), pairs_(pairs), origin_(origin), options_(options) {}

    EarlierResults run() {
        EarlierResults earlier;
        const std::string previous = previousResults(file_.path);
        const bool anyOutput = fs::exists(file_.path);
        const bool anyPrevious = fs::exists(previous);
        if (anyOutput && file_.format == ResultFormat::sqlite) {
            lengthenSqliteResults(file_.path);
            damaged_ = !isSoundSqliteFile(file_.path);
        }
        const bool continues = !anyOutput || readBeginning(earlier);
        if (!continues || anyPrevious) {
            earlier.known.resize(pairs_.size());
        }
        if (anyPrevious) {
            if (collect(previous, earlier.known) == 0) {
                throw Refusal("'" + previous +
                              "' holds no results of earlier runs, for which the name is kept; move "
                              "it away");
            }
        }
        if (!continues) {
            earlier.recorded = 0;
            earlier.summary = {};
            earlier.tail = {};
            earlier.dropped = 0;
            changed_ = 0;
            withoutChecksums_ = 0;
            collect(file_.path, earlier.known, &earlier.dropped);
            // The output stays the file that it is, which is locked and may have several names.
            writeUnion(earlier.known, previous);
            if (damaged_) {
                clearDamaged(file_.path);
            }
            emptyResults(file_);
        } else if (anyOutput && earlier.recorded == 0) {
            emptyResults(file_);  // it holds no record, and its columns may be others
            earlier.tail = {};
        }
        earlier.changed = changed_;
        earlier.withoutChecksums = withoutChecksums_;
        earlier.upgraded = upgraded_;
        earlier.damaged = damaged_;
        return earlier;
    }

private:
    /// Whether the output's records are those of the first pairs of the list.
    bool readBeginning(EarlierResults& earlier) {
        const auto reader = openResults(file_.path, file_.format);
        ResultRecord record;
        const bool hasHeader = file_.format != ResultFormat::jsonLines;
        while (reader->next(record)) {
            checkOrigin(file_.path, record);
            const bool same = takeOwn(file_.path, record);
            if (!same || (hasHeader && reader->columns() != file_.columns) || earlier.recorded == pairs_.size() ||
                !isOf(pairs_.at(earlier.recorded), record) || record.schema != resultSchema || isMissing(record)) {
                return false;
            }
            earlier.summary.add(record.outcome);
            ++earlier.recorded;
        }
        earlier.tail = reader->tail();
        earlier.dropped = earlier.tail.dropped;
        // The whole records of a text are its beginning; those of a database are anywhere.
        damaged_ = damaged_ || (file_.format == ResultFormat::sqlite && earlier.tail.cutOff);
        return !damaged_;
    }

    bool isOf(const Pair& pair, const ResultRecord& record) const {
        if (record.position != pair.position || record.pairs != pairs_.total() || record.id != pair.id ||
            record.first != pair.first || record.second != pair.second) {
            return false;
        }
        if (file_.format == ResultFormat::jsonLines) {
            auto value = record.carried.begin();
            for (const CarriedValue& expected : pair.carried) {
                if (expected.kind != CarriedValue::Kind::absent) {
                    if (value == record.carried.end() || !(*value == expected)) {
                        return false;
                    }
                    ++value;
                }
            }
            return value == record.carried.end();
        }
        for (std::size_t k = 0; k < pair.carried.size(); ++k) {
            if (k >= record.carried.size() || record.carried[k].text != pair.carried[k].text) {
                return false;
            }
        }
        return true;
    }

    /// Whether the pair is to be compared again.
    bool isMissing(const ResultRecord& record) {
        if (options_.retryFailed && !record.outcome.compared()) {
            return true;
        }
        if (record.schema != resultSchema && !options_.checksums) {
            return false;
        }
        const bool changed = hasChanged(record.outcome, record.first, record.outcome.first) ||
                             hasChanged(record.outcome, record.second, record.outcome.second) ||
                             masksHaveChanged(maskFiles_, maskFilesNow(pairs_.columns(), record.carried, options_.root,
                                                                       options_.checksums));
        const bool unproved = !changed && (lacksChecksum(record.first, record.outcome.first) ||
                                           lacksChecksum(record.second, record.outcome.second));
        changed_ += changed ? 1U : 0U;
        withoutChecksums_ += unproved ? 1U : 0U;
        return changed || unproved;
    }

    /// Whether the photograph is there, and the record does not say what its checksum was.
    bool lacksChecksum(const std::string& path, const PhotographFacts& recorded) const {
        return options_.checksums && recorded.sha256.empty() && stampOf(pathUnder(options_.root, path)).has_value();
    }

    bool hasChanged(const PairOutcome& outcome, const std::string& path, const PhotographFacts& recorded) const {
        const std::string place = pathUnder(options_.root, path);
        const std::optional<FileStamp> now = stampOf(place);
        if (!now) {
            return false;
        }
        if (recorded.stamp ? *recorded.stamp != *now : !outcome.compared() && recorded.width == 0) {
            return true;
        }
        try {
            return options_.checksums && !recorded.sha256.empty() && fingerprintOf(place).sha256 != recorded.sha256;
        } catch (const Refusal&) {
            return false;
        }
    }

    /// Records of the first version do not say which files they are of: those that are there now.
    void takeStamps(ResultRecord& record) const {
        for (const auto& [path, facts] :
             {std::pair(&record.first, &record.outcome.first), std::pair(&record.second, &record.outcome.second)}) {
            if (!facts->stamp && record.schema != resultSchema) {
                facts->stamp = stampOf(pathUnder(options_.root, *path));
            }
        }
    }

    /// Takes out of the carried values what is neither the list's nor a distance: what an earlier run, or this one,
    /// computed.
    std::vector<CarriedValue> takeComputed(ResultRecord& record) const {
        const std::vector<std::string>& ofList = pairs_.columns();
        const std::vector<std::string>& distances = distanceColumns();
        const auto isKnown = [&](const std::string& column) {
            return column == firstMaskColumn || column == secondMaskColumn || isMaskFileColumn(column) ||
                   std::find(ofList.begin(), ofList.end(), column) != ofList.end() ||
                   std::find(distances.begin(), distances.end(), column) != distances.end();
        };
        std::vector<CarriedValue> found;
        while (!record.carried.empty() && !isKnown(record.carried.back().column)) {
            found.insert(found.begin(), record.carried.back());
            record.carried.pop_back();
        }
        return found;
    }

    /// Leaves the list's columns alone.
    /// @return  whether those that follow from the outcome are as they would be now
    bool takeOwn(const std::string& path, ResultRecord& record) {
        if (origin_.hue) {
            takeHue(record);
        }
        const std::vector<CarriedValue> computed = takeComputed(record);
        if (!origin_.computed && !computed.empty() && computed.back().column == predictionColumns.back()) {
            throw Refusal("'" + path + "' holds results with predictions; --predict goes on with them");
        }
        const bool ofList = !pairs_.columns().empty() && pairs_.columns().back() == distanceColumns().back();
        if (!origin_.distances && !ofList && carriesDistances(record)) {
            throw Refusal("'" + path + "' holds results with distances; --distances goes on with them");
        }
        if (origin_.distances) {
            takeDistances(record);
            if (record.outcome.compared() && !record.outcome.distances) {
                throw Refusal("'" + path + "' holds results without distances, and this run has --distances");
            }
        }
        if (!maskFileColumns(pairs_.columns()).empty()) {
            maskFiles_ = takeMaskFiles(record);
        }
        return origin_.computed ? holdsComputed(computed, record, *origin_.computed) : computed.empty();
    }

    void checkOrigin(const std::string& path, const ResultRecord& record) const {
        if (record.version != origin_.version) {
            throw Refusal("'" + path + "' holds results of version " + record.version + ", and this is version " +
                          origin_.version);
        }
        if (record.parameters != origin_.parameters) {
            throw Refusal("'" + path + "' holds results of the parameters " + record.parameters +
                          ", and those of this run are " + origin_.parameters);
        }
    }

    /// @param dropped  gets the bytes behind the last whole record
    /// @return         number of records
    std::uint64_t collect(const std::string& path, std::vector<std::unique_ptr<PairOutcome>>& known,
                          std::uint64_t* dropped = nullptr) {
        if (index_ == nullptr) {
            index_ = std::make_unique<PairIndex>(pairs_);
        }
        const auto reader = openResults(path, file_.format);
        ResultRecord record;
        std::vector<bool> met(pairs_.size());
        std::uint64_t records = 0;
        while (reader->next(record)) {
            checkOrigin(path, record);
            takeOwn(path, record);
            const std::size_t number = index_->find(record.id);
            if (number == PairIndex::npos) {
                throw Refusal("'" + path + "' holds the pair '" + record.id + "', which is not in the list" +
                              " or not in this shard of it");
            }
            const Pair pair = pairs_.at(number);
            if (pair.first != record.first || pair.second != record.second) {
                throw Refusal("'" + path + "' holds the pair '" + record.id + "' with other photographs than the list");
            }
            if (met[number]) {
                throw Refusal("'" + path + "' holds the pair '" + record.id + "' twice");
            }
            met[number] = true;
            ++records;
            upgraded_ = upgraded_ || record.schema != resultSchema;
            const bool otherMasks = maskIn(record.carried, firstMaskColumn) != maskIn(pair.carried, firstMaskColumn) ||
                                    maskIn(record.carried, secondMaskColumn) != maskIn(pair.carried, secondMaskColumn);
            changed_ += otherMasks ? 1U : 0U;
            if (!otherMasks && !isMissing(record)) {
                takeStamps(record);
                known[number] = std::make_unique<PairOutcome>(std::move(record.outcome));
            }
        }
        if (dropped != nullptr) {
            *dropped = reader->tail().dropped;
            damaged_ = damaged_ || (file_.format == ResultFormat::sqlite && reader->tail().cutOff);
        }
        return records;
    }

    /// Makes the file of the previous results one that holds all that is known.
    void writeUnion(const std::vector<std::unique_ptr<PairOutcome>>& known, const std::string& previous) const {
        ResultFile file = file_;
        if (std::none_of(known.begin(), known.end(), [](const auto& outcome) { return outcome != nullptr; })) {
            return;
        }
        file.path = unfinishedUnion(file_.path);
        file.timing.clear();
        removeWithJournals(file.path);
        const auto writer = writeResults(file);
        for (std::size_t k = 0; k < known.size(); ++k) {
            if (known[k] != nullptr) {
                Pair pair = pairs_.at(k);
                const std::vector<CarriedValue> masks =
                    maskFilesNow(pairs_.columns(), pair.carried, options_.root, options_.checksums);
                pair.carried.insert(pair.carried.end(), masks.begin(), masks.end());
                writer->append({recordOf(pair, pairs_.total(), *known[k], origin_)});
            }
        }
        writer->finish();
        if (fs::exists(previous)) {
            checkpointResults(previous, file_.format);
        }
        renameResults(file.path, previous);
    }

    const ResultFile& file_;
    const PairList& pairs_;
    const ResultOrigin& origin_;
    const ResumeOptions& options_;
    std::size_t changed_ = 0;
    std::size_t withoutChecksums_ = 0;
    bool upgraded_ = false;
    bool damaged_ = false;
    std::unique_ptr<PairIndex> index_;
    std::vector<CarriedValue> maskFiles_;  ///< that the record says
};

}  // namespace

ResultRecord recordOf(const Pair& pair, std::uint64_t pairs, PairOutcome outcome, const ResultOrigin& origin) {
    ResultRecord record;
    record.position = pair.position;
    record.pairs = pairs;
    record.id = pair.id;
    record.first = pair.first;
    record.second = pair.second;
    record.outcome = std::move(outcome);
    record.version = origin.version;
    record.parameters = origin.parameters;
    record.carried = pair.carried;
    if (origin.distances) {
        carryDistances(record, *origin.distances);
    }
    if (origin.computed) {
        carryComputed(record, *origin.computed);
    }
    if (origin.hue) {
        carryHue(record, *origin.hue);
    }
    return record;
}

std::string previousResults(const std::string& output) {
    return output + ".previous";
}

std::string pathUnder(const std::string& root, const std::string& path) {
    return root.empty() ? path : (fs::path(root) / path).string();
}

EarlierResults resumeResults(const ResultFile& file, const PairList& pairs, const ResultOrigin& origin,
                             const ResumeOptions& options) {
    return TakeUp(file, pairs, origin, options).run();
}

void dropPreviousResults(const ResultFile& file) {
    const std::string previous = previousResults(file.path);
    std::error_code error;
    if (file.format == ResultFormat::sqlite) {
        removeWithJournals(previous);
    } else {
        fs::remove(previous, error);
    }
    removeWithJournals(unfinishedUnion(file.path));
}

}  // namespace likeness
