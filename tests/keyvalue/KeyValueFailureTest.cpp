#include <keyvalue/KeyValueStore.h>

#include "ForkedChild.h"
#include "LogCapture.h"
#include "TempDir.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

namespace {

constexpr const char* kName = "telemetry_service_settings";
constexpr std::chrono::milliseconds kShortBusyTimeout{50};

std::string readWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool hasErrorLine(const testsupport::LogCapture& log) {
    for (const auto& line : log.withTag("KeyValueStore")) {
        if (line.priority == ANDROID_LOG_ERROR) return true;
    }
    return false;
}

// Another process that opens the database with a raw connection and holds its lock, with an
// uncommitted write pending, until it is killed; its death rolls that write back.
class LockHoldingProcess {
public:
    LockHoldingProcess(const std::string& databaseFile, bool alsoBlockReaders) {
        int ready[2];
        if (pipe(ready) != 0) return;
        pid_ = keyvaluetest::startChild([&] {
            sqlite3* db = nullptr;
            std::string sql = alsoBlockReaders ? "PRAGMA locking_mode=EXCLUSIVE;" : "";
            sql += "BEGIN EXCLUSIVE;"
                   "INSERT OR REPLACE INTO key_values VALUES (2, 'telemetry_service_settings', "
                   "'loglevel', 'lost');";
            const bool held = sqlite3_open(databaseFile.c_str(), &db) == SQLITE_OK &&
                              sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
            const char answer = held ? 'y' : 'n';
            if (write(ready[1], &answer, 1) != 1) return 2;
            pause();
            return 0;
        });
        close(ready[1]);
        char answer = 'n';
        held_ = read(ready[0], &answer, 1) == 1 && answer == 'y';
        close(ready[0]);
    }
    ~LockHoldingProcess() { release(); }

    bool held() const { return held_; }
    void release() {
        if (pid_ < 0) return;
        kill(pid_, SIGKILL);
        EXPECT_EQ(keyvaluetest::waitForChild(pid_), -SIGKILL);
        pid_ = -1;
    }

private:
    pid_t pid_ = -1;
    bool held_ = false;
};

// A store path that is a file, or a database file that is not a database: every operation
// fails with an error line, the file is never rewritten, and the store opens lazily, so it
// recovers once the path is usable.
TEST(KeyValueFailureTest, UnusableStoreFilesAreNeverRewritten) {
    testsupport::TempDir dir("keyvalue");
    std::string garbage;
    for (int i = 0; i < 300; ++i) garbage += "not a database page " + std::to_string(i) + "\n";
    for (const std::string& file : {dir.path() + "/store", dir.path() + "/keyvalue.db"}) {
        SCOPED_TRACE(file);
        std::ofstream(file, std::ios::binary) << garbage;
        testsupport::LogCapture log;
        const bool pathIsFile = file.ends_with("/store");
        auto cache = std::make_shared<StorageCache>(
                std::make_unique<SORRELKeyValueStorageStrategy>(pathIsFile ? file : dir.path()));
        KeyValueDispatch dispatch(Store::Shared, kName, cache);

        EXPECT_FALSE(dispatch.setValue("loglevel", "3"));
        EXPECT_EQ(dispatch.getValue("loglevel", "0"), "0");
        EXPECT_FALSE(dispatch.setValue("loglevel", "4"));
        EXPECT_EQ(readWholeFile(file), garbage);
        EXPECT_TRUE(hasErrorLine(log));
        if (pathIsFile) {
            ASSERT_EQ(unlink(file.c_str()), 0);
            EXPECT_TRUE(dispatch.setValue("loglevel", "3"));
            EXPECT_EQ(dispatch.getValue("loglevel", "0"), "3");
        }
    }
}

// Another program holding the writer lock refuses writes; holding every lock also refuses
// reads. Nothing stored is lost, the holder's pending write never lands, and the store works
// again once the holder is gone.
TEST(KeyValueFailureTest, LockHeldByAnotherProcessRefusesWithoutLosingData) {
    for (const bool blockReaders : {false, true}) {
        SCOPED_TRACE(blockReaders ? "exclusive holder" : "writer lock holder");
        testsupport::TempDir dir("keyvalue");
        ASSERT_TRUE(SORRELKeyValueStorageStrategy(dir.path())
                            .write(Store::Shared, kName, "loglevel", "3"));
        LockHoldingProcess holder(dir.path() + "/keyvalue.db", blockReaders);
        ASSERT_TRUE(holder.held());

        testsupport::LogCapture log;
        SORRELKeyValueStorageStrategy strategy(dir.path(), kShortBusyTimeout);
        EXPECT_FALSE(strategy.write(Store::Shared, kName, "loglevel", "5"));
        EXPECT_EQ(strategy.read(Store::Shared, kName, "loglevel"),
                  blockReaders ? std::nullopt : std::optional<std::string>("3"));
        EXPECT_TRUE(hasErrorLine(log));

        holder.release();
        EXPECT_EQ(strategy.read(Store::Shared, kName, "loglevel"), "3");
        EXPECT_TRUE(strategy.write(Store::Shared, kName, "loglevel", "5"));
        EXPECT_EQ(strategy.read(Store::Shared, kName, "loglevel"), "5");
    }
}

}  // namespace
