#include "HistoryTestSupport.h"

#include <telemetry/historystore/HistoryStore.h>

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <utility>

namespace {

using historytest::at;
using historytest::ManualClock;
using Tamar::OS::Telemetry::HistoryKey;
using Tamar::OS::Telemetry::HistoryStore;
using Tamar::OS::Telemetry::HistoryUserId;

constexpr HistoryUserId kNoUser = std::nullopt;

TEST(HistoryStoreLookup, NewestEntryAtOrBeforeInstantWinsWhateverTheInsertOrder) {
    HistoryStore<int> store("s");
    EXPECT_EQ(store.find(at(100), 7u), std::nullopt);
    EXPECT_EQ(store.get(), std::nullopt);
    for (int t : {30, 10, 20}) store.insert(at(t), t / 10);
    store.insert(at(20), 4);  // an equal key overwrites
    EXPECT_EQ(store.size(), 3u);

    // An entry exactly at the instant is eligible; a user with no entries sees user-less ones.
    const std::pair<int, std::optional<int>> cases[] = {
            {-5, std::nullopt}, {9, std::nullopt}, {10, 1}, {19, 1}, {25, 4}, {1000, 3}};
    for (const auto& [t, value] : cases) {
        EXPECT_EQ(store.find(at(t), kNoUser), value) << t;
        EXPECT_EQ(store.find(at(t), 4u), value) << t;
    }
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
    store.insert(HistoryKey{at(100), 0u}, 0);  // user 0 is a user, not "no user"
    EXPECT_EQ(store.find(at(99), 7u), 70);
    EXPECT_EQ(store.find(at(100), 7u), 2);
    EXPECT_EQ(store.find(at(100), kMaxUser), -1);
    EXPECT_EQ(store.find(at(100), 0u), 0);
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

// The forms without an instant use the store's clock, or the steady clock when given none.
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

    HistoryStore<int> steady("s", nullptr);
    const auto before = std::chrono::steady_clock::now();
    steady.insert(1);
    EXPECT_EQ(steady.find(before, kNoUser), std::nullopt);
    EXPECT_EQ(steady.get(), 1);
}

}  // namespace
