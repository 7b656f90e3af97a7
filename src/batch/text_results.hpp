#pragma once

#include "batch/result_store.hpp"

namespace likeness {

/// JSON Lines and CSV; see `openResults` and `writeResults`.
std::unique_ptr<ResultReader> openTextResults(const std::string& path, ResultFormat format);
std::unique_ptr<ResultWriter> writeTextResults(const ResultFile& file, const ResultReader::Tail& tail);

}  // namespace likeness
