#include <keyvalue/KeyValueStore.h>

#include "TempDir.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdlib>
#include <string>
#include <thread>
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

}  // namespace
