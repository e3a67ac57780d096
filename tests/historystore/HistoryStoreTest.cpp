#include <telemetry/historystore/HistoryStore.h>

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

namespace {

using Tamar::OS::Telemetry::HistoryKey;
using Tamar::OS::Telemetry::HistoryStore;
using Tamar::OS::Telemetry::HistoryUserId;
using time_point = std::chrono::steady_clock::time_point;

constexpr HistoryUserId kNoUser = std::nullopt;

time_point at(int64_t nanos) {
    return time_point(std::chrono::nanoseconds(nanos));
}

// The newest entry at or before the instant wins. A user's entries serve only that user and beat
// user-less ones of the same instant; a newer user-less entry serves every user, including one with
// older entries of its own. User 0 is a user, not "no user".
TEST(HistoryStoreLookup, UserEntriesServeOnlyTheirUserAndBeatUserlessOnesOfTheSameInstant) {
    constexpr unsigned int kMax = std::numeric_limits<unsigned int>::max();
    HistoryStore<int> store("s");
    EXPECT_EQ(store.find(at(100), 7u), std::nullopt);
    // Inserted out of order; an equal key overwrites.
    const std::pair<HistoryKey, int> entries[] = {
            {{at(250), kNoUser}, 4}, {{at(200), 7u}, 99},   {{at(100), 7u}, 2}, {{at(50), 7u}, 70},
            {{at(100), kNoUser}, 1}, {{at(100), kMax}, -1}, {{at(100), 0u}, 0}, {{at(200), 7u}, 3}};
    for (const auto& [key, value] : entries) store.insert(key, value);
    EXPECT_EQ(store.size(), 7u);
    const std::tuple<int, HistoryUserId, std::optional<int>> cases[] = {
            {49, 7u, std::nullopt}, {99, kNoUser, std::nullopt},
            {99, 8u, std::nullopt}, {99, 7u, 70},
            {100, 7u, 2},           {100, kMax, -1},
            {100, 0u, 0},           {100, 8u, 1},
            {100, kNoUser, 1},      {220, 7u, 3},
            {220, 8u, 1},           {220, kNoUser, 1},
            {300, 7u, 4},           {300, 0u, 4}};
    for (const auto& [t, user, value] : cases) {
        EXPECT_EQ(store.find(at(t), user), value) << t << " " << user.value_or(-1);
    }
}

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

constexpr int64_t kExampleNanos = 3723004005006;  // 1 h 2 min 3 s 4 ms 5 us 6 ns
constexpr int64_t kSecond = 1000000000;

// The store's name line and the table head that every non-empty dump starts with.
std::string head(const std::string& name) {
    const std::string rule = "\t" + std::string(168, '-') + "\n";
    return name + "\n" + rule + "\t|#\tUSER\tTIME\t\t\tVALUE" + std::string(16, '\t') + "|\n" + rule;
}

TEST(HistoryStoreDump, TimestampFields) {
    HistoryStore<bool> store("s");
    EXPECT_EQ(store.getTimestamp(at(0)), "00:00:00.000.000000000");
    EXPECT_EQ(store.getTimestamp(at(kExampleNanos)), "01:02:03.004.000005006");
    EXPECT_EQ(store.getTimestamp(at(100 * 3600 * kSecond)), "100:00:00.000.000000000");
    EXPECT_EQ(store.getTimestamp(at(59 * 60 * kSecond + 59999999999LL)), "00:59:59.999.000999999");
}

// Rows in key order, numbered from one, bools as digits, the user (if any) glued to the time.
TEST(HistoryStoreDump, RowsInKeyOrderWithUserGluedToTime) {
    HistoryStore<bool> flags("Local Account Mode");
    EXPECT_EQ(flags.toString(std::nullopt, std::nullopt), "Local Account Mode\nEMPTY\n");
    flags.insert(at(1), false);
    flags.insert(at(kExampleNanos), true);
    EXPECT_EQ(flags.toString(std::nullopt, std::nullopt),
              head("Local Account Mode") +
                      "\t1\t000:00:00.000.000000001\t0\n"
                      "\t2\t001:02:03.004.000005006\t1\n");

    HistoryStore<int> store("s");
    store.insert(HistoryKey{at(kExampleNanos), 3u}, -5);
    store.insert(HistoryKey{at(kExampleNanos), std::nullopt}, 7);
    store.insert(HistoryKey{at(0), 12u}, 0);
    EXPECT_EQ(store.toString(std::nullopt, std::nullopt),
              head("s") +
                      "\t1\t1200:00:00.000.000000000\t0\n"
                      "\t2\t001:02:03.004.000005006\t7\n"
                      "\t3\t301:02:03.004.000005006\t-5\n");
}

// Bounds are inclusive, rows restart at one, and a store with no row in range is two lines.
TEST(HistoryStoreDump, BoundsAreInclusiveAndRowsRestartAtOne) {
    HistoryStore<unsigned int> store("Current User");
    store.insert(at(1 * kSecond), 1u);
    store.insert(at(2 * kSecond), std::numeric_limits<unsigned int>::max());
    store.insert(HistoryKey{at(2 * kSecond), 4u}, 4u);
    store.insert(at(3 * kSecond), 3u);

    const std::string middle = head("Current User") +
                               "\t1\t000:00:02.000.000000000\t4294967295\n"
                               "\t2\t400:00:02.000.000000000\t4\n";
    EXPECT_EQ(store.toString(at(2 * kSecond), at(2 * kSecond)), middle);
    EXPECT_EQ(store.toString(at(3 * kSecond), std::nullopt),
              head("Current User") + "\t1\t000:00:03.000.000000000\t3\n");
    EXPECT_EQ(store.toString(at(3 * kSecond + 1), std::nullopt), "Current User\nEMPTY\n");
    EXPECT_EQ(store.toString(at(3 * kSecond), at(kSecond)), "Current User\nEMPTY\n");
}

}  // namespace
