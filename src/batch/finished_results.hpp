// The record, kept beside the results of an operation on many photographs, of what is done.
#pragma once

#include "batch/appended_file.hpp"
#include "batch/output_lock.hpp"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace likeness {

/// A result that was written: of what, how, and what was in it.
struct FinishedResult {
    std::string name;        ///< of the result, relative to the folder of the record
    std::string parameters;  ///< fingerprint of the operation, its options and the files that they name
    std::string input;       ///< SHA-256 of the photograph
    std::string output;      ///< SHA-256 of the result

    bool operator==(const FinishedResult&) const = default;
};

/// Name of the record of an operation in the folder of its results: ".darkroom-adapt.done".
std::string finishedResultsName(const std::string& operation);

/// The record of one operation in one folder. It is text, a line for each result: fingerprint of the parameters, SHA-256
/// of the photograph, SHA-256 of the result, name of the result (a backslash as \\, the end of a line as \n), with
/// spaces between them. Of two lines with one name the last holds. What is no whole line, as at the end of a file whose
/// writer was killed, does not count.
class FinishedResults {
public:
    /// Reads what there is and keeps it, each name once. Another process cannot write the record meanwhile.
    /// @throws Refusal  if the file cannot be read or written, or another process writes it
    FinishedResults(const std::string& folder, const std::string& operation);

    /// What was recorded of a result before; null if nothing was. Safe to call from several threads.
    const FinishedResult* find(const std::string& name) const;

    /// @throws Refusal
    void add(const std::vector<FinishedResult>& results);

private:
    std::string path_;
    OutputLock lock_;
    std::map<std::string, FinishedResult> known_;
    std::unique_ptr<AppendedFile> file_;
};

}  // namespace likeness
