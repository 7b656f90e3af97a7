#include "batch/text_results.hpp"

#include "batch/appended_file.hpp"
#include "batch/csv.hpp"
#include "batch/result_text.hpp"
#include "files/refusal.hpp"

#include <fmt/format.h>

#include <sys/stat.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

namespace likeness {
namespace {

/// Every record of a version begins so; what a cut-off first one leaves begins so, too, as far as it goes.
std::string jsonBegin(int schema) {
    return "{\"schema\":" + std::to_string(schema) + ",\"position\":";
}

std::string csvBegin(int schema) {
    return std::to_string(schema) + ',';
}

bool agreesWith(std::string_view text, std::string_view begin) {
    const std::size_t length = std::min(text.size(), begin.size());
    return text.substr(0, length) == begin.substr(0, length);
}

/// After a power failure the end of a file may be blocks of zeros that were never written.
std::string_view upToZeros(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

class TextReader : public ResultReader {
public:
    explicit TextReader(const std::string& path) : path_(path), in_(path, std::ios::binary) {
        if (!in_) {
            throw Refusal("cannot read '" + path + "': " + std::strerror(errno));
        }
    }

    const std::vector<std::string>& columns() const override { return columns_; }
    Tail tail() const override { return tail_; }
    void rest() override { in_.close(); }

protected:
    [[noreturn]] void damaged(std::uint64_t line, const std::string& why) const {
        throw Refusal(fmt::format("'{}', line {}: {}", path_, line, why));
    }
    [[noreturn]] void damaged(std::uint64_t line) const { damaged(line, NoRecord(true).what()); }
    [[noreturn]] void notResults() const { throw Refusal("'" + path_ + "' is not a results file"); }

    void checkReading() const {
        if (in_.bad()) {
            throw Refusal("cannot read '" + path_ + "'");
        }
    }

    /// Opens the file again after a rest.
    void wake() {
        if (!in_.is_open()) {
            in_.clear();
            in_.open(path_, std::ios::binary);
            if (!in_.seekg(static_cast<std::streamoff>(tail_.begin))) {
                throw Refusal("cannot read '" + path_ + "': " + std::strerror(errno));
            }
        }
    }

    /// Takes what is behind the last whole record for the rest of a record that was being written when the power
    /// failed, or the program: it begins as a record does, as far as it goes, and no whole record follows. Anything
    /// else is damage.
    /// @param line         on which it begins
    /// @param recordBegin  how records begin; empty: so, too
    void takeTail(std::uint64_t line, const std::string& begin, const std::string& recordBegin = {}) {
        const std::string& wanted = recordBegin.empty() ? begin : recordBegin;
        in_.clear();
        in_.seekg(static_cast<std::streamoff>(tail_.begin));
        std::string text;
        std::getline(in_, text);
        if (text.empty() || !agreesWith(upToZeros(text), begin)) {
            tail_.begin == 0 ? notResults() : damaged(line);
        }
        std::uint64_t place = tail_.begin;
        constexpr int mostCandidates = 1000;
        int candidates = 0;
        for (bool first = true; in_.good(); first = false) {
            // A whole record begins a line, or follows zeros.
            const std::uint64_t next = place + text.size() + 1;
            for (std::size_t at = first ? afterZeros(text, 0) : 0; at < text.size(); at = afterZeros(text, at)) {
                if (text.compare(at, wanted.size(), wanted) == 0 &&
                    (++candidates > mostCandidates || holdsRecordAt(place + at))) {
                    damaged(line);
                }
            }
            in_.clear();
            in_.seekg(static_cast<std::streamoff>(next));
            place = next;
            std::getline(in_, text);
        }
        checkReading();
        in_.clear();
        in_.seekg(0, std::ios::end);
        tail_.dropped = static_cast<std::uint64_t>(in_.tellg()) - tail_.begin;
        tail_.cutOff = true;
    }

    /// Whether a whole record begins there; moves the reading.
    virtual bool holdsRecordAt(std::uint64_t place) = 0;

    std::string path_;
    std::ifstream in_;
    std::vector<std::string> columns_;
    Tail tail_;

private:
    /// Where text follows the next zeros of the line, at its end if nowhere.
    static std::size_t afterZeros(std::string_view text, std::size_t at) {
        const std::size_t zeros = text.find('\0', at);
        return zeros == std::string_view::npos ? text.size()
                                               : std::min(text.find_first_not_of('\0', zeros), text.size());
    }
};

class JsonLinesReader final : public TextReader {
public:
    using TextReader::TextReader;

    bool next(ResultRecord& record) override {
        if (tail_.cutOff) {
            return false;
        }
        wake();
        std::string line;
        ++line_;
        if (!std::getline(in_, line)) {
            checkReading();
            return false;
        }
        if (in_.eof()) {  // no line feed behind it
            takeTail(line_, beginOf(line));
            return false;
        }
        try {
            record = parseJsonRecord(line);
        } catch (const NoRecord& problem) {
            const std::string begin = jsonBegin(resultSchema);
            const std::string_view schema = std::string_view(begin).substr(0, begin.find(':'));
            if (!problem.broken()) {
                tail_.begin == 0 && !agreesWith(line, schema) ? notResults() : damaged(line_, problem.what());
            }
            takeTail(line_, beginOf(line));
            return false;
        }
        schema_ = record.schema;
        for (const CarriedValue& value : record.carried) {
            if (std::find(columns_.begin(), columns_.end(), value.column) == columns_.end()) {
                columns_.push_back(value.column);
            }
        }
        tail_.begin += line.size() + 1;
        return true;
    }

    bool knowsKinds() const override { return true; }

private:
    /// How a record begins that a cut-off line may be the rest of: of the version that the line names, or else of that of
    /// the records before it.
    std::string beginOf(std::string_view line) const {
        for (const int schema : {firstResultSchema, resultSchema}) {
            std::string begin = jsonBegin(schema);
            if (line.substr(0, begin.find(',') + 1) == std::string_view(begin).substr(0, begin.find(',') + 1)) {
                return begin;
            }
        }
        return jsonBegin(schema_);
    }

    bool holdsRecordAt(std::uint64_t place) override {
        in_.clear();
        in_.seekg(static_cast<std::streamoff>(place));
        std::string line;
        if (!std::getline(in_, line) || in_.eof()) {
            return false;
        }
        try {
            parseJsonRecord(line);
            return true;
        } catch (const NoRecord&) {
            return false;
        }
    }

    std::uint64_t line_ = 0;
    int schema_ = resultSchema;
};

class CsvResultsReader final : public TextReader {
public:
    explicit CsvResultsReader(const std::string& path) : TextReader(path), csv_(in_, ',') {
        std::vector<std::string> header;
        try {
            if (!csv_.next(header)) {
                return;
            }
        } catch (const CsvProblem&) {
            notResults();
        }
        const auto& fields = resultFields();
        if (!csv_.terminated() || csv_.quoteOpen()) {
            // A header that was cut off: what is there is a beginning of it.
            std::string whole = csvHeader({});
            whole.back() = ',';
            takeTail(1, whole, csvBegin(schema_));
            return;
        }
        const auto isOf = [&](int schema) {
            const std::size_t own = resultFieldCount(schema);
            return header.size() >= own &&
                   std::equal(header.begin(), header.begin() + static_cast<std::ptrdiff_t>(own), fields.begin(),
                              [](const std::string& name, const ResultField& field) { return field.name == name; });
        };
        schema_ = isOf(resultSchema) ? resultSchema : firstResultSchema;
        if (!isOf(schema_)) {
            notResults();
        }
        columns_.assign(header.begin() + static_cast<std::ptrdiff_t>(resultFieldCount(schema_)), header.end());
        std::vector<std::string> sorted = columns_;
        std::sort(sorted.begin(), sorted.end());
        if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end()) {
            damaged(1, "a column stands there twice");  // the header has lost its end
        }
        tail_.begin = csv_.end();
    }

    bool next(ResultRecord& record) override {
        if (tail_.cutOff) {
            return false;
        }
        wake();
        const std::uint64_t nextLine = csv_.nextLine();
        try {
            if (!csv_.next(row_)) {
                checkReading();
                return false;
            }
            if (csv_.terminated() && !csv_.quoteOpen()) {
                record = parseCsvRecord(row_, columns_, schema_);
                tail_.begin = csv_.end();
                return true;
            }
        } catch (const NoRecord& problem) {
            if (!problem.broken() && !hasZeros(row_)) {
                damaged(csv_.line(), problem.what());
            }
            if (isWhole(row_)) {
                damaged(1, "the columns are not those of the records");
            }
        } catch (const CsvProblem&) {
            // Garbage at the end, perhaps.
        }
        takeTail(nextLine, csvBegin(schema_));
        return false;
    }

    bool knowsKinds() const override { return false; }

private:
    static bool hasZeros(const std::vector<std::string>& row) {
        return std::any_of(row.begin(), row.end(),
                           [](const std::string& text) { return text.find('\0') != std::string::npos; });
    }

    /// Whether a row has all fields of a record: of how many columns there are, a damaged header says something else.
    bool isWhole(const std::vector<std::string>& row) const {
        return row.size() >= resultFieldCount(schema_) && row.front() == std::to_string(schema_) && !hasZeros(row);
    }

    bool holdsRecordAt(std::uint64_t place) override {
        in_.clear();
        in_.seekg(static_cast<std::streamoff>(place));
        CsvReader csv(in_, ',');
        std::vector<std::string> row;
        try {
            return csv.next(row) && csv.terminated() && !csv.quoteOpen() && isWhole(row);
        } catch (const CsvProblem&) {
            return false;
        }
    }

    CsvReader csv_;
    std::vector<std::string> row_;
    int schema_ = resultSchema;
};

class TextWriter final : public ResultWriter {
public:
    TextWriter(const ResultFile& file, const ResultReader::Tail& tail) : format_(file.format), columns_(file.columns) {
        if (!file.timing.empty()) {
            openTiming(file.timing, tail.begin > 0);
        }
        file_ = std::make_unique<AppendedFile>(file.path, tail.begin);
        if (format_ == ResultFormat::csv && tail.begin == 0) {
            file_->append(csvHeader(columns_));
        }
    }

