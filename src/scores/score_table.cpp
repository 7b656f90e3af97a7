#include "scores/score_table.hpp"

#include "batch/csv.hpp"
#include "batch/result_record.hpp"
#include "files/refusal.hpp"
#include "files/trimmed_text.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace likeness {

std::optional<double> numberIn(const std::string& text) {
    const std::string digits = trimmed(text);
    const char* begin = digits.data();
    const char* const end = begin + digits.size();
    if (begin != end && *begin == '+' && end - begin > 1 && begin[1] != '-') {
        ++begin;
    }
    double value = 0;
    const auto [rest, problem] = std::from_chars(begin, end, value);
    if (problem != std::errc() || rest != end || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

std::optional<std::size_t> ScoreTable::find(const std::string& name) const {
    const auto same = std::find(header.begin(), header.end(), name);
    if (same != header.end()) {
        return static_cast<std::size_t>(same - header.begin());
    }
    const std::string lower = lowerCase(name);
    for (std::size_t k = 0; k < header.size(); ++k) {
        if (lowerCase(header[k]) == lower) {
            return k;
        }
    }
    return std::nullopt;
}

std::size_t ScoreTable::column(const std::string& option, const std::string& name) const {
    if (const auto place = find(name)) {
        if (std::count(header.begin(), header.end(), header[*place]) > 1) {
            throw Refusal(option + ": '" + path + "' has several columns '" + header[*place] + "'");
        }
        return *place;
    }
    std::string names;
    for (const std::string& its : header) {
        names += (names.empty() ? "" : ", ") + its;
    }
    throw Refusal(option + ": '" + path + "' has no column '" + name + "'; it has " + names);
}

void ScoreTable::refuse(std::uint64_t line, const std::string& what) const {
    throw Refusal(fmt::format("'{}', line {}: {}", path, line, what));
}

double ScoreTable::number(const Row& row, std::size_t column) const {
    const std::optional<double> value = numberIn(row.fields[column]);
    if (!value) {
        refuse(row.line, "'" + row.fields[column] + "' in the column '" + header[column] + "' is not a finite number");
    }
    return *value;
}

ScoreTable readScoreTable(const std::string& path, const std::vector<std::string>& wanted) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw Refusal("cannot read '" + path + "': it is a folder");
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw Refusal("cannot read '" + path + "': " + std::strerror(errno));
    }
    if (in.peek() == 0xEF) {  // a byte order mark
        in.ignore(3);
    }
    ScoreTable table;
    table.path = path;
    const std::string extension = lowerCase(std::filesystem::path(path).extension().string());
    CsvReader csv(in, extension == ".tsv" ? '\t' : ',');
    std::vector<std::string> fields;
    try {
        while (csv.next(fields)) {
            if (csv.quoteOpen()) {
                table.refuse(csv.line(), "a quote is not closed");
            }
            if (table.header.empty()) {
                ScoreTable header;
                for (const std::string& field : fields) {
                    header.header.push_back(trimmed(field));
                }
                if (std::all_of(wanted.begin(), wanted.end(),
                                [&](const std::string& name) { return header.find(name).has_value(); })) {
                    table.header = header.header;
                }
                continue;
            }
            if (std::all_of(fields.begin(), fields.end(),
                            [](const std::string& text) { return trimmed(text).empty(); })) {
                continue;  // as spreadsheets leave them behind the last row
            }
            if (fields.size() != table.header.size()) {
                table.refuse(csv.line(),
                             fmt::format("{} fields, and the header has {}", fields.size(), table.header.size()));
            }
            table.rows.push_back({csv.line(), fields});
        }
    } catch (const CsvProblem& problem) {
        table.refuse(problem.line(), problem.what());
    }
    if (in.bad()) {
        throw Refusal("cannot read '" + path + "'");
    }
    if (table.header.empty()) {
        std::string names;
        for (const std::string& name : wanted) {
            names += (names.empty() ? "" : ",") + name;
        }
        throw Refusal("'" + path + "' has no header" + (names.empty() ? "" : " with " + names));
    }
    return table;
}

}  // namespace likeness
