// SQLite, with a write-ahead log or a rollback journal: a table without row ids, statements prepared once, nothing
// synced, one transaction an operation.
#include "../subject.h"

#include <cstring>
#include <sqlite3.h>

namespace bench {
namespace {

constexpr int kBusyMilliseconds = 30000;

class Sqlite : public Subject {
  public:
    explicit Sqlite(const char *journal) : journal_(journal) {}

    void beginLoading(const Shape &shape) override;
    void endLoading() override;
    void open(const Shape &shape, bool transactions) override;
    void close() override;
    bool find(const Step &step, char *record) override;
    bool insert(const Step &step, char *record) override;
    bool rewrite(const Step &step, char *record, bool keyChanges) override;
    bool remove(const Step &step, char *record) override;
    bool first(char *record) override { return held_ ? heldFirst(record) : move(kFirst, record); }
    bool last(char *record) override { return move(kLast, record); }
    bool next(char *record) override;
    bool previous(char *record) override { return move(kBelow, record); }
    bool start(const Step &step, int bytes) override;
    void holdScan() override { held_ = true; }
    bool findSecond(const Step &step, char *record) override;
    void begin() override { run("BEGIN IMMEDIATE"); }
    void commit() override { run("COMMIT"); }
    void addIndex() override;

  private:
    enum Statement { kFind, kFirst, kLast, kAbove, kBelow, kAtLeast, kSecondField, kInsert, kRewrite, kRemove, kAll };

    [[noreturn]] void fail(const char *what) const { throw Failure(std::string(what) + ": " + sqlite3_errmsg(db_)); }
    void run(const std::string &sql);
    void openFile(const Shape &shape);
    sqlite3_stmt *prepared(Statement statement);
    void bind(sqlite3_stmt *statement, int parameter, const char *bytes, int length, bool text);
    void bindRecord(sqlite3_stmt *statement, const char *record);
    bool row(sqlite3_stmt *statement, char *record);
    bool change(sqlite3_stmt *statement, const char *what);
    bool move(Statement statement, char *record);
    bool heldFirst(char *record);

