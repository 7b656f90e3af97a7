#pragma once

#include "darkroom/batch/result_store.hpp"

namespace likeness::darkroom {

/// Results in an SQLite database; see `openResults`, `writeResults`, `emptyResults` and `settleResults`.
std::unique_ptr<ResultReader> openSqliteResults(const std::string& path);
std::unique_ptr<ResultWriter> writeSqliteResults(const ResultFile& file);
void emptySqliteResults(const ResultFile& file);
void settleSqliteResults(const std::string& path);

}  // namespace likeness::darkroom
