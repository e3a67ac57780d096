#include <keyvalue/KeyValueStore.h>

#include "ForkedChild.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr const char* kName = "telemetry_service_settings";

std::optional<std::string> readBack(const std::string& directory, const std::string& key) {
    return SORRELKeyValueStorageStrategy(directory).read(Store::Shared, kName, key);
}

TEST(SORRELKeyValueStorageStrategyTest, RoundTripsExactValuesAndKeepsStoresAndNamesApart) {
    testsupport::TempDir dir("keyvalue");
    const std::string binary("a\0b\xff\n", 5);
    {
        SORRELKeyValueStorageStrategy strategy(dir.path());
        EXPECT_FALSE(strategy.read(Store::Shared, kName, "loglevel").has_value());
        ASSERT_TRUE(strategy.write(Store::Shared, kName, "loglevel", "3"));
        ASSERT_TRUE(strategy.write(Store::Shared, kName, "loglevel", "4"));
        ASSERT_TRUE(strategy.write(Store::Local, kName, "loglevel", "local"));
        ASSERT_TRUE(strategy.write(Store::Shared, "other", "loglevel", "other"));
        ASSERT_TRUE(strategy.write(Store::Shared, kName, "empty", ""));
        ASSERT_TRUE(strategy.write(Store::Shared, kName, "binary", binary));
        ASSERT_TRUE(strategy.write(Store::Shared, kName, "", "empty key"));
        EXPECT_EQ(strategy.read(Store::Local, kName, "loglevel"), "local");
        EXPECT_EQ(strategy.read(Store::Shared, "other", "loglevel"), "other");
        EXPECT_FALSE(strategy.read(Store::User, kName, "loglevel").has_value());
    }
    // A fresh connection sees everything: the values are durable.
    EXPECT_EQ(readBack(dir.path(), "loglevel"), "4");
    EXPECT_EQ(readBack(dir.path(), "empty"), "");
    EXPECT_EQ(readBack(dir.path(), "binary"), binary);
    EXPECT_EQ(readBack(dir.path(), ""), "empty key");
}

TEST(SORRELKeyValueStorageStrategyTest, CreatesMissingParentsPrivately) {
    testsupport::TempDir dir("keyvalue");
    const std::string nested = dir.path() + "/a/b/store";
    ASSERT_TRUE(SORRELKeyValueStorageStrategy(nested).write(Store::Shared, kName, "k", "v"));

    for (const std::string& created : {dir.path() + "/a", dir.path() + "/a/b", nested}) {
        struct stat info {};
        ASSERT_EQ(stat(created.c_str(), &info), 0) << created;
        EXPECT_EQ(info.st_mode & 0777, 0700u) << created;
    }
}

TEST(SORRELKeyValueStorageStrategyTest, DirectoryComesFromTheEnvironmentInOrder) {
    testsupport::TempDir dir("keyvalue");
    auto writeThroughDefault = [](const char* value) {
        ASSERT_TRUE(SORRELKeyValueStorageStrategy().write(Store::Shared, kName, "k", value));
    };
    setenv("KEYVALUE_STORE_DIR", (dir.path() + "/explicit").c_str(), 1);
    setenv("XDG_STATE_HOME", (dir.path() + "/xdg").c_str(), 1);
    setenv("HOME", (dir.path() + "/home").c_str(), 1);
    writeThroughDefault("explicit");
    unsetenv("KEYVALUE_STORE_DIR");
    writeThroughDefault("xdg");
    setenv("XDG_STATE_HOME", "relative/state", 1);  // not a valid setting, so ignored
    writeThroughDefault("home");

    EXPECT_EQ(readBack(dir.path() + "/explicit", "k"), "explicit");
    EXPECT_EQ(readBack(dir.path() + "/xdg/halcyon-keyvalue", "k"), "xdg");
    EXPECT_EQ(readBack(dir.path() + "/home/.local/state/halcyon-keyvalue", "k"), "home");
}

