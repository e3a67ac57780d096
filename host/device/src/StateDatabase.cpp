#include <hostdevice/StateDatabase.h>

#include <android/log.h>
#include <sqlite3.h>

namespace hostdevice {
namespace {

constexpr const char* kLogTag = "HostDevice";

void logError(sqlite3* db, const std::string& path, const char* what) {
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "%s: %s failed: %s", path.c_str(), what,
                        db != nullptr ? sqlite3_errmsg(db) : "out of memory");
}

}  // namespace

std::unique_ptr<StateDatabase> StateDatabase::open(const std::string& path, const char* schema) {
    sqlite3* db = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX;
    if (sqlite3_open_v2(path.c_str(), &db, flags, nullptr) != SQLITE_OK) {
        logError(db, path, "open");
        sqlite3_close(db);
        return nullptr;
    }
    sqlite3_busy_timeout(db, 5000);
    // WAL keeps every committed write across a killed process; NORMAL sync is enough for that.
    const std::string setup =
            std::string("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; ") + schema;
    if (sqlite3_exec(db, setup.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        logError(db, path, "schema");
        sqlite3_close(db);
        return nullptr;
    }
    return std::unique_ptr<StateDatabase>(new StateDatabase(db, path));
}

StateDatabase::StateDatabase(sqlite3* db, std::string path) : db_(db), path_(std::move(path)) {}

StateDatabase::~StateDatabase() {
    sqlite3_close(db_);
}

bool StateDatabase::query(const char* sql, const Row& params,
                          const std::function<void(const Row&)>& onRow) {
    std::lock_guard<std::mutex> lock(mutex_);
    return runLocked(sql, params, onRow);
}

bool StateDatabase::runLocked(const char* sql, const Row& params,
                              const std::function<void(const Row&)>& onRow) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db_, sql, -1, &statement, nullptr) != SQLITE_OK) {
        logError(db_, path_, "prepare");
        return false;
    }
    for (size_t i = 0; i < params.size(); ++i) {
        sqlite3_bind_text(statement, static_cast<int>(i + 1), params[i].data(),
                          static_cast<int>(params[i].size()), SQLITE_TRANSIENT);
    }
    int rc;
    Row row;
    while ((rc = sqlite3_step(statement)) == SQLITE_ROW) {
        const int columns = sqlite3_column_count(statement);
        row.assign(static_cast<size_t>(columns), {});
        for (int c = 0; c < columns; ++c) {
            const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, c));
            if (text != nullptr)
                row[static_cast<size_t>(c)].assign(
                        text, static_cast<size_t>(sqlite3_column_bytes(statement, c)));
        }
        if (onRow) onRow(row);
    }
    if (rc != SQLITE_DONE) logError(db_, path_, "step");
    sqlite3_finalize(statement);
    return rc == SQLITE_DONE;
}

int StateDatabase::exec(const char* sql, const Row& params) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!runLocked(sql, params, nullptr)) return -1;
    return sqlite3_changes(db_);
}

}  // namespace hostdevice
