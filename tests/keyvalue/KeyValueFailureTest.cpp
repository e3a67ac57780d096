#include <keyvalue/KeyValueStore.h>

#include "ChildProcess.h"
#include "LogCapture.h"
#include "TemporaryStoreDirectory.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>

namespace {

using keyvaluetest::readWholeFile;
using keyvaluetest::TemporaryStoreDirectory;
using keyvaluetest::writeWholeFile;

constexpr const char* kName = "telemetry_service_settings";
constexpr std::chrono::milliseconds kShortBusyTimeout{50};

bool hasErrorLine(const testsupport::LogCapture& log) {
    for (const auto& line : log.withTag("KeyValueStore")) {
        if (line.priority == ANDROID_LOG_ERROR) return true;
    }
    return false;
}

void storeInitialValue(const std::string& directory, const std::string& key,
                       const std::string& value) {
    SORRELKeyValueStorageStrategy strategy(directory);
    ASSERT_TRUE(strategy.write(Store::Shared, kName, key, value));
}

// Another process that opens the database with a raw connection and holds its lock, with an
// uncommitted write pending, until released; its death rolls that write back.
class LockHoldingProcess {
public:
    LockHoldingProcess(const std::string& databaseFile, bool alsoBlockReaders) {
        int ready[2];
        int release[2];
        if (pipe(ready) != 0 || pipe(release) != 0) return;
        pid_ = keyvaluetest::startChild([&] {
            close(ready[0]);
            close(release[1]);
            sqlite3* db = nullptr;
            std::string sql = alsoBlockReaders ? "PRAGMA locking_mode=EXCLUSIVE;" : "";
            sql += "BEGIN EXCLUSIVE;"
                   "INSERT OR REPLACE INTO key_values VALUES (2, 'telemetry_service_settings', "
                   "'loglevel', 'lost');";
            const bool held = sqlite3_open(databaseFile.c_str(), &db) == SQLITE_OK &&
                              sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
            const char answer = held ? 'y' : 'n';
            if (write(ready[1], &answer, 1) != 1) return 2;
            char ignored;
            while (read(release[0], &ignored, 1) > 0) {
            }
            return 0;  // dies without committing
        });
        close(ready[1]);
        close(release[0]);
        releaseFd_ = release[1];
        char answer = 'n';
        held_ = read(ready[0], &answer, 1) == 1 && answer == 'y';
        close(ready[0]);
    }
    ~LockHoldingProcess() { release(); }

    bool held() const { return held_; }
    void release() {
        if (releaseFd_ < 0) return;
        close(releaseFd_);
        releaseFd_ = -1;
        EXPECT_EQ(keyvaluetest::waitForChild(pid_), 0);
    }

private:
    pid_t pid_ = -1;
    int releaseFd_ = -1;
    bool held_ = false;
};

TEST(KeyValueFailureTest, DirectoryPathThatIsAFileFailsUntilItIsADirectory) {
    TemporaryStoreDirectory dir;
    const std::string notADirectory = dir.path() + "/store";
    writeWholeFile(notADirectory, "precious");
    testsupport::LogCapture log;
    auto cache = std::make_shared<StorageCache>(
            std::make_unique<SORRELKeyValueStorageStrategy>(notADirectory));
    KeyValueDispatch dispatch(Store::Shared, kName, cache);

    EXPECT_FALSE(dispatch.setValue("loglevel", "3"));
    EXPECT_EQ(dispatch.getValue("loglevel", "0"), "0");
    EXPECT_EQ(readWholeFile(notADirectory), "precious");
    EXPECT_TRUE(hasErrorLine(log));

    // The store opens lazily, so it recovers once the path is usable.
    ASSERT_EQ(unlink(notADirectory.c_str()), 0);
    EXPECT_TRUE(dispatch.setValue("loglevel", "3"));
    EXPECT_EQ(dispatch.getValue("loglevel", "0"), "3");
}

TEST(KeyValueFailureTest, CorruptDatabaseFileIsNeverRewritten) {
    TemporaryStoreDirectory dir;
    std::string garbage;
    for (int i = 0; i < 300; ++i) garbage += "not a database page " + std::to_string(i) + "\n";
    writeWholeFile(dir.databaseFile(), garbage);
    testsupport::LogCapture log;
    SORRELKeyValueStorageStrategy strategy(dir.path());

    EXPECT_FALSE(strategy.write(Store::Shared, kName, "loglevel", "3"));
    EXPECT_FALSE(strategy.read(Store::Shared, kName, "loglevel").has_value());
    EXPECT_FALSE(strategy.write(Store::Shared, kName, "loglevel", "4"));
    EXPECT_EQ(readWholeFile(dir.databaseFile()), garbage);
    EXPECT_TRUE(hasErrorLine(log));
}

TEST(KeyValueFailureTest, WriterLockHeldElsewhereRefusesWritesButKeepsReadsAndData) {
    TemporaryStoreDirectory dir;
    storeInitialValue(dir.path(), "loglevel", "3");
    LockHoldingProcess holder(dir.databaseFile(), /*alsoBlockReaders=*/false);
    ASSERT_TRUE(holder.held());

    SORRELKeyValueStorageStrategy strategy(dir.path(), kShortBusyTimeout);
    EXPECT_FALSE(strategy.write(Store::Shared, kName, "loglevel", "5"));
    EXPECT_EQ(strategy.read(Store::Shared, kName, "loglevel"), "3");

    holder.release();
    EXPECT_EQ(strategy.read(Store::Shared, kName, "loglevel"), "3");
    EXPECT_TRUE(strategy.write(Store::Shared, kName, "loglevel", "5"));
    EXPECT_EQ(strategy.read(Store::Shared, kName, "loglevel"), "5");
}

TEST(KeyValueFailureTest, ExclusiveHolderMakesGettersAnswerDefaultWithoutLosingData) {
    TemporaryStoreDirectory dir;
    storeInitialValue(dir.path(), "loglevel", "3");
    LockHoldingProcess holder(dir.databaseFile(), /*alsoBlockReaders=*/true);
    ASSERT_TRUE(holder.held());

    testsupport::LogCapture log;
    auto cache = std::make_shared<StorageCache>(
            std::make_unique<SORRELKeyValueStorageStrategy>(dir.path(), kShortBusyTimeout));
    KeyValueDispatch dispatch(Store::Shared, kName, cache);
    EXPECT_EQ(dispatch.getValue("loglevel", "0"), "0");
    EXPECT_FALSE(dispatch.setValue("loglevel", "5"));
    EXPECT_TRUE(hasErrorLine(log));

    holder.release();
    EXPECT_EQ(dispatch.getValue("loglevel", "0"), "3");
}

}  // namespace
