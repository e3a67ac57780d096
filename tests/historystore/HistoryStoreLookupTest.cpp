#include "HistoryTestSupport.h"

#include <telemetry/historystore/HistoryStore.h>

#include <gtest/gtest.h>

#include <limits>
#include <optional>

namespace {

using historytest::at;
using historytest::ManualClock;
using historytest::time_point;
using Tamar::OS::Telemetry::HistoryKey;
using Tamar::OS::Telemetry::HistoryStore;
using Tamar::OS::Telemetry::HistoryUserId;

constexpr HistoryUserId kNoUser = std::nullopt;

TEST(HistoryStoreLookup, NewestEntryAtOrBeforeInstantWinsWhateverTheInsertOrder) {
    HistoryStore<int> store("s");
    EXPECT_EQ(store.find(at(100), 7u), std::nullopt);
    EXPECT_EQ(store.get(), std::nullopt);
    store.cleanup(at(1000), 0);  // an empty store stays empty
    EXPECT_EQ(store.size(), 0u);

    store.insert(at(30), 3);
    store.insert(at(10), 1);
    store.insert(at(20), 2);

    EXPECT_EQ(store.find(at(-5), kNoUser), std::nullopt);
    EXPECT_EQ(store.find(at(9), kNoUser), std::nullopt);
    EXPECT_EQ(store.find(at(10), kNoUser), 1);  // an entry exactly at t is eligible
    EXPECT_EQ(store.find(at(19), kNoUser), 1);
    EXPECT_EQ(store.find(at(25), 4u), 2);
    EXPECT_EQ(store.find(at(1000), kNoUser), 3);
}

TEST(HistoryStoreLookup, EqualKeyOverwritesAndOtherUserAddsAnEntry) {
    HistoryStore<unsigned int> store("s");
    store.insert(at(100), 1u);
    store.insert(at(100), 2u);
    EXPECT_EQ(store.size(), 1u);

    store.insert(HistoryKey{at(100), 0u}, 5u);  // user 0 is a user, not "no user"
    store.insert(HistoryKey{at(100), 0u}, 6u);
    EXPECT_EQ(store.size(), 2u);
    EXPECT_EQ(store.find(at(100), 0u), 6u);
    EXPECT_EQ(store.find(at(100), kNoUser), 2u);
}

TEST(HistoryStoreLookup, UserEntriesServeOnlyTheirUserAndBeatUserlessOnesOfTheSameInstant) {
    constexpr unsigned int kMaxUser = std::numeric_limits<unsigned int>::max();
    HistoryStore<int> store("s");
    store.insert(HistoryKey{at(50), 7u}, 70);
    EXPECT_EQ(store.find(at(100), kNoUser), std::nullopt);
    EXPECT_EQ(store.find(at(100), 8u), std::nullopt);
    EXPECT_EQ(store.find(at(49), 7u), std::nullopt);

    store.insert(HistoryKey{at(100), kNoUser}, 1);
    store.insert(HistoryKey{at(100), 7u}, 2);
    store.insert(HistoryKey{at(100), kMaxUser}, -1);
    EXPECT_EQ(store.find(at(99), 7u), 70);
    EXPECT_EQ(store.find(at(100), 7u), 2);
    EXPECT_EQ(store.find(at(100), kMaxUser), -1);
    EXPECT_EQ(store.find(at(100), 8u), 1);
    EXPECT_EQ(store.find(at(100), kNoUser), 1);

    // A newer user entry hides nothing from other queries.
    store.insert(HistoryKey{at(200), 7u}, 3);
    EXPECT_EQ(store.find(at(300), 7u), 3);
    EXPECT_EQ(store.find(at(300), 8u), 1);
    EXPECT_EQ(store.find(at(300), kNoUser), 1);

    // A newer user-less entry serves every user, including the one with older own entries.
    store.insert(HistoryKey{at(250), kNoUser}, 4);
    EXPECT_EQ(store.find(at(300), 7u), 4);
    EXPECT_EQ(store.find(at(220), 7u), 3);
}

TEST(HistoryStoreLookup, ConvenienceFormsUseTheStoreClock) {
    auto nanos = std::make_shared<std::atomic<int64_t>>(70);
    HistoryStore<int> store("s", std::make_unique<ManualClock>(nanos));
    store.insert(1);
    store.insert(HistoryKey{at(80), 4u}, 2);
    EXPECT_EQ(store.find(at(69), kNoUser), std::nullopt);
    EXPECT_EQ(store.find(at(70), kNoUser), 1);

    nanos->store(60);
    EXPECT_EQ(store.get(), std::nullopt);
    nanos->store(75);
    EXPECT_EQ(store.get(), 1);
    EXPECT_EQ(store.get(4u), 1);
    nanos->store(80);
    EXPECT_EQ(store.get(4u), 2);
}

TEST(HistoryStoreLookup, NullClockFallsBackToTheSteadyClock) {
    HistoryStore<int> store("s", nullptr);
    const time_point before = std::chrono::steady_clock::now();
    store.insert(1);
    EXPECT_EQ(store.find(before, kNoUser), std::nullopt);
    EXPECT_EQ(store.get(), 1);
}

}  // namespace
