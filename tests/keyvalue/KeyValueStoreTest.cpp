#include <keyvalue/KeyValueStore.h>

#include "TemporaryStoreDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

using keyvaluetest::TemporaryStoreDirectory;

constexpr const char* kName = "telemetry_service_settings";

TEST(SORRELKeyValueStorageStrategyTest, RoundTripsOverwritesAndKeepsStoresAndNamesApart) {
    TemporaryStoreDirectory dir;
    SORRELKeyValueStorageStrategy strategy(dir.path());

    EXPECT_FALSE(strategy.read(Store::Shared, kName, "loglevel").has_value());
    ASSERT_TRUE(strategy.write(Store::Shared, kName, "loglevel", "3"));
    ASSERT_TRUE(strategy.write(Store::Shared, kName, "loglevel", "4"));
    ASSERT_TRUE(strategy.write(Store::Local, kName, "loglevel", "local"));
    ASSERT_TRUE(strategy.write(Store::Shared, "other", "loglevel", "other"));

    EXPECT_EQ(strategy.read(Store::Shared, kName, "loglevel"), "4");
    EXPECT_EQ(strategy.read(Store::Local, kName, "loglevel"), "local");
    EXPECT_EQ(strategy.read(Store::Shared, "other", "loglevel"), "other");
    EXPECT_FALSE(strategy.read(Store::User, kName, "loglevel").has_value());
}

TEST(SORRELKeyValueStorageStrategyTest, KeepsEmptyAndBinaryValuesExactly) {
    TemporaryStoreDirectory dir;
    SORRELKeyValueStorageStrategy strategy(dir.path());
    const std::string binary("a\0b\xff\n", 5);

    ASSERT_TRUE(strategy.write(Store::Shared, kName, "empty", ""));
    ASSERT_TRUE(strategy.write(Store::Shared, kName, "binary", binary));
    ASSERT_TRUE(strategy.write(Store::Shared, kName, "", "empty key"));

    EXPECT_EQ(strategy.read(Store::Shared, kName, "empty"), "");
    EXPECT_EQ(strategy.read(Store::Shared, kName, "binary"), binary);
    EXPECT_EQ(strategy.read(Store::Shared, kName, ""), "empty key");
}

TEST(SORRELKeyValueStorageStrategyTest, ValuesSurviveReopening) {
    TemporaryStoreDirectory dir;
    {
        SORRELKeyValueStorageStrategy writer(dir.path());
        ASSERT_TRUE(writer.write(Store::Shared, kName, "timedistance", "-42"));
    }
    SORRELKeyValueStorageStrategy reader(dir.path());
    EXPECT_EQ(reader.read(Store::Shared, kName, "timedistance"), "-42");
}

TEST(SORRELKeyValueStorageStrategyTest, CreatesMissingParentsPrivately) {
    TemporaryStoreDirectory dir;
    const std::string nested = dir.path() + "/a/b/store";
    SORRELKeyValueStorageStrategy strategy(nested);
    ASSERT_TRUE(strategy.write(Store::Shared, kName, "k", "v"));

    for (const std::string& created : {dir.path() + "/a", dir.path() + "/a/b", nested}) {
        struct stat info {};
        ASSERT_EQ(stat(created.c_str(), &info), 0) << created;
        EXPECT_EQ(info.st_mode & 0777, 0700u) << created;
    }
}

TEST(SORRELKeyValueStorageStrategyTest, DirectoryComesFromTheEnvironmentInOrder) {
    TemporaryStoreDirectory dir;
    setenv("KEYVALUE_STORE_DIR", (dir.path() + "/explicit").c_str(), 1);
    setenv("XDG_STATE_HOME", (dir.path() + "/xdg").c_str(), 1);
    setenv("HOME", (dir.path() + "/home").c_str(), 1);
    {
        SORRELKeyValueStorageStrategy strategy;
        ASSERT_TRUE(strategy.write(Store::Shared, kName, "k", "explicit"));
    }
    unsetenv("KEYVALUE_STORE_DIR");
    {
        SORRELKeyValueStorageStrategy strategy;
        ASSERT_TRUE(strategy.write(Store::Shared, kName, "k", "xdg"));
    }
    // A relative XDG_STATE_HOME is not a valid setting and is ignored.
    setenv("XDG_STATE_HOME", "relative/state", 1);
    {
        SORRELKeyValueStorageStrategy strategy;
        ASSERT_TRUE(strategy.write(Store::Shared, kName, "k", "home"));
    }
    EXPECT_EQ(
            SORRELKeyValueStorageStrategy(dir.path() + "/explicit").read(Store::Shared, kName, "k"),
            "explicit");
    EXPECT_EQ(SORRELKeyValueStorageStrategy(dir.path() + "/xdg/halcyon-keyvalue")
                      .read(Store::Shared, kName, "k"),
              "xdg");
    EXPECT_EQ(SORRELKeyValueStorageStrategy(dir.path() + "/home/.local/state/halcyon-keyvalue")
                      .read(Store::Shared, kName, "k"),
              "home");
}

TEST(StorageCacheTest, SeesWritesMadeThroughAnotherConnection) {
    TemporaryStoreDirectory dir;
    StorageCache first(std::make_unique<SORRELKeyValueStorageStrategy>(dir.path()));
    StorageCache second(std::make_unique<SORRELKeyValueStorageStrategy>(dir.path()));

    ASSERT_TRUE(first.set(Store::Shared, kName, "logcatlevel", "verbose"));
    EXPECT_EQ(second.get(Store::Shared, kName, "logcatlevel"), "verbose");
    ASSERT_TRUE(second.set(Store::Shared, kName, "logcatlevel", ""));
    EXPECT_EQ(first.get(Store::Shared, kName, "logcatlevel"), "");
}

TEST(StorageCacheTest, ThreadsShareOneCacheSafely) {
    TemporaryStoreDirectory dir;
    auto cache = std::make_shared<StorageCache>(
            std::make_unique<SORRELKeyValueStorageStrategy>(dir.path()));
    constexpr int kThreads = 4;
    constexpr int kWrites = 25;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([cache, t] {
            KeyValueDispatch dispatch(Store::Shared, kName, cache);
            for (int i = 0; i < kWrites; ++i) {
                const std::string key = "t" + std::to_string(t) + "-" + std::to_string(i);
                EXPECT_TRUE(dispatch.setValue(key, std::to_string(i)));
                EXPECT_EQ(dispatch.getValue(key, "missing"), std::to_string(i));
            }
        });
    }
    for (auto& thread : threads) thread.join();
}

}  // namespace
