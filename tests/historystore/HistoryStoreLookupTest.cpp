#include "HistoryTestSupport.h"

#include <telemetry/historystore/HistoryStore.h>

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <vector>

namespace {

using historytest::at;
using historytest::ManualClock;
using historytest::time_point;
using Tamar::OS::Telemetry::HistoryKey;
using Tamar::OS::Telemetry::HistoryStore;
using Tamar::OS::Telemetry::HistoryUserId;

constexpr HistoryUserId kNoUser = std::nullopt;

TEST(HistoryStoreLookup, EmptyStoreAnswersNothing) {
    HistoryStore<int> store("Managed Mode");
    EXPECT_EQ(store.size(), 0u);
    EXPECT_EQ(store.find(at(100), kNoUser), std::nullopt);
    EXPECT_EQ(store.find(at(100), 7u), std::nullopt);
    EXPECT_EQ(store.get(), std::nullopt);
    EXPECT_EQ(store.get(7u), std::nullopt);
    store.cleanup(at(1000), 0);
    EXPECT_EQ(store.size(), 0u);
    EXPECT_EQ(store.name(), "Managed Mode");
}

TEST(HistoryStoreLookup, NewestEntryAtOrBeforeInstantWinsWhateverTheInsertOrder) {
    HistoryStore<int> store("s");
    store.insert(at(30), 3);
    store.insert(at(10), 1);
    store.insert(at(20), 2);

    EXPECT_EQ(store.find(at(9), kNoUser), std::nullopt);
    EXPECT_EQ(store.find(at(10), kNoUser), 1);  // an entry exactly at t is eligible
    EXPECT_EQ(store.find(at(19), kNoUser), 1);
    EXPECT_EQ(store.find(at(20), kNoUser), 2);
    EXPECT_EQ(store.find(at(25), 4u), 2);
    EXPECT_EQ(store.find(at(1000), kNoUser), 3);
    EXPECT_EQ(store.find(at(-5), kNoUser), std::nullopt);
}

TEST(HistoryStoreLookup, EqualKeyOverwritesAndOtherUserAddsAnEntry) {
    HistoryStore<unsigned int> store("s");
    store.insert(at(100), 1u);
    store.insert(at(100), 2u);
    EXPECT_EQ(store.size(), 1u);
    EXPECT_EQ(store.find(at(100), kNoUser), 2u);

    store.insert(HistoryKey{at(100), 0u}, 5u);  // user 0 is a user, not "no user"
    store.insert(HistoryKey{at(100), 0u}, 6u);
    EXPECT_EQ(store.size(), 2u);
    EXPECT_EQ(store.find(at(100), 0u), 6u);
    EXPECT_EQ(store.find(at(100), kNoUser), 2u);
}

TEST(HistoryStoreLookup, UserEntriesServeOnlyTheirUser) {
    HistoryStore<bool> store("s");
    store.insert(HistoryKey{at(10), 7u}, true);
    store.insert(HistoryKey{at(20), 7u}, false);

    EXPECT_EQ(store.find(at(100), kNoUser), std::nullopt);
    EXPECT_EQ(store.find(at(100), 8u), std::nullopt);
    EXPECT_EQ(store.find(at(15), 7u), true);
    EXPECT_EQ(store.find(at(100), 7u), false);
    EXPECT_EQ(store.find(at(5), 7u), std::nullopt);
}

TEST(HistoryStoreLookup, UserEntryBeatsUserlessEntryOfTheSameInstantOnly) {
    HistoryStore<int> store("s");
    store.insert(HistoryKey{at(100), kNoUser}, 1);
    store.insert(HistoryKey{at(100), 7u}, 2);

    EXPECT_EQ(store.find(at(100), 7u), 2);
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

TEST(HistoryStoreLookup, EveryUserIdAtTheQueriedInstantIsEligible) {
    constexpr unsigned int kMaxUser = std::numeric_limits<unsigned int>::max();
    HistoryStore<int> store("s");
    store.insert(HistoryKey{at(100), 3u}, 3);
    store.insert(HistoryKey{at(100), 9u}, 9);
    store.insert(HistoryKey{at(100), kMaxUser}, -1);
    store.insert(HistoryKey{at(101), kNoUser}, 42);

    EXPECT_EQ(store.find(at(100), kMaxUser), -1);
    EXPECT_EQ(store.find(at(100), 3u), 3);
    EXPECT_EQ(store.find(at(100), 9u), 9);
    EXPECT_EQ(store.find(at(100), 5u), std::nullopt);
    EXPECT_EQ(store.find(at(101), kMaxUser), 42);
}

TEST(HistoryStoreLookup, ConvenienceFormsUseTheStoreClock) {
    auto nanos = std::make_shared<std::atomic<int64_t>>(50);
    HistoryStore<int> store("s", std::make_unique<ManualClock>(nanos));

    store.insert(5);
    EXPECT_EQ(store.find(at(50), kNoUser), 5);
    EXPECT_EQ(store.find(at(49), kNoUser), std::nullopt);

    nanos->store(40);
    EXPECT_EQ(store.get(), std::nullopt);
    nanos->store(60);
    EXPECT_EQ(store.get(), 5);
    EXPECT_EQ(store.get(3u), 5);

    store.insert(HistoryKey{at(55), 3u}, 6);
    EXPECT_EQ(store.get(3u), 6);
    EXPECT_EQ(store.get(), 5);
}

TEST(HistoryStoreLookup, NullClockFallsBackToTheSteadyClock) {
    HistoryStore<int> store("s", nullptr);
    const time_point before = std::chrono::steady_clock::now();
    store.insert(1);
    EXPECT_EQ(store.find(before, kNoUser), std::nullopt);
    EXPECT_EQ(store.get(), 1);
}

// Overrides of the innermost operations see every call of the convenience forms.
class RecordingStore : public HistoryStore<int> {
public:
    explicit RecordingStore(std::shared_ptr<std::atomic<int64_t>> nanos)
        : HistoryStore<int>("recording", std::make_unique<ManualClock>(std::move(nanos))) {}

    using HistoryStore<int>::insert;
    void insert(const HistoryKey& key, const int& value) override {
        insertedKeys.push_back(key);
        HistoryStore<int>::insert(key, value);
    }
    std::optional<int> find(const time_point& t, const HistoryUserId& user) override {
        findCalls.emplace_back(t, user);
        return HistoryStore<int>::find(t, user);
    }

    std::vector<HistoryKey> insertedKeys;
    std::vector<HistoryKey> findCalls;
};

TEST(HistoryStoreLookup, ConvenienceFormsDispatchVirtually) {
    auto nanos = std::make_shared<std::atomic<int64_t>>(70);
    RecordingStore store(nanos);
    Tamar::OS::Telemetry::IHistoryStore<int>& history = store;

    history.insert(1);
    history.insert(at(80), 2);
    EXPECT_EQ(store.insertedKeys, (std::vector<HistoryKey>{{at(70), kNoUser}, {at(80), kNoUser}}));

    nanos->store(75);
    EXPECT_EQ(history.get(), 1);
    EXPECT_EQ(history.get(4u), 1);
    EXPECT_EQ(store.findCalls, (std::vector<HistoryKey>{{at(75), kNoUser}, {at(75), 4u}}));
}

}  // namespace
