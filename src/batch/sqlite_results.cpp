#include "batch/sqlite_results.hpp"

#include "batch/result_text.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "files/replaced_file.hpp"

#include <fmt/format.h>
#include <sqlite3.h>

#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace likeness {
namespace {

std::string identifier(const std::string& name) {
    std::string quoted = "\"";
    for (const char c : name) {
        quoted.append(c == '"' ? 2 : 1, c);
    }
    return quoted + '"';
}

/// What a place of a database holds is none of its pages.
class DamagedDatabase : public Refusal {
public:
    using Refusal::Refusal;
};

/// An open database; what goes wrong is told with the file's name.
class Database {
public:
    Database(const std::string& path, int flags, std::string verb) : verb_(std::move(verb)), path_(path) {
        if (::sqlite3_open_v2(path.c_str(), &handle_, flags | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) {
            const std::string why = ::sqlite3_errmsg(handle_);
            ::sqlite3_close(handle_);
            throw Refusal("cannot " + verb_ + " '" + path + "': " + why);
        }
        // A file of somebody else may hold triggers and the like, which are to call nothing but plain functions.
        ::sqlite3_db_config(handle_, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
        ::sqlite3_db_config(handle_, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
        setPatience(5000);  // somebody may be looking at the results
    }
    ~Database() { ::sqlite3_close(handle_); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    /// How long to wait for somebody else's lock.
    void setPatience(int milliseconds) { ::sqlite3_busy_timeout(handle_, milliseconds); }

    /// @return  whether it was done; false if somebody else's lock was in the way
    bool tryToExecute(const std::string& sql) {
        const int outcome = ::sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr);
        if (outcome != SQLITE_OK && outcome != SQLITE_BUSY && outcome != SQLITE_LOCKED) {
            fail();
        }
        return outcome == SQLITE_OK;
    }

    void execute(const std::string& sql) {
        if (::sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
            fail();
        }
    }
    [[noreturn]] void fail() const {
        const std::string what = "cannot " + verb_ + " '" + path_ + "': " + ::sqlite3_errmsg(handle_);
        if (::sqlite3_errcode(handle_) == SQLITE_CORRUPT) {
            throw DamagedDatabase(what);
        }
        throw Refusal(what);
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
    void bind(std::string_view text) {
        check(::sqlite3_bind_text(handle_, ++bound_, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT));
    }
    void bind(const FieldValue& value) {
        if (const auto* const integer = std::get_if<std::uint64_t>(&value)) {
            bind(*integer);
        } else if (const auto* const number = std::get_if<double>(&value)) {
            bind(roundedToNineDigits(*number));
        } else if (const auto* const text = std::get_if<std::string_view>(&value)) {
            bind(*text);
        } else {
            bindNull();
        }
    }

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
        rewind();
    }
    void rewind() {
        ::sqlite3_reset(handle_);
        bound_ = 0;
    }

    bool isNull(int column) const { return ::sqlite3_column_type(handle_, column) == SQLITE_NULL; }
    std::uint64_t integer(int column) const {
        return static_cast<std::uint64_t>(::sqlite3_column_int64(handle_, column));
    }
    std::string_view text(int column) const {
        const auto* const bytes = reinterpret_cast<const char*>(::sqlite3_column_text(handle_, column));
        return bytes == nullptr
                   ? std::string_view()
                   : std::string_view(bytes, static_cast<std::size_t>(::sqlite3_column_bytes(handle_, column)));
    }
    bool isText(int column) const { return ::sqlite3_column_type(handle_, column) == SQLITE_TEXT; }
    /// @param value  gets what stands there; a text until the next step
    /// @return       whether it is of a type that a field may have
    bool read(int column, FieldValue& value) const {
        switch (::sqlite3_column_type(handle_, column)) {
            case SQLITE_NULL:
                value = std::monostate();
                return true;
            case SQLITE_INTEGER:
                value = integer(column);
                return ::sqlite3_column_int64(handle_, column) >= 0;
            case SQLITE_FLOAT:
                value = ::sqlite3_column_double(handle_, column);
                return true;
            case SQLITE_TEXT:
                value = text(column);
                return true;
            default:
                return false;
        }
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

bool hasTable(Database& database, const std::string& name) {
    Statement count(database, "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = '" + name + "'");
    count.step();
    return count.integer(0) == 1;
}

/// Table of the carried values that were no strings in the list. A database that was made of tables, which do not know
/// them, has none.
constexpr const char* jsonValuesTable = "json_values";

/// A process that was killed while the database changed its kind of journal leaves an open transaction, which only
/// who may write can roll back.
int openFlagsOf(const std::string& path) {
    std::error_code error;
    const bool repairs = std::filesystem::exists(path + "-journal", error) && ::access(path.c_str(), W_OK) == 0;
    return repairs ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
}

/// A letter for the kind of each carried value.
std::string kindsOf(const ResultRecord& record) {
    std::string kinds;
    for (const CarriedValue& value : record.carried) {
        kinds += static_cast<char>(value.kind);
    }
    return kinds;
}

class SqliteReader final : public ResultReader {
public:
    explicit SqliteReader(const std::string& path) : path_(path) { open(); }

    bool next(ResultRecord& record) override {
        if (database_ == nullptr) {
            open();
        }
        if (empty_ || tail_.cutOff) {
            return false;
        }
        try {
            if (!select_->step()) {
                tail_.cutOff = kindsLost_;
                return false;
            }
            if (select_->isNull(0) && select_->integer(1) == 0 && last_ != 0) {
                tail_.cutOff = true;  // of a page whose end is zeros
                return false;
            }
        } catch (const DamagedDatabase&) {
            if (last_ == 0) {
                throw;
            }
            tail_.cutOff = true;  // what a power failure leaves: pages of zeros, or none
            return false;
        }
        try {
            if (!read(record)) {
                if (last_ == 0) {
                    throw DamagedDatabase("cannot read '" + path_ + "': the kinds of its values are lost");
                }
                tail_.cutOff = true;
                return false;
            }
        } catch (const NoRecord& problem) {
            if (last_ != 0 && holdsZeros()) {
                tail_.cutOff = true;  // of a page whose end is zeros
                return false;
            }
            throw Refusal(fmt::format("'{}', position {}: {}", path_, std::string(select_->text(1)), problem.what()));
        }
        last_ = record.position;
        return true;
    }

    const std::vector<std::string>& columns() const override { return columns_; }
    bool knowsKinds() const override { return knowsKinds_; }
    Tail tail() const override { return tail_; }
    void rest() override {
        jsonValues_.reset();
        select_.reset();
        database_.reset();
    }

private:
    void open() {
        database_ = std::make_unique<Database>(readable(path_), openFlagsOf(path_), "read");
        checkSchema();
        if (empty_) {
            return;
        }
        select_ = std::make_unique<Statement>(
            *database_, "SELECT * FROM results WHERE position > " + std::to_string(last_) + " ORDER BY position");
        if (last_ == 0) {  // so that a position that no record may have is met, and refused
            select_ = std::make_unique<Statement>(*database_, "SELECT * FROM results ORDER BY position");
        }
        const auto& fields = resultFields();
        const int count = static_cast<int>(resultFieldCount(schema_));
        columns_.clear();
        for (int k = 0; k < select_->columns(); ++k) {
            if (k >= count) {
                columns_.push_back(select_->name(k));
            } else if (select_->name(k) != fields[static_cast<std::size_t>(k)].name) {
                notResults();
            }
        }
        if (select_->columns() < count) {
            notResults();
        }
        knowsKinds_ = columns_.empty() || hasTable(*database_, jsonValuesTable);
        if (!columns_.empty() && knowsKinds_) {
            openKinds();
        }
    }

    /// Whether a text of the row has zeros, which no record has.
    bool holdsZeros() const {
        for (int k = 0; k < select_->columns(); ++k) {
            if (select_->isText(k) && select_->text(k).find('\0') != std::string_view::npos) {
                return true;
            }
        }
        return false;
    }

    void openKinds() {
        try {
            Statement any(*database_, std::string("SELECT count(*) FROM ") + jsonValuesTable);
            any.step();
            if (any.integer(0) > 0) {
                jsonValues_ = std::make_unique<Statement>(
                    *database_, std::string("SELECT name FROM ") + jsonValuesTable + " WHERE position = ?");
            }
        } catch (const DamagedDatabase&) {
            kindsLost_ = true;
        }
    }

    static const std::string& readable(const std::string& path) {
        std::error_code error;
        if (!std::filesystem::exists(path, error)) {
            throw Refusal("cannot read '" + path + "': No such file or directory");
        }
        return path;
    }

    [[noreturn]] void notResults() const {
        throw Refusal("'" + path_ + "' is no database of results of schema " + std::to_string(firstResultSchema) +
                      " or " + std::to_string(resultSchema));
    }

    void checkSchema() {
        Statement version(*database_, "PRAGMA user_version");
        Statement all(*database_, "SELECT count(*) FROM sqlite_master");
        version.step();
        all.step();
        // What a process leaves that was killed before its first transaction.
        empty_ = version.integer(0) == 0 && all.integer(0) == 0;
        if (empty_) {
            return;
        }
        if ((version.integer(0) != resultSchema && version.integer(0) != firstResultSchema) ||
            !hasTable(*database_, "results")) {
            notResults();
        }
        schema_ = static_cast<int>(version.integer(0));
    }

    /// @return  false where the table of the kinds is damaged and the record cannot be proved without it
    /// @throws NoRecord
    bool read(ResultRecord& record) {
        RecordAssembly assembly(record);
        int k = 0;
        std::vector<std::string> texts;
        for (; k < static_cast<int>(resultFieldCount(schema_)); ++k) {
            FieldValue value;
            if (!select_->read(k, value)) {
                assembly.refuse();
            }
            assembly.add(value);
            if (record.schema != schema_) {
                throw NoRecord(
                    fmt::format("a record of schema {} stands in a table of schema {}", record.schema, schema_), false);
            }
            texts.push_back(textOf(value));
        }
        assembly.finish();
        for (const std::string& column : columns_) {
            CarriedValue value{column, CarriedValue::Kind::absent, {}};
            if (!select_->isNull(k)) {
                if (!select_->isText(k)) {
                    throw NoRecord("'" + column + "' is no text", false);
                }
                value.kind = CarriedValue::Kind::text;
                value.text = select_->text(k);
            }
            texts.push_back(value.text);
            record.carried.push_back(std::move(value));
            ++k;
        }
        try {
            if (jsonValues_ != nullptr) {
                markJson(record);
            }
            if (!kindsLost_ && schema_ != firstResultSchema) {
                checkChecksum(record, rowChecksum(columns_, texts, kindsOf(record)), false);
            }
        } catch (const DamagedDatabase&) {
            kindsLost_ = true;
            jsonValues_.reset();
        }
        return !kindsLost_ || (schema_ != firstResultSchema && findKinds(record, texts));
    }

    /// Finds the kinds of carried values whose table is damaged: those that the checksum proves.
    static bool provesKinds(ResultRecord& record, const std::vector<std::string>& columns,
                            const std::vector<std::string>& texts, std::size_t firstOfJson) {
        for (std::size_t k = 0; k < record.carried.size(); ++k) {
            CarriedValue& value = record.carried[k];
            if (value.kind != CarriedValue::Kind::absent) {
                value.kind = k >= firstOfJson && mayHaveBeenJson(value.text) ? CarriedValue::Kind::json
                                                                             : CarriedValue::Kind::text;
            }
        }
        return record.checksum == checksumText(rowChecksum(columns, texts, kindsOf(record)));
    }
    bool findKinds(ResultRecord& record, const std::vector<std::string>& texts) const {
        // What a run computes stands behind what a list of texts has; in other lists every value may be of another kind.
        for (std::size_t k = 0; k <= record.carried.size(); ++k) {
            if (provesKinds(record, columns_, texts, k)) {
                return true;
            }
        }
        return false;
    }

    /// As `rowTexts` gives it; another text for a number that is not rounded as it was written.
    static std::string textOf(const FieldValue& value) {
        if (const auto* const integer = std::get_if<std::uint64_t>(&value)) {
            return std::to_string(*integer);
        }
        if (const auto* const number = std::get_if<double>(&value)) {
            return *number == roundedToNineDigits(*number) ? nineDigits(*number) : fmt::format("{}", *number);
        }
        const auto* const text = std::get_if<std::string_view>(&value);
        return text == nullptr ? std::string() : std::string(*text);
    }

    void markJson(ResultRecord& record) const {
        jsonValues_->bind(record.position);
        while (jsonValues_->step()) {
            for (CarriedValue& value : record.carried) {
                if (value.column == jsonValues_->text(0)) {
                    if (!mayHaveBeenJson(value.text)) {
                        throw NoRecord("'" + value.column + "' is no JSON", false);
                    }
                    value.kind = CarriedValue::Kind::json;
                }
            }
        }
        jsonValues_->rewind();
    }

    std::string path_;
    std::unique_ptr<Database> database_;
    std::unique_ptr<Statement> select_;
    std::unique_ptr<Statement> jsonValues_;
    std::vector<std::string> columns_;
    std::uint64_t last_ = 0;
    bool knowsKinds_ = true;
    bool kindsLost_ = false;  ///< whether the table of the kinds cannot be read
    bool empty_ = false;
    Tail tail_;
    int schema_ = resultSchema;
};

const char* typeName(ResultField::Type type) {
    return type == ResultField::Type::integer ? " INTEGER" : type == ResultField::Type::number ? " REAL" : " TEXT";
}

constexpr const char* timingTable = "CREATE TABLE timing (id TEXT PRIMARY KEY, milliseconds REAL) WITHOUT ROWID";

/// The statement that makes the table of the records.
std::string resultsTable(const std::vector<std::string>& columns, int schema) {
    std::string sql;
    for (std::size_t k = 0; k < resultFieldCount(schema); ++k) {
        const ResultField& field = resultFields()[k];
        sql += (sql.empty() ? "CREATE TABLE results (" : ", ") + field.name + typeName(field.type);
        sql += field.name == "position" ? " PRIMARY KEY" : field.name == "id" ? " NOT NULL UNIQUE" : "";
    }
    for (const std::string& column : columns) {
        sql += ", " + identifier(column) + " TEXT";
    }
    return sql + ')';
}

std::string kindsTable() {
    return fmt::format("CREATE TABLE {} (position INTEGER, name TEXT, PRIMARY KEY (position, name)) WITHOUT ROWID",
                       jsonValuesTable);
}

/// Makes the tables that a database lacks.
void createTables(Database& database, const ResultFile& file) {
    database.execute("PRAGMA user_version = " + std::to_string(resultSchema));
    if (!hasTable(database, "timing")) {
        database.execute(timingTable);
    }
    if (hasTable(database, "results")) {
        return;
    }
    database.execute(resultsTable(file.columns, resultSchema));
    if (!file.columns.empty() && file.knowsKinds) {
        database.execute(kindsTable());
    }
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
        : path_(file.path),
          columns_(file.columns),
          database_(file.path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, "write") {
        // A commit in the write-ahead log outlives the process without waiting for the disk.
        database_.execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;");
        database_.execute("BEGIN IMMEDIATE");
        createTables(database_, file);
        database_.execute("COMMIT");
        if (hasTable(database_, jsonValuesTable)) {
            jsonValue_ =
                std::make_unique<Statement>(database_, std::string("INSERT INTO ") + jsonValuesTable + " VALUES (?,?)");
        }
        insert_ = std::make_unique<Statement>(database_, insertStatement(resultFields().size() + columns_.size()));
        time_ = std::make_unique<Statement>(database_, "INSERT OR REPLACE INTO timing VALUES (?,?)");
    }

    void append(const std::vector<ResultRecord>& records) override {
        database_.execute("BEGIN IMMEDIATE");
        try {
            for (const ResultRecord& record : records) {
                insert(record);
                time_->bind(std::string_view(record.id));
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
        jsonValue_.reset();
        // One plain file, which can also be read where nothing can be written. Whoever has a read transaction open
        // keeps the write-ahead log alive; nothing is lost by it, since a reader takes both together.
        constexpr int patience = 500;
        database_.setPatience(patience);
        if (!database_.tryToExecute("PRAGMA journal_mode = DELETE")) {
            synchronizeFile(path_ + "-wal");
        }
    }

private:
    void insert(const ResultRecord& record) {
        ResultRecord stored = record;  // as it will be read
        stored.carried.clear();
        for (const std::string& column : columns_) {
            const CarriedValue* const value = carriedValue(record, column);
            stored.carried.push_back(value == nullptr ? CarriedValue{column, CarriedValue::Kind::absent, {}} : *value);
            if (stored.carried.back().kind == CarriedValue::Kind::json && jsonValue_ == nullptr) {
                stored.carried.back().kind = CarriedValue::Kind::text;
            }
        }
        const std::string checksum = checksumText(rowChecksum(columns_, rowTexts(stored, columns_), kindsOf(stored)));
        Statement& row = *insert_;
        for (const ResultField& field : resultFields()) {
            if (&field == &resultFields().back()) {
                row.bind(std::string_view(checksum));
            } else {
                row.bind(field.get(stored));
            }
        }
        for (const CarriedValue& value : stored.carried) {
            if (value.kind == CarriedValue::Kind::absent) {
                row.bindNull();
                continue;
            }
            row.bind(std::string_view(value.text));
            if (value.kind == CarriedValue::Kind::json) {
                jsonValue_->bind(record.position);
                jsonValue_->bind(std::string_view(value.column));
                jsonValue_->run();
            }
        }
        row.run();
    }

    std::string path_;
    std::vector<std::string> columns_;
    Database database_;
    std::unique_ptr<Statement> insert_;
    std::unique_ptr<Statement> time_;
    std::unique_ptr<Statement> jsonValue_;
};

}  // namespace

std::unique_ptr<ResultReader> openSqliteResults(const std::string& path) {
    return std::make_unique<SqliteReader>(path);
}

std::unique_ptr<ResultWriter> writeSqliteResults(const ResultFile& file) {
    return std::make_unique<SqliteWriter>(file);
}

void emptySqliteResults(const ResultFile& file) {
    Database database(file.path, SQLITE_OPEN_READWRITE, "write");
    database.execute(std::string("BEGIN IMMEDIATE; DROP TABLE IF EXISTS results; DROP TABLE IF EXISTS timing; ") +
                     "DROP TABLE IF EXISTS " + jsonValuesTable);
    createTables(database, file);
    database.execute("COMMIT");
}

bool isSoundSqliteFile(const std::string& path) {
    try {
        Database database(path, openFlagsOf(path), "read");
        Statement check(database, "PRAGMA integrity_check(1)");
        return !check.step() || check.text(0) == "ok";
    } catch (const DamagedDatabase&) {
        return false;
    }
}

namespace {

/// What the first 100 bytes of a database say ("The Database Header" of SQLite's file format).
class DatabaseHeader {
public:
    explicit DatabaseHeader(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        whole_ = static_cast<bool>(
            file.read(reinterpret_cast<char*>(bytes_.data()), static_cast<std::streamsize>(bytes_.size())));
        std::error_code error;
        // What stands in a journal is newer than the header.
        settled_ = !std::filesystem::exists(path + "-wal", error) && !std::filesystem::exists(path + "-journal", error);
    }

    /// Bytes of the file; 0 where the header does not say.
    std::uint64_t bytesOfFile() const {
        const std::uint64_t pageBytes = number(16, 2) == 1 ? 65536 : number(16, 2);
        return whole_ && settled_ && hasMagic() && number(24, 4) == number(92, 4) ? pageBytes * number(28, 4) : 0;
    }

    /// Whether what is the same in every database of results is so.
    bool isAsWritten() const {
        const auto zeros = bytes_.begin() + 72;
        return whole_ && hasMagic() && number(18, 1) == number(19, 1) && number(20, 4) == 0x00402020 &&
               number(24, 4) == number(92, 4) && number(28, 4) > 0 && number(44, 4) == 4 && number(48, 4) == 0 &&
               number(52, 4) == 0 && number(56, 4) == 1 && number(64, 4) == 0 && number(68, 4) == 0 &&
               std::all_of(zeros, zeros + 20, [](unsigned char byte) { return byte == 0; });
    }

    bool settled() const noexcept { return settled_; }

private:
    bool hasMagic() const {
        constexpr std::array<char, 16> magic = {'S', 'Q', 'L', 'i', 't', 'e', ' ', 'f',
                                                'o', 'r', 'm', 'a', 't', ' ', '3'};
        return std::equal(magic.begin(), magic.end(), bytes_.begin());
    }
    std::uint64_t number(std::size_t at, std::size_t count) const {
        std::uint64_t value = 0;
        for (std::size_t k = 0; k < count; ++k) {
            value = value << 8U | bytes_[at + k];
        }
        return value;
    }

    std::array<unsigned char, 100> bytes_{};
    bool whole_ = false;
    bool settled_ = false;
};

/// Whether a table of ours is as it was made, or is not there.
bool isAsMade(Database& database, const std::string& table, const std::string& sql) {
    Statement found(database, fmt::format("SELECT sql FROM sqlite_master WHERE type = 'table' AND name = '{}'", table));
    return !found.step() || found.text(0) == sql;
}

}  // namespace

std::string damageOfSqliteResults(const std::string& path) {
    std::error_code error;
    if (std::filesystem::file_size(path, error) == 0) {
        return {};  // of a run that was killed at once
    }
    try {
        const DatabaseHeader header(path);
        const std::uint64_t bytes = std::filesystem::file_size(path, error);
        if (header.bytesOfFile() != 0 && !error && bytes != header.bytesOfFile()) {
            return fmt::format("the database has {} bytes in place of {}", bytes, header.bytesOfFile());
        }
        if (header.settled() && !header.isAsWritten()) {
            return "the header of the database is not as it was written";
        }
        const std::vector<std::string> columns = SqliteReader(path).columns();
        Database database(path, openFlagsOf(path), "read");
        {
            Statement check(database, "PRAGMA integrity_check(1)");
            if (check.step() && check.text(0) != "ok") {
                return fmt::format("the pages of the database do not hold together ({})", check.text(0));
            }
        }
        Statement version(database, "PRAGMA user_version");
        version.step();
        const auto schema = static_cast<int>(version.integer(0));
        if (schema == 0) {
            return {};  // nothing was written yet
        }
        if (!isAsMade(database, "results", resultsTable(columns, schema)) ||
            !isAsMade(database, "timing", timingTable) || !isAsMade(database, jsonValuesTable, kindsTable())) {
            return "the tables of the database are not as they were made";
        }
        Statement indexes(database,
                          "SELECT count(*) FROM sqlite_master WHERE type = 'index' AND sql IS NULL AND name <> "
                          "'sqlite_autoindex_' || tbl_name || '_1'");
        indexes.step();
        if (indexes.integer(0) != 0) {
            return "the indexes of the database are not as they were made";
        }
        Statement times(database,
                        "SELECT count(*) FROM timing WHERE typeof(milliseconds) NOT IN ('real', 'integer', 'null') OR "
                        "milliseconds < 0 OR id NOT IN (SELECT id FROM results)");
        times.step();
        return times.integer(0) == 0 ? std::string() : "the table 'timing' of the database is not as it was written";
    } catch (const DamagedDatabase& problem) {
        return problem.what();
    }
}

void lengthenSqliteResults(const std::string& path) {
    std::error_code error;
    const std::uint64_t bytes = DatabaseHeader(path).bytesOfFile();
    const std::uint64_t there = std::filesystem::file_size(path, error);
    constexpr std::uint64_t mostMissing = std::uint64_t{1} << 32;  // more is no torn end
    if (bytes == 0 || error || there >= bytes || bytes - there > mostMissing) {
        return;
    }
    if (::truncate(path.c_str(), static_cast<::off_t>(bytes)) != 0) {
        throw Refusal("cannot write '" + path + "': " + std::strerror(errno));
    }
}

void settleSqliteResults(const std::string& path) {
    Database(path, SQLITE_OPEN_READWRITE, "write").execute("PRAGMA journal_mode = DELETE");
}

}  // namespace likeness
