#include "batch/sqlite_results.hpp"

#include "files/number_format.hpp"
#include "files/refusal.hpp"

#include <sqlite3.h>

#include <cmath>
#include <filesystem>
#include <unistd.h>

namespace likeness {
namespace {

std::string identifier(const std::string& name) {
    std::string quoted = "\"";
    for (const char c : name) {
        quoted.append(c == '"' ? 2 : 1, c);
    }
    return quoted + '"';
}

/// An open database; what goes wrong is told with the file's name.
class Database {
public:
    Database(const std::string& path, int flags, std::string verb) : verb_(std::move(verb)), path_(path) {
        if (::sqlite3_open_v2(path.c_str(), &handle_, flags | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) {
            const std::string why = ::sqlite3_errmsg(handle_);
            ::sqlite3_close(handle_);
            throw Refusal("cannot " + verb_ + " '" + path + "': " + why);
        }
        ::sqlite3_busy_timeout(handle_, 5000);  // milliseconds; somebody may be looking at the results
    }
    ~Database() { ::sqlite3_close(handle_); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void execute(const std::string& sql) {
        if (::sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
            fail();
        }
    }
    [[noreturn]] void fail() const {
        throw Refusal("cannot " + verb_ + " '" + path_ + "': " + ::sqlite3_errmsg(handle_));
    }
    ::sqlite3* handle() const noexcept { return handle_; }

private:
    std::string verb_;
    std::string path_;
    ::sqlite3* handle_ = nullptr;
};

/// A prepared statement.
class Statement {
public:
    Statement(Database& database, const std::string& sql) : database_(database) {
        if (::sqlite3_prepare_v2(database.handle(), sql.c_str(), -1, &handle_, nullptr) != SQLITE_OK) {
            database.fail();
        }
    }
    ~Statement() { ::sqlite3_finalize(handle_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    void bindNull() { check(::sqlite3_bind_null(handle_, ++bound_)); }
    void bind(std::uint64_t value) {
        check(::sqlite3_bind_int64(handle_, ++bound_, static_cast<::sqlite3_int64>(value)));
    }
    /// NaN, as SQLite has it, is NULL.
    void bind(double value) { check(::sqlite3_bind_double(handle_, ++bound_, value)); }
    void bind(const std::string& text) {
        check(::sqlite3_bind_text(handle_, ++bound_, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT));
    }
    void bindTextOrNull(const std::string& text) { text.empty() ? bindNull() : bind(text); }

    /// @return  whether there is a row
    bool step() {
        const int outcome = ::sqlite3_step(handle_);
        if (outcome != SQLITE_ROW && outcome != SQLITE_DONE) {
            database_.fail();
        }
        return outcome == SQLITE_ROW;
    }
    void run() {
        step();
        ::sqlite3_reset(handle_);
        bound_ = 0;
    }

    bool isNull(int column) const { return ::sqlite3_column_type(handle_, column) == SQLITE_NULL; }
    std::uint64_t integer(int column) const {
        return static_cast<std::uint64_t>(::sqlite3_column_int64(handle_, column));
    }
    double number(int column) const { return isNull(column) ? std::nan("") : ::sqlite3_column_double(handle_, column); }
    std::string text(int column) const {
        const auto* const bytes = reinterpret_cast<const char*>(::sqlite3_column_text(handle_, column));
        return bytes == nullptr ? std::string()
                                : std::string(bytes, static_cast<std::size_t>(::sqlite3_column_bytes(handle_, column)));
    }
    int columns() const { return ::sqlite3_column_count(handle_); }
    std::string name(int column) const { return ::sqlite3_column_name(handle_, column); }

private:
    void check(int outcome) {
        if (outcome != SQLITE_OK) {
            database_.fail();
        }
    }

    Database& database_;
    ::sqlite3_stmt* handle_ = nullptr;
    int bound_ = 0;
};

class SqliteReader final : public ResultReader {
public:
    explicit SqliteReader(const std::string& path) : path_(path), database_(readable(path), openFlags(path), "read") {
        checkSchema();
        if (empty_) {
            return;
        }
        select_ = std::make_unique<Statement>(database_, "SELECT * FROM results ORDER BY position");
        const auto& fields = resultFields();
        const int count = static_cast<int>(fields.size());
        for (int k = 0; k < select_->columns(); ++k) {
            if (k >= count) {
                columns_.push_back(select_->name(k));
            } else if (select_->name(k) != fields[static_cast<std::size_t>(k)]) {
                notResults();
            }
        }
        if (select_->columns() < count) {
            notResults();
        }
    }

    bool next(ResultRecord& record) override {
        if (empty_ || !select_->step()) {
            return false;
        }
        read(record);
        return true;
    }

    const std::vector<std::string>& columns() const override { return columns_; }

private:
    static const std::string& readable(const std::string& path) {
        std::error_code error;
        if (!std::filesystem::exists(path, error)) {
            throw Refusal("cannot read '" + path + "': No such file or directory");
        }
        return path;
    }

    /// A process that was killed while the database changed its kind of journal leaves an open transaction, which only
    /// who may write can roll back.
    static int openFlags(const std::string& path) {
        std::error_code error;
        const bool repairs = std::filesystem::exists(path + "-journal", error) && ::access(path.c_str(), W_OK) == 0;
        return repairs ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
    }

    [[noreturn]] void notResults() const {
        throw Refusal("'" + path_ + "' is no database of results of schema " + std::to_string(resultSchema));
    }

    void checkSchema() {
        Statement version(database_, "PRAGMA user_version");
        Statement tables(database_, "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = 'results'");
        Statement all(database_, "SELECT count(*) FROM sqlite_master");
        version.step();
        tables.step();
        all.step();
        // What a process leaves that was killed before its first transaction.
        empty_ = version.integer(0) == 0 && all.integer(0) == 0;
        if (empty_) {
            return;
        }
        if (version.integer(0) != resultSchema || tables.integer(0) != 1) {
            notResults();
        }
    }

    void read(ResultRecord& record) const {
        record = {};
        int k = 1;  // behind the schema
        record.position = select_->integer(k++);
        record.pairs = select_->integer(k++);
        for (std::string* const text : {&record.id, &record.first, &record.second}) {
            *text = select_->text(k++);
        }
        PairOutcome& outcome = record.outcome;
        for (PhotographFacts* const facts : {&outcome.first, &outcome.second}) {
            facts->width = static_cast<int>(select_->integer(k++));
            facts->height = static_cast<int>(select_->integer(k++));
        }
        for (float& coefficient : outcome.coefficients) {
            coefficient = static_cast<float>(select_->number(k++));
        }
        for (PhotographFacts* const facts : {&outcome.first, &outcome.second}) {
            for (double& share : facts->nanShares) {
                share = facts->width > 0 ? select_->number(k) : 0.0;
                ++k;
            }
        }
        ++k;  // the status follows from the error
        for (std::string* const text : {&outcome.error, &outcome.remarks, &record.version, &record.parameters}) {
            *text = select_->text(k++);
        }
        if (!outcome.compared()) {
            outcome.coefficients = {};
        }
        for (const std::string& column : columns_) {
            CarriedValue value{column, CarriedValue::Kind::absent, {}};
            if (!select_->isNull(k)) {
                value.kind = CarriedValue::Kind::text;
                value.text = select_->text(k);
            }
            record.carried.push_back(std::move(value));
            ++k;
        }
    }

    std::string path_;
    Database database_;
    std::unique_ptr<Statement> select_;
    std::vector<std::string> columns_;
    bool empty_ = false;
};

std::string createTables(const std::vector<std::string>& columns) {
    std::string sql = "CREATE TABLE IF NOT EXISTS results (";
    for (const std::string& field : resultFields()) {
        const bool integer =
            field == "schema" || field == "pairs" || field.ends_with("_width") || field.ends_with("_height");
        bool number = field.find("_nan_") != std::string::npos;
        for (const std::string_view correlate : correlateNames) {
            number = number || field == correlate;
        }
        sql += field == "schema" ? "" : ", ";
        sql += field;
        if (field == "position") {
            sql += " INTEGER PRIMARY KEY";
        } else if (field == "id") {
            sql += " TEXT NOT NULL UNIQUE";
        } else {
            sql += integer ? " INTEGER" : number ? " REAL" : " TEXT";
        }
    }
    for (const std::string& column : columns) {
        sql += ", " + identifier(column) + " TEXT";
    }
    return sql + ");CREATE TABLE IF NOT EXISTS timing (id TEXT PRIMARY KEY, milliseconds REAL) WITHOUT ROWID;";
}

std::string insertStatement(std::size_t values) {
    std::string sql = "INSERT INTO results VALUES (?";
    for (std::size_t k = 1; k < values; ++k) {
        sql += ",?";
    }
    return sql + ")";
}

class SqliteWriter final : public ResultWriter {
public:
    explicit SqliteWriter(const ResultFile& file)
        : columns_(file.columns), database_(file.path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, "write") {
        // A commit in the write-ahead log outlives the process without waiting for the disk.
        database_.execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;");
        database_.execute("BEGIN IMMEDIATE; PRAGMA user_version = " + std::to_string(resultSchema) + ";" +
                          createTables(columns_) + "COMMIT;");
        insert_ = std::make_unique<Statement>(database_, insertStatement(resultFields().size() + columns_.size()));
        time_ = std::make_unique<Statement>(database_, "INSERT OR REPLACE INTO timing VALUES (?,?)");
    }

    void append(const std::vector<ResultRecord>& records) override {
        database_.execute("BEGIN IMMEDIATE");
        try {
            for (const ResultRecord& record : records) {
                insert(record);
                time_->bind(record.id);
                time_->bind(record.milliseconds);
                time_->run();
            }
            database_.execute("COMMIT");
        } catch (const Refusal&) {
            // Some failures have rolled back already, then this one fails; either way nothing of the group stays.
            ::sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
            throw;
        }
    }

    void finish() override {
        insert_.reset();
        time_.reset();
        // One plain file, which can also be read where nothing can be written.
        database_.execute("PRAGMA journal_mode = DELETE");
    }

private:
    void insert(const ResultRecord& record) {
        Statement& row = *insert_;
        const PairOutcome& outcome = record.outcome;
        row.bind(std::uint64_t{resultSchema});
        row.bind(record.position);
        row.bind(record.pairs);
        for (const std::string* const text : {&record.id, &record.first, &record.second}) {
            row.bind(*text);
        }
        for (const PhotographFacts* const facts : {&outcome.first, &outcome.second}) {
            for (const int side : {facts->width, facts->height}) {
                facts->width > 0 ? row.bind(static_cast<std::uint64_t>(side)) : row.bindNull();
            }
        }
        for (const float coefficient : outcome.coefficients) {
            outcome.compared() ? row.bind(roundedToNineDigits(static_cast<double>(coefficient))) : row.bindNull();
        }
        for (const PhotographFacts* const facts : {&outcome.first, &outcome.second}) {
            for (const double share : facts->nanShares) {
                facts->width > 0 ? row.bind(roundedToNineDigits(share)) : row.bindNull();
            }
        }
        row.bind(std::string(outcome.compared() ? "compared" : "failed"));
        row.bindTextOrNull(outcome.error);
        row.bindTextOrNull(outcome.remarks);
        row.bind(record.version);
        row.bind(record.parameters);
        for (const std::string& column : columns_) {
            const CarriedValue* value = nullptr;
            for (const CarriedValue& candidate : record.carried) {
                value = candidate.column == column ? &candidate : value;
            }
            value == nullptr || value->kind == CarriedValue::Kind::absent ? row.bindNull() : row.bind(value->text);
        }
        row.run();
    }

    std::vector<std::string> columns_;
    Database database_;
    std::unique_ptr<Statement> insert_;
    std::unique_ptr<Statement> time_;
};

}  // namespace

std::unique_ptr<ResultReader> openSqliteResults(const std::string& path) {
    return std::make_unique<SqliteReader>(path);
}

std::unique_ptr<ResultWriter> writeSqliteResults(const ResultFile& file) {
    return std::make_unique<SqliteWriter>(file);
}

void settleSqliteResults(const std::string& path) {
    Database(path, SQLITE_OPEN_READWRITE, "write").execute("PRAGMA journal_mode = DELETE");
}

}  // namespace likeness
