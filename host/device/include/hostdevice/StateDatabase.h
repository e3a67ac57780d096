#pragma once

// One SQLite database file of the host device's state directory. Only the host device opens
// these files, from one process; the connection is shared by its threads under one mutex.

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

struct sqlite3;

namespace hostdevice {

class StateDatabase {
public:
    using Row = std::vector<std::string>;

    // Opens (creating if needed) the file and runs `schema`; null (and an error log) on failure.
    static std::unique_ptr<StateDatabase> open(const std::string& path, const char* schema);
    ~StateDatabase();

    // Runs one statement with its '?' parameters bound as text: the rows it changed once
    // committed, -1 on failure.
    int exec(const char* sql, const Row& params);
    // Runs one query and hands each row (every column as text, NULL as "") to `onRow`.
    bool query(const char* sql, const Row& params, const std::function<void(const Row&)>& onRow);

private:
    explicit StateDatabase(sqlite3* db, std::string path);
    bool runLocked(const char* sql, const Row& params, const std::function<void(const Row&)>& onRow);

    std::mutex mutex_;  // guards db_: one statement at a time
    sqlite3* db_;
    const std::string path_;
};

}  // namespace hostdevice
