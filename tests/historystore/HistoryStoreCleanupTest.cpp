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

// Entries before the cutoff go, except each group's `keep` newest; entries at or after the
// cutoff stay.
TEST(HistoryStoreCleanup, KeepsTheNewestEntriesAndEverythingFromTheCutoffOn) {
    HistoryStore<int> store("s");
    store.cleanup(at(1000), 0);  // an empty store stays empty
    EXPECT_EQ(store.size(), 0u);
    for (int t : {10, 20, 30, 40}) store.insert(at(t), t);
    const std::string before = store.toString(std::nullopt, std::nullopt);
    for (unsigned long keep : {4ul, 5ul}) {
        store.cleanup(at(1000), keep);
        EXPECT_EQ(store.toString(std::nullopt, std::nullopt), before);
    }

    store.cleanup(at(30), 1);  // the entry exactly at the cutoff survives
    EXPECT_EQ(store.size(), 2u);
    EXPECT_EQ(store.find(at(35), kNoUser), 30);
    EXPECT_EQ(store.find(at(29), kNoUser), std::nullopt);
    store.cleanup(at(1000), 1);
    EXPECT_EQ(store.size(), 1u);
    EXPECT_EQ(store.find(at(1000), kNoUser), 40);

    store.insert(at(-10), 1);
    store.insert(HistoryKey{at(-5), 3u}, 2);
    store.cleanup(at(0), 0);
    EXPECT_EQ(store.size(), 1u);
    EXPECT_EQ(store.find(at(39), 3u), std::nullopt);
}

// Ranks count within each user's group; the user-less group and user 0 are different groups.
TEST(HistoryStoreCleanup, EachUserAndTheUserlessGroupKeepTheirNewestEntries) {
    HistoryStore<int> store("s");
    for (int t : {10, 20, 30}) store.insert(at(t), t);
    store.insert(HistoryKey{at(20), 0u}, 20);
    for (int t : {11, 21, 31}) store.insert(HistoryKey{at(t), 7u}, t);
    store.insert(HistoryKey{at(12), 8u}, 12);

    store.cleanup(at(1000), 2);
    EXPECT_EQ(store.size(), 6u);
    EXPECT_EQ(store.find(at(29), kNoUser), 20);
    EXPECT_EQ(store.find(at(19), kNoUser), std::nullopt);
    EXPECT_EQ(store.find(at(29), 7u), 21);
    EXPECT_EQ(store.find(at(19), 7u), std::nullopt);

    store.cleanup(at(1000), 1);
    EXPECT_EQ(store.size(), 4u);
    EXPECT_EQ(store.find(at(29), kNoUser), std::nullopt);
    EXPECT_EQ(store.find(at(30), 0u), 30);
    EXPECT_EQ(store.find(at(20), 0u), 20);
    EXPECT_EQ(store.find(at(29), 7u), std::nullopt);
    EXPECT_EQ(store.find(at(31), 7u), 31);
    EXPECT_EQ(store.find(at(12), 8u), 12);
}

}  // namespace
