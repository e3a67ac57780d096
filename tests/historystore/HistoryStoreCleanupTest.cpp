#include "HistoryTestSupport.h"

#include <telemetry/historystore/HistoryStore.h>

#include <gtest/gtest.h>

#include <optional>

namespace {

using historytest::at;
using Tamar::OS::Telemetry::HistoryKey;
using Tamar::OS::Telemetry::HistoryStore;
using Tamar::OS::Telemetry::HistoryUserId;

constexpr HistoryUserId kNoUser = std::nullopt;

// The whole content of a store, to compare it before and after a clean-up.
std::string rows(const HistoryStore<int>& store) {
    return store.toString(std::nullopt, std::nullopt);
}

TEST(HistoryStoreCleanup, KeepOneLeavesTheNewestAndEverythingFromTheCutoffOn) {
    HistoryStore<int> store("s");
    for (int t : {10, 20, 30, 40}) store.insert(at(t), t);

    store.cleanup(at(25), 1);
    EXPECT_EQ(store.size(), 2u);
    EXPECT_EQ(store.find(at(35), kNoUser), 30);
    EXPECT_EQ(store.find(at(29), kNoUser), std::nullopt);

    store.cleanup(at(1000), 1);
    EXPECT_EQ(store.size(), 1u);
    EXPECT_EQ(store.find(at(1000), kNoUser), 40);
}

TEST(HistoryStoreCleanup, EntryAtTheCutoffSurvives) {
    HistoryStore<int> store("s");
    for (int t : {10, 20, 30}) store.insert(at(t), t);
    store.cleanup(at(20), 1);
    EXPECT_EQ(store.size(), 2u);
    EXPECT_EQ(store.find(at(20), kNoUser), 20);
}

TEST(HistoryStoreCleanup, KeepTwoLeavesTheTwoNewestOfEachGroup) {
    HistoryStore<int> store("s");
    for (int t : {10, 20, 30, 40, 50}) store.insert(at(t), t);
    for (int t : {11, 21, 31}) store.insert(HistoryKey{at(t), 7u}, t);
    store.insert(HistoryKey{at(12), 8u}, 12);

    store.cleanup(at(1000), 2);
    EXPECT_EQ(store.size(), 5u);
    EXPECT_EQ(store.find(at(49), kNoUser), 40);
    EXPECT_EQ(store.find(at(39), kNoUser), std::nullopt);
    EXPECT_EQ(store.find(at(29), 7u), 21);
    EXPECT_EQ(store.find(at(20), 7u), std::nullopt);
    EXPECT_EQ(store.find(at(12), 8u), 12);
}

TEST(HistoryStoreCleanup, EachUserAndTheUserlessGroupKeepTheirLatestEntry) {
    HistoryStore<int> store("s");
    store.insert(HistoryKey{at(10), kNoUser}, 1);
    store.insert(HistoryKey{at(20), kNoUser}, 2);
    store.insert(HistoryKey{at(5), 1u}, 3);
    store.insert(HistoryKey{at(15), 1u}, 4);
    store.insert(HistoryKey{at(12), 2u}, 5);
    store.insert(HistoryKey{at(20), 0u}, 6);

    store.cleanup(at(100), 1);
    EXPECT_EQ(store.size(), 4u);
    EXPECT_EQ(store.find(at(100), kNoUser), 2);
    EXPECT_EQ(store.find(at(19), kNoUser), std::nullopt);
    EXPECT_EQ(store.find(at(19), 1u), 4);
    EXPECT_EQ(store.find(at(14), 1u), std::nullopt);
    EXPECT_EQ(store.find(at(19), 2u), 5);
    EXPECT_EQ(store.find(at(20), 0u), 6);
}

TEST(HistoryStoreCleanup, StoreOfAtMostKeepEntriesIsLeftUntouched) {
    HistoryStore<int> store("s");
    store.insert(HistoryKey{at(10), kNoUser}, 1);
    store.insert(HistoryKey{at(20), kNoUser}, 2);
    store.insert(HistoryKey{at(30), kNoUser}, 3);
    const std::string before = rows(store);

    // Three entries of one group, keep 3: nothing goes although all are old.
    store.cleanup(at(1000), 3);
    EXPECT_EQ(rows(store), before);
    store.cleanup(at(1000), 4);
    EXPECT_EQ(rows(store), before);
}

TEST(HistoryStoreCleanup, KeepZeroDropsEverythingBeforeTheCutoff) {
    HistoryStore<int> store("s");
    store.insert(at(-10), 1);
    store.insert(HistoryKey{at(-5), 3u}, 2);
    store.insert(at(5), 3);

    store.cleanup(at(0), 0);
    EXPECT_EQ(store.size(), 1u);
    EXPECT_EQ(store.find(at(5), 3u), 3);
    EXPECT_EQ(store.find(at(4), 3u), std::nullopt);
}

}  // namespace
