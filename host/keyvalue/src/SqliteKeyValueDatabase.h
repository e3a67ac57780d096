#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <random>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace keyvalue {

// One connection to the store's database file, opened on first use and shared by the
// threads of its owner under one mutex. Other connections, in this process or others, may
// use the same file at the same time.
class SqliteKeyValueDatabase {
public:
    // An empty directory is resolved from the environment when the database is first used.
    SqliteKeyValueDatabase(std::string directory, std::chrono::milliseconds busyTimeout);
    ~SqliteKeyValueDatabase();

    SqliteKeyValueDatabase(const SqliteKeyValueDatabase&) = delete;
    SqliteKeyValueDatabase& operator=(const SqliteKeyValueDatabase&) = delete;

    // The value, or nullopt when it is absent or cannot be read.
    std::optional<std::string> read(int store, const std::string& name, const std::string& key);
    // True once the value is committed to the file.
    bool write(int store, const std::string& name, const std::string& key, const std::string& value);

private:
    enum class Outcome { Done, Busy, Failed };

    // Runs operation on an open connection, again after each busy result until the busy
    // timeout has passed; true when it was done.
    template <typename Operation>
    bool runLocked(const Operation& operation);
    Outcome openLocked();
    void closeLocked();
    Outcome execLocked(const char* sql);
    Outcome prepareLocked(const char* sql, sqlite3_stmt** statement);
    Outcome readOnceLocked(int store, const std::string& name, const std::string& key,
                           std::optional<std::string>& value);
    Outcome writeOnceLocked(int store, const std::string& name, const std::string& key,
                            const std::string& value);
    Outcome failLocked(int rc, const char* what);

    std::mutex mutex_;
    std::string directory_;  // guarded by mutex_
    const std::chrono::milliseconds busyTimeout_;
    sqlite3* db_ = nullptr;           // guarded by mutex_
    sqlite3_stmt* select_ = nullptr;  // guarded by mutex_
    sqlite3_stmt* upsert_ = nullptr;  // guarded by mutex_
    std::minstd_rand random_;         // guarded by mutex_; spreads retries of colliding writers
};

}  // namespace keyvalue