    const char *journal_;
    const Shape *shape_ = nullptr;
    sqlite3 *db_ = nullptr;
    sqlite3_stmt *statements_[kAll + 1] = {};
    bool held_ = false, started_ = false;
    char position_[kKey];
};

void Sqlite::run(const std::string &sql) {
    if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) fail(sql.c_str());
}

void Sqlite::openFile(const Shape &shape) {
    shape_ = &shape;
    if (sqlite3_open("data.sqlite", &db_) != SQLITE_OK) fail("sqlite3_open");
    sqlite3_busy_timeout(db_, kBusyMilliseconds);
    run("PRAGMA synchronous = OFF");
    run("PRAGMA cache_size = -262144");
}

void Sqlite::beginLoading(const Shape &shape) {
    openFile(shape);
    run(std::string("PRAGMA journal_mode = ") + journal_);
    run("CREATE TABLE records (key TEXT PRIMARY KEY, second TEXT NOT NULL, rest BLOB NOT NULL) WITHOUT ROWID");
    run("BEGIN");
}

void Sqlite::endLoading() {
    run("COMMIT");
    if (shape_->second) run("CREATE INDEX seconds ON records (second)");
    run("PRAGMA wal_checkpoint(TRUNCATE)");
    close();
}

void Sqlite::open(const Shape &shape, bool) {
    openFile(shape);
    run(std::string("PRAGMA journal_mode = ") + journal_);
}

void Sqlite::close() {
    for (sqlite3_stmt *&statement : statements_) {
        sqlite3_finalize(statement);
        statement = nullptr;
    }
    if (sqlite3_close(db_) != SQLITE_OK) fail("sqlite3_close");
}

sqlite3_stmt *Sqlite::prepared(Statement statement) {
    static const char *const kSql[] = {
        "SELECT key, second, rest FROM records WHERE key = ?1",
        "SELECT key, second, rest FROM records ORDER BY key LIMIT 1",
        "SELECT key, second, rest FROM records ORDER BY key DESC LIMIT 1",
        "SELECT key, second, rest FROM records WHERE key > ?1 ORDER BY key LIMIT 1",
        "SELECT key, second, rest FROM records WHERE key < ?1 ORDER BY key DESC LIMIT 1",
        "SELECT key, second, rest FROM records WHERE key >= ?1 ORDER BY key LIMIT 1",
        "SELECT key, second, rest FROM records WHERE second = ?1 LIMIT 1",
        "INSERT INTO records VALUES (?1, ?2, ?3)",
        "UPDATE records SET second = ?2, rest = ?3 WHERE key = ?1",
        "DELETE FROM records WHERE key = ?1",
        "SELECT key, second, rest FROM records ORDER BY key",
    };
    sqlite3_stmt *&stored = statements_[statement];
    if (stored == nullptr &&
        sqlite3_prepare_v3(db_, kSql[statement], -1, SQLITE_PREPARE_PERSISTENT, &stored, nullptr) != SQLITE_OK)
        fail(kSql[statement]);
    return stored;
}

// Bound bytes stay where they are until the statement has run.
void Sqlite::bind(sqlite3_stmt *statement, int parameter, const char *bytes, int length, bool text) {
    const int result = text ? sqlite3_bind_text(statement, parameter, bytes, length, SQLITE_STATIC)
                            : sqlite3_bind_blob(statement, parameter, bytes, length, SQLITE_STATIC);
    if (result != SQLITE_OK) fail("bind");
}

void Sqlite::bindRecord(sqlite3_stmt *statement, const char *record) {
    bind(statement, 1, record, kKey, true);
    bind(statement, 2, record + kSecondOffset, kSecond, true);
    bind(statement, 3, record + kStampOffset, shape_->length() - kStampOffset, false);
}

// The next row, if there is one, without an end of the statement.
bool Sqlite::row(sqlite3_stmt *statement, char *record) {
    const int result = sqlite3_step(statement);
    if (result == SQLITE_DONE) return false;
    if (result != SQLITE_ROW) fail("sqlite3_step");
    if (sqlite3_column_bytes(statement, 2) != shape_->length() - kStampOffset)
        throw Failure("a record of another length");
    std::memcpy(record, sqlite3_column_text(statement, 0), kKey);
    std::memcpy(record + kSecondOffset, sqlite3_column_text(statement, 1), kSecond);
    std::memcpy(record + kStampOffset, sqlite3_column_blob(statement, 2),
                static_cast<std::size_t>(shape_->length() - kStampOffset));
    return true;
}

bool Sqlite::change(sqlite3_stmt *statement, const char *what) {
    const int result = sqlite3_step(statement);
    sqlite3_reset(statement);
    if (result == SQLITE_CONSTRAINT) return false;
    if (result != SQLITE_DONE) fail(what);
    return sqlite3_changes(db_) == 1;
}

bool Sqlite::find(const Step &step, char *record) {
    sqlite3_stmt *statement = prepared(kFind);
    bind(statement, 1, step.key, kKey, true);
    const bool found = row(statement, record);
    sqlite3_reset(statement);
    return found;
}

bool Sqlite::insert(const Step &, char *record) {
    sqlite3_stmt *statement = prepared(kInsert);
    bindRecord(statement, record);
    return change(statement, "INSERT");
}

bool Sqlite::rewrite(const Step &, char *record, bool) {
    sqlite3_stmt *statement = prepared(kRewrite);
    bindRecord(statement, record);
    return change(statement, "UPDATE");
}

bool Sqlite::remove(const Step &step, char *) {
    sqlite3_stmt *statement = prepared(kRemove);
    bind(statement, 1, step.key, kKey, true);
    return change(statement, "DELETE");
}

bool Sqlite::move(Statement which, char *record) {
    sqlite3_stmt *statement = prepared(which);
    if (which != kFirst && which != kLast) bind(statement, 1, position_, kKey, true);
    const bool found = row(statement, record);
    sqlite3_reset(statement);
    if (found) std::memcpy(position_, record, kKey);
    started_ = false;
    return found;
}

bool Sqlite::next(char *record) {
    return held_ ? row(statements_[kAll], record) : move(started_ ? kAtLeast : kAbove, record);
}

bool Sqlite::heldFirst(char *record) {
    sqlite3_stmt *statement = prepared(kAll);
    sqlite3_reset(statement);
    return row(statement, record);
}

bool Sqlite::start(const Step &step, int bytes) {
    std::memset(position_, '0', kKey);
    std::memcpy(position_, step.key, static_cast<std::size_t>(bytes));
    std::vector<char> record(static_cast<std::size_t>(shape_->length()));
    const bool found =
        move(kAtLeast, record.data()) && std::memcmp(record.data(), step.key, static_cast<std::size_t>(bytes)) == 0;
    started_ = true;
    return found;
}

bool Sqlite::findSecond(const Step &step, char *record) {
    sqlite3_stmt *statement = prepared(kSecondField);
    bind(statement, 1, step.second, kSecond, true);
    const bool found = row(statement, record);
    sqlite3_reset(statement);
    return found;
}

// The field lies within the rest.
void Sqlite::addIndex() {
    run("CREATE UNIQUE INDEX others ON records (substr(rest, " + std::to_string(kOtherOffset - kStampOffset + 1) +
        ", " + std::to_string(kOther) + "))");
}

}  // namespace

std::unique_ptr<Subject> makeSqliteWal() { return std::make_unique<Sqlite>("WAL"); }

std::unique_ptr<Subject> makeSqliteJournal() { return std::make_unique<Sqlite>("DELETE"); }

}  // namespace bench