    void append(const std::vector<ResultRecord>& records) override {
        std::string block;
        std::string times;
        for (const ResultRecord& record : records) {
            block += format_ == ResultFormat::csv ? csvLine(record, columns_) : jsonLine(record);
            times += csvField(record.id) + fmt::format(",{:.3f}\n", record.milliseconds);
        }
        file_->append(block);
        if (timing_ != nullptr) {
            timing_->append(times);
        }
    }

    void finish() override {
        file_->finish();
        if (timing_ != nullptr) {
            timing_->finish();
        }
    }

private:
    void openTiming(const std::string& path, bool resumes) {
        const std::uint64_t keep = wholeTimes(path);
        timing_ = std::make_unique<AppendedFile>(path, resumes ? keep : 0);
        if (!resumes || keep == 0) {
            timing_->append(timingHeader);
        }
    }

    /// Bytes of the whole lines of a file of times.
    /// @throws Refusal  if it is none
    static std::uint64_t wholeTimes(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        CsvReader csv(in, ',');
        std::vector<std::string> row;
        std::uint64_t keep = 0;
        try {
            while (csv.next(row) && csv.terminated()) {
                if (keep == 0 && (row.size() != 2 || row[0] + ',' + row[1] + '\n' != timingHeader)) {
                    throw Refusal("'" + path + "' is no file of times, and it would be overwritten; move it away");
                }
                if (row.size() != 2) {
                    throw CsvProblem(csv.line(), fmt::format("there are {} fields in place of 2", row.size()));
                }
                keep = csv.end();
            }
        } catch (const CsvProblem& problem) {
            throw Refusal(fmt::format("'{}', line {}: {}; move the file away", path, problem.line(), problem.what()));
        }
        if (keep == 0 && !row.empty() && !agreesWith(upToZeros(row[0]), "id")) {
            throw Refusal("'" + path + "' is no file of times, and it would be overwritten; move it away");
        }
        return keep;
    }

    static constexpr const char* timingHeader = "id,milliseconds\n";

    ResultFormat format_;
    std::vector<std::string> columns_;
    std::unique_ptr<AppendedFile> file_;
    std::unique_ptr<AppendedFile> timing_;
};

}  // namespace

std::unique_ptr<ResultReader> openTextResults(const std::string& path, ResultFormat format) {
    if (format == ResultFormat::csv) {
        return std::make_unique<CsvResultsReader>(path);
    }
    return std::make_unique<JsonLinesReader>(path);
}

std::unique_ptr<ResultWriter> writeTextResults(const ResultFile& file, const ResultReader::Tail& tail) {
    return std::make_unique<TextWriter>(file, tail);
}

}  // namespace likeness