// Threads share a cache; each reads its writes back through another connection's cache.
TEST(StorageCacheTest, ThreadsShareCachesOverSeparateConnectionsSafely) {
    testsupport::TempDir dir("keyvalue");
    std::shared_ptr<StorageCache> caches[2];
    for (auto& cache : caches) {
        cache = std::make_shared<StorageCache>(
                std::make_unique<SORRELKeyValueStorageStrategy>(dir.path()));
    }
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&caches, t] {
            KeyValueDispatch writer(Store::Shared, kName, caches[t % 2]);
            KeyValueDispatch reader(Store::Shared, kName, caches[(t + 1) % 2]);
            for (int i = 0; i < 25; ++i) {
                const std::string key = "t" + std::to_string(t) + "-" + std::to_string(i);
                EXPECT_TRUE(writer.setValue(key, std::to_string(i)));
                EXPECT_EQ(reader.getValue(key, "missing"), std::to_string(i));
                EXPECT_TRUE(writer.setValue(key, ""));
                EXPECT_EQ(reader.getValue(key, "missing"), "");
            }
        });
    }
    for (auto& thread : threads) thread.join();
}

// Each child writes its own keys twice (a pending value, then the final one) and one shared
// key; every child starts at once and opens the file itself, so the set-up of a new database
// races too.
TEST(KeyValueMultiProcessTest, ConcurrentWritersInSeveralProcessesLoseNothing) {
    testsupport::TempDir dir("keyvalue");
    constexpr int kChildren = 6;
    constexpr int kKeysPerChild = 20;
    const auto key = [](int child, int i) { return "c" + std::to_string(child * 1000 + i); };
    int start[2];
    ASSERT_EQ(pipe(start), 0);
    std::vector<pid_t> children;
    for (int child = 0; child < kChildren; ++child) {
        children.push_back(keyvaluetest::startChild([&, child] {
            close(start[1]);
            char ignored;
            while (read(start[0], &ignored, 1) > 0) {
            }
            SORRELKeyValueStorageStrategy strategy(dir.path(), std::chrono::milliseconds(5000));
            int failures = 0;
            for (int i = 0; i < kKeysPerChild; ++i) {
                for (const auto& [k, value] : {std::pair(key(child, i), std::string("pending")),
                                               std::pair(key(child, i), key(child, i)),
                                               std::pair(std::string("shared"), key(child, i))}) {
                    failures += strategy.write(Store::Shared, kName, k, value) ? 0 : 1;
                }
            }
            return failures > 100 ? 100 : failures;
        }));
    }
    close(start[0]);
    close(start[1]);  // starts every child at once
    for (pid_t pid : children) {
        EXPECT_EQ(keyvaluetest::waitForChild(pid), 0) << "failed writes in child " << pid;
    }

    SORRELKeyValueStorageStrategy reader(dir.path());
    std::set<std::optional<std::string>> lastWrites;
    for (int child = 0; child < kChildren; ++child) {
        for (int i = 0; i < kKeysPerChild; ++i) {
            EXPECT_EQ(reader.read(Store::Shared, kName, key(child, i)), key(child, i));
        }
        lastWrites.insert(key(child, kKeysPerChild - 1));
    }
    EXPECT_TRUE(lastWrites.contains(reader.read(Store::Shared, kName, "shared")));
}

TEST(KeyValueMultiProcessTest, AcknowledgedWriteSurvivesTheWriterBeingKilled) {
    testsupport::TempDir dir("keyvalue");
    const pid_t pid = keyvaluetest::startChild([&] {
        SORRELKeyValueStorageStrategy strategy(dir.path());
        if (!strategy.write(Store::Shared, kName, "kestrel", "id-1")) return 1;
        kill(getpid(), SIGKILL);
        return 2;
    });
    ASSERT_EQ(keyvaluetest::waitForChild(pid), -SIGKILL);

    SORRELKeyValueStorageStrategy reader(dir.path());
    EXPECT_EQ(reader.read(Store::Shared, kName, "kestrel"), "id-1");
}

}  // namespace
