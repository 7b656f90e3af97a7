// Files of results: JSON Lines, CSV and SQLite behind one pair of interfaces.
#pragma once

#include "batch/result_record.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace likeness {

enum class ResultFormat { jsonLines, csv, sqlite };

/// The format that the extension of a results file stands for.
/// @param option  or argument that names the file, for the refusal
/// @throws Refusal
ResultFormat resultFormatOf(const std::string& option, const std::string& path);

/// Reads records in the order in which they stand in the file; a database's in the order of their positions.
class ResultReader {
public:
    /// What is behind the last whole record of a text.
    struct Tail {
        std::uint64_t begin = 0;    ///< bytes up to the end of the last whole record
        bool cutOff = false;        ///< whether something follows: a part of one more record, zeros of a power failure
        std::uint64_t dropped = 0;  ///< bytes of that
    };

    ResultReader() = default;
    virtual ~ResultReader() = default;
    ResultReader(const ResultReader&) = delete;
    ResultReader& operator=(const ResultReader&) = delete;

    /// @return  false at the end, or where the last record is cut off
    /// @throws Refusal  naming the file and the line of what is no record of this schema
    virtual bool next(ResultRecord& record) = 0;

    /// Names of the carried columns. JSON Lines have no header: there they are the ones that were met so far.
    virtual const std::vector<std::string>& columns() const = 0;

    /// Whether the kinds of the carried values are those of the list. A table has none: there everything is a text.
    virtual bool knowsKinds() const = 0;

    /// Gives its file descriptors back; `next` opens the file again and goes on.
    virtual void rest() = 0;

    /// The record of a shard without pairs (`shardWithoutPairs`); null of other results. Known once `next` has returned
    /// false.
    virtual const ResultRecord* ofShardWithoutPairs() const { return nullptr; }

    /// Known once `next` has returned false.
    virtual Tail tail() const { return {}; }
};

/// @throws Refusal  if the file cannot be read or is no results file
std::unique_ptr<ResultReader> openResults(const std::string& path, ResultFormat format);

/// Appends records, whole ones only.
class ResultWriter {
public:
    ResultWriter() = default;
    virtual ~ResultWriter() = default;
    ResultWriter(const ResultWriter&) = delete;
    ResultWriter& operator=(const ResultWriter&) = delete;

    /// Once it has returned, the records outlive the process, however that ends.
    /// @throws Refusal  "cannot write 'PATH': reason"; then none of them is in the file
    virtual void append(const std::vector<ResultRecord>& records) = 0;

    /// Sees to it that everything is on the disk, and closes the file. A database becomes one single file, unless
    /// somebody is reading it: then its write-ahead log stays beside it.
    /// @throws Refusal
    virtual void finish() = 0;
};

/// What a reader of records does not meet: a database whose end is missing, or whose pages, indexes or tables do not hold
/// together or are not as they were made.
/// @return  what is damaged, in one line; empty where nothing is, and of a text, whose reader meets everything
/// @throws Refusal  what is no database of results, or cannot be read
std::string damageOfResults(const std::string& path, ResultFormat format);

/// Refuses a name for new results beside which there is the journal of a database that is not there: SQLite would take it
/// for one of the new database, and remove it. Of texts nothing.
/// @throws Refusal
void refuseLeftJournals(const std::string& path, ResultFormat format);

/// How a results file is opened for writing.
struct ResultFile {
    std::string path;
    ResultFormat format = ResultFormat::sqlite;
    std::vector<std::string> columns;  ///< names of the carried ones
    std::string timing;                ///< of a text: the file that gets the times; empty: they are dropped
    bool knowsKinds = true;            ///< whether the kinds of the carried values are those of the list
};

/// Begins a results file, or goes on with one behind its last whole record.
/// @param tail  of the file as it is; a default one begins a new file
/// @throws Refusal
std::unique_ptr<ResultWriter> writeResults(const ResultFile& file, const ResultReader::Tail& tail = {});

/// Takes all records out of an existing results file, which stays the same file.
/// @throws Refusal
void emptyResults(const ResultFile& file);

/// Makes an existing results file one single file, which can be renamed: a database gives up its write-ahead log.
/// @throws Refusal
void checkpointResults(const std::string& path, ResultFormat format);

}  // namespace likeness
