// Tables of scores: rows of text under names.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace likeness {

struct ScoreTable {
    struct Row {
        std::uint64_t line = 0;
        std::vector<std::string> fields;
    };

    std::string path;
    std::vector<std::string> header;
    std::vector<Row> rows;

    /// Place of a column, in any case of letters.
    std::optional<std::size_t> find(const std::string& name) const;
    /// @param option  that names the column
    /// @throws Refusal  "SCORES: there is no column 'x'; there are a, b"
    std::size_t column(const std::string& option, const std::string& name) const;
    [[noreturn]] void refuse(std::uint64_t line, const std::string& what) const;
    /// @throws Refusal  if the field is no finite number
    double number(const Row& row, std::size_t column) const;
};

/// Reads a table with a header.
/// @param wanted  the header is the first line that has these columns; what stands before it is no part of the table
/// @throws Refusal
ScoreTable readScoreTable(const std::string& path, const std::vector<std::string>& wanted = {});

/// A finite number as a whole, blanks around it aside.
std::optional<double> numberIn(const std::string& text);

}  // namespace likeness
