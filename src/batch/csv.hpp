// Tables as text: fields between separators, quoted as RFC 4180 says.
#pragma once

#include "files/csv_text.hpp"

#include <cstdint>
#include <istream>
#include <stdexcept>
#include <string>
#include <vector>

namespace likeness {

/// A table whose quoting is broken.
class CsvProblem : public std::runtime_error {
public:
    CsvProblem(std::uint64_t line, const std::string& what) : std::runtime_error(what), line_(line) {}
    std::uint64_t line() const noexcept { return line_; }

private:
    std::uint64_t line_;
};

/// Reads records one after the other. Lines end with LF or CR LF; a field in quotes may hold separators, doubled quotes
/// and line ends.
class CsvReader {
public:
    CsvReader(std::istream& in, char separator) : in_(*in.rdbuf()), separator_(separator) {}

    /// The next record. Empty lines are skipped.
    /// @return  false at the end
    /// @throws CsvProblem  quotes in the middle of a field
    bool next(std::vector<std::string>& fields);

    /// Line, from 1, on which the last record began.
    std::uint64_t line() const noexcept { return line_; }
    /// Line on which the next record, or what is in its place, begins.
    std::uint64_t nextLine() const noexcept { return nextLine_; }
    /// Bytes up to where the last record began.
    std::uint64_t begin() const noexcept { return begin_; }
    /// Bytes up to behind the last record.
    std::uint64_t end() const noexcept { return offset_; }
    /// Whether a line end closes the last record.
    bool terminated() const noexcept { return terminated_; }
    /// Whether the text ended within quotes.
    bool quoteOpen() const noexcept { return quoteOpen_; }

private:
    int take();
    bool readField(std::string& field);

    std::streambuf& in_;
    char separator_;
    std::uint64_t offset_ = 0;
    std::uint64_t begin_ = 0;
    std::uint64_t line_ = 0;
    std::uint64_t nextLine_ = 1;
    bool terminated_ = true;
    bool quoteOpen_ = false;
};

}  // namespace likeness
