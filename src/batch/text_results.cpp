#include "batch/text_results.hpp"

#include "batch/appended_file.hpp"
#include "batch/csv.hpp"
#include "batch/result_text.hpp"
#include "files/refusal.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sys/stat.h>

namespace likeness {
namespace {

/// Every record begins so; what a cut-off first one leaves begins so, too, as far as it goes.
constexpr std::string_view jsonBegin = "{\"schema\":1,\"position\":";

bool agreesWith(std::string_view text, std::string_view begin) {
    const std::size_t length = std::min(text.size(), begin.size());
    return text.substr(0, length) == begin.substr(0, length);
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

protected:
    [[noreturn]] void damaged(std::uint64_t line) const {
        throw Refusal(
            fmt::format("'{}', line {}: this is no whole result record of schema {}", path_, line, resultSchema));
    }
    [[noreturn]] void notResults() const { throw Refusal("'" + path_ + "' is no file of results"); }

    void checkReading() const {
        if (in_.bad()) {
            throw Refusal("cannot read '" + path_ + "'");
        }
    }

    std::string path_;
    std::ifstream in_;
    std::vector<std::string> columns_;
    Tail tail_;
};

class JsonLinesReader final : public TextReader {
public:
    using TextReader::TextReader;

    bool next(ResultRecord& record) override {
        std::string line;
        ++line_;
        if (!std::getline(in_, line)) {
            checkReading();
            return false;
        }
        if (in_.eof()) {  // no line feed behind it
            if (!agreesWith(line, jsonBegin)) {
                tail_.begin == 0 ? notResults() : damaged(line_);
            }
            tail_.cutOff = true;
            return false;
        }
        std::optional<ResultRecord> read = recordOfJson(line);
        if (!read) {
            line_ == 1 ? notResults() : damaged(line_);
        }
        record = std::move(*read);
        for (const CarriedValue& value : record.carried) {
            if (std::find(columns_.begin(), columns_.end(), value.column) == columns_.end()) {
                columns_.push_back(value.column);
            }
        }
        tail_.begin += line.size() + 1;
        return true;
    }

private:
    std::uint64_t line_ = 0;
};

class CsvResultsReader final : public TextReader {
public:
    explicit CsvResultsReader(const std::string& path) : TextReader(path), csv_(in_, ',') {
        std::vector<std::string> header;
        if (!readRow(header)) {
            return;
        }
        const auto& fields = resultFields();
        if (!csv_.terminated() || csv_.quoteOpen()) {
            // A header that was cut off: what is there is a beginning of it.
            std::string text;
            for (const std::string& field : header) {
                text += (text.empty() ? "" : ",") + field;
            }
            std::string whole = csvHeader({});
            whole.back() = ',';
            if (!agreesWith(text, whole)) {
                notResults();
            }
            tail_.cutOff = true;
            return;
        }
        if (header.size() < fields.size() || !std::equal(fields.begin(), fields.end(), header.begin())) {
            notResults();
        }
        columns_.assign(header.begin() + static_cast<std::ptrdiff_t>(fields.size()), header.end());
        tail_.begin = csv_.end();
    }

    bool next(ResultRecord& record) override {
        if (tail_.cutOff || !readRow(row_)) {
            return false;
        }
        if (!csv_.terminated() || csv_.quoteOpen()) {
            tail_.cutOff = true;
            tail_.lines = csv_.linesInside();
            return false;
        }
        std::optional<ResultRecord> read = recordOfFields(row_, columns_);
        if (!read) {
            damaged(csv_.line());
        }
        record = std::move(*read);
        tail_.begin = csv_.end();
        return true;
    }

private:
    bool readRow(std::vector<std::string>& row) {
        try {
            const bool more = csv_.next(row);
            checkReading();
            return more;
        } catch (const CsvProblem& problem) {
            damaged(problem.line());
        }
    }

    CsvReader csv_;
    std::vector<std::string> row_;
};

class TextWriter final : public ResultWriter {
public:
    TextWriter(const ResultFile& file, const ResultReader::Tail& tail)
        : format_(file.format), columns_(file.columns), file_(file.path, tail.begin) {
        if (format_ == ResultFormat::csv && tail.begin == 0) {
            file_.append(csvHeader(columns_));
        }
        if (!file.timing.empty()) {
            openTiming(file.timing, tail.begin > 0);
        }
    }

    void append(const std::vector<ResultRecord>& records) override {
        std::string block;
        std::string times;
        for (const ResultRecord& record : records) {
            block += format_ == ResultFormat::csv ? csvLine(record, columns_) : jsonLine(record);
            times += csvField(record.id) + fmt::format(",{:.3f}\n", record.milliseconds);
        }
        file_.append(block);
        if (timing_ != nullptr) {
            timing_->append(times);
        }
    }

    void finish() override {
        file_.finish();
        if (timing_ != nullptr) {
            timing_->finish();
        }
    }

private:
    void openTiming(const std::string& path, bool resumes) {
        std::uint64_t keep = 0;
        if (resumes) {
            std::ifstream in(path, std::ios::binary);
            CsvReader csv(in, ',');
            std::vector<std::string> row;
            while (csv.next(row) && csv.terminated()) {
                keep = csv.end();
            }
        }
        timing_ = std::make_unique<AppendedFile>(path, keep);
        if (keep == 0) {
            timing_->append("id,milliseconds\n");
        }
    }

    ResultFormat format_;
    std::vector<std::string> columns_;
    AppendedFile file_;
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
