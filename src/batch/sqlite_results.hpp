#pragma once

#include "batch/result_store.hpp"

namespace likeness {

/// Results in an SQLite database; see `openResults`, `writeResults`, `emptyResults` and `checkpointResults`.
std::unique_ptr<ResultReader> openSqliteResults(const std::string& path);
std::unique_ptr<ResultWriter> writeSqliteResults(const ResultFile& file);
void emptySqliteResults(const ResultFile& file);
void settleSqliteResults(const std::string& path);

/// Whether all pages of a database hold together.
bool isSoundSqliteFile(const std::string& path);

/// What of a database beside its records is not as it was written; see `damageOfResults`.
std::string damageOfSqliteResults(const std::string& path);

/// SQLite reads nothing of a database whose end is missing: gives the file the length that its header names, so that what
/// is whole can be read.
void lengthenSqliteResults(const std::string& path);

}  // namespace likeness
