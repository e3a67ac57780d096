#include "SqliteKeyValueDatabase.h"

#include "KeyValueLog.h"
#include "StoreDirectory.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <thread>
#include <utility>

namespace keyvalue {
namespace {

constexpr const char* kDatabaseFileName = "keyvalue.db";

// SQLite's busy handler waits within one attempt, but some SQLITE_BUSY results come back
// at once without it: two connections that both read a new file and then both ask to
// switch it to WAL, a stale WAL snapshot, recovery by another process. Such connections can
// collide again on every immediate retry, so each retry comes after a short random pause,
// until the busy timeout of the whole operation has passed.
constexpr std::chrono::milliseconds kLongestPause{16};

// WAL: readers in other processes are never blocked by a writer and a writer never waits
// for readers, which keeps every transaction short when several processes share the file.
// With synchronous=FULL each commit is synced to the WAL before it returns.
constexpr const char* kSetup[] = {
        "PRAGMA journal_mode=WAL",
        "PRAGMA synchronous=FULL",
        "CREATE TABLE IF NOT EXISTS key_values ("
        " store INTEGER NOT NULL,"
        " name TEXT NOT NULL,"
        " key TEXT NOT NULL,"
        " value BLOB NOT NULL,"
        " PRIMARY KEY (store, name, key)) WITHOUT ROWID",
};

constexpr const char* kSelectSql =
        "SELECT value FROM key_values WHERE store = ?1 AND name = ?2 AND key = ?3";
constexpr const char* kUpsertSql =
        "INSERT INTO key_values (store, name, key, value) VALUES (?1, ?2, ?3, ?4)"
        " ON CONFLICT (store, name, key) DO UPDATE SET value = excluded.value";

bool isBusy(int rc) {
    const int primary = rc & 0xff;
    return primary == SQLITE_BUSY || primary == SQLITE_LOCKED;
}

bool bindKey(sqlite3_stmt* statement, int store, const std::string& name, const std::string& key) {
    return sqlite3_bind_int(statement, 1, store) == SQLITE_OK &&
           sqlite3_bind_text64(statement, 2, name.data(), name.size(), SQLITE_STATIC,
                               SQLITE_UTF8) == SQLITE_OK &&
           sqlite3_bind_text64(statement, 3, key.data(), key.size(), SQLITE_STATIC, SQLITE_UTF8) ==
                   SQLITE_OK;
}

// Leaves the statement ready for its next use and drops references to the caller's strings.
void finish(sqlite3_stmt* statement) {
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
}

}  // namespace

SqliteKeyValueDatabase::SqliteKeyValueDatabase(std::string directory,
                                               std::chrono::milliseconds busyTimeout)
    : directory_(std::move(directory)),
      busyTimeout_(busyTimeout),
      // Seeded apart in every process, so writers that collide do not pause in step.
      random_(static_cast<unsigned>(getpid()) ^
              static_cast<unsigned>(std::chrono::steady_clock::now().time_since_epoch().count())) {}

SqliteKeyValueDatabase::~SqliteKeyValueDatabase() {
    std::lock_guard<std::mutex> lock(mutex_);
    closeLocked();
}

std::optional<std::string> SqliteKeyValueDatabase::read(int store, const std::string& name,
                                                        const std::string& key) {
    std::lock_guard<std::mutex> lock(mutex_);
    std::optional<std::string> value;
    if (runLocked([&] { return readOnceLocked(store, name, key, value); })) return value;
    KVLOGE("Cannot read %s/%s from the key-value store", name.c_str(), key.c_str());
    return std::nullopt;
}

bool SqliteKeyValueDatabase::write(int store, const std::string& name, const std::string& key,
                                   const std::string& value) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (runLocked([&] { return writeOnceLocked(store, name, key, value); })) return true;
    KVLOGE("Cannot write %s/%s to the key-value store", name.c_str(), key.c_str());
    return false;
}

template <typename Operation>
bool SqliteKeyValueDatabase::runLocked(const Operation& operation) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + busyTimeout_;
    const auto left = [&] {
        return std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    };
    for (std::chrono::milliseconds pause{1};; pause = std::min(pause * 2, kLongestPause)) {
        Outcome outcome = openLocked();
        if (outcome == Outcome::Done) {
            // SQLite's own wait within the attempt ends at the operation's deadline too.
            sqlite3_busy_timeout(db_, static_cast<int>(std::max<long>(left().count(), 1)));
            outcome = operation();
        }
        if (outcome != Outcome::Busy) return outcome == Outcome::Done;
        const std::chrono::milliseconds wait = std::min(pause, left());
        if (wait.count() <= 0) return false;
        std::uniform_int_distribution<long> jitter(1, wait.count());
        std::this_thread::sleep_for(std::chrono::milliseconds(jitter(random_)));
    }
}

SqliteKeyValueDatabase::Outcome SqliteKeyValueDatabase::openLocked() {
    if (db_ != nullptr) return Outcome::Done;
    if (directory_.empty()) directory_ = defaultStoreDirectory();
    if (!ensureStoreDirectory(directory_)) return Outcome::Failed;

    const std::string path = directory_ + "/" + kDatabaseFileName;
    // A file that fails to open or to verify is left exactly as it is (SQLite never rewrites
    // a file it cannot read as a database); the store reports failures until it is repaired.
    const int rc = sqlite3_open_v2(path.c_str(), &db_,
                                   SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                                   nullptr);
    if (rc != SQLITE_OK) {
        KVLOGE("Cannot open %s: %s", path.c_str(),
               db_ != nullptr ? sqlite3_errmsg(db_) : sqlite3_errstr(rc));
        closeLocked();
        return isBusy(rc) ? Outcome::Busy : Outcome::Failed;
    }
    sqlite3_extended_result_codes(db_, 1);
    sqlite3_busy_timeout(db_, static_cast<int>(busyTimeout_.count()));  // for the set-up

    Outcome outcome = Outcome::Done;
    for (const char* sql : kSetup) {
        if (outcome == Outcome::Done) outcome = execLocked(sql);
    }
    if (outcome == Outcome::Done) outcome = prepareLocked(kSelectSql, &select_);
    if (outcome == Outcome::Done) outcome = prepareLocked(kUpsertSql, &upsert_);
    // A half set-up connection is not kept: the next attempt starts the set-up again.
    if (outcome != Outcome::Done) closeLocked();
    return outcome;
}

void SqliteKeyValueDatabase::closeLocked() {
    sqlite3_finalize(select_);
    sqlite3_finalize(upsert_);
    select_ = nullptr;
    upsert_ = nullptr;
    sqlite3_close_v2(db_);
    db_ = nullptr;
}

SqliteKeyValueDatabase::Outcome SqliteKeyValueDatabase::execLocked(const char* sql) {
    const int rc = sqlite3_exec(db_, sql, nullptr, nullptr, nullptr);
    return rc == SQLITE_OK ? Outcome::Done : failLocked(rc, sql);
}

SqliteKeyValueDatabase::Outcome SqliteKeyValueDatabase::prepareLocked(const char* sql,
                                                                      sqlite3_stmt** statement) {
    const int rc = sqlite3_prepare_v3(db_, sql, -1, SQLITE_PREPARE_PERSISTENT, statement, nullptr);
    return rc == SQLITE_OK ? Outcome::Done : failLocked(rc, sql);
}

SqliteKeyValueDatabase::Outcome SqliteKeyValueDatabase::readOnceLocked(
        int store, const std::string& name, const std::string& key,
        std::optional<std::string>& value) {
    if (!bindKey(select_, store, name, key)) {
        finish(select_);
        return failLocked(sqlite3_extended_errcode(db_), "bind");
    }
    const int rc = sqlite3_step(select_);
    if (rc == SQLITE_ROW) {
        const auto* bytes = static_cast<const char*>(sqlite3_column_blob(select_, 0));
        const int size = sqlite3_column_bytes(select_, 0);
        value = bytes != nullptr ? std::string(bytes, static_cast<size_t>(size)) : std::string();
    }
    finish(select_);
    if (rc == SQLITE_ROW || rc == SQLITE_DONE) return Outcome::Done;
    return failLocked(rc, kSelectSql);
}

SqliteKeyValueDatabase::Outcome SqliteKeyValueDatabase::writeOnceLocked(int store,
                                                                        const std::string& name,
                                                                        const std::string& key,
                                                                        const std::string& value) {
    if (!bindKey(upsert_, store, name, key) ||
        sqlite3_bind_blob64(upsert_, 4, value.data(), value.size(), SQLITE_STATIC) != SQLITE_OK) {
        finish(upsert_);
        return failLocked(sqlite3_extended_errcode(db_), "bind");
    }
    // One autocommit statement: the shortest write transaction there is.
    const int rc = sqlite3_step(upsert_);
    finish(upsert_);
    return rc == SQLITE_DONE ? Outcome::Done : failLocked(rc, kUpsertSql);
}

SqliteKeyValueDatabase::Outcome SqliteKeyValueDatabase::failLocked(int rc, const char* what) {
    if (isBusy(rc)) return Outcome::Busy;
    KVLOGE("Key-value store failure in \"%s\": %s (%d)", what, sqlite3_errmsg(db_), rc);
    // Start again from a fresh connection next time: the file may have been repaired or
    // replaced, and a connection that saw corruption is not trusted further.
    closeLocked();
    return Outcome::Failed;
}

}  // namespace keyvalue
