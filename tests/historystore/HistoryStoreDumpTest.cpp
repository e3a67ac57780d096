#include "HistoryTestSupport.h"

#include <telemetry/historystore/HistoryStore.h>

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <string>

namespace {

using historytest::at;
using Tamar::OS::Telemetry::HistoryKey;
using Tamar::OS::Telemetry::HistoryStore;

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
    EXPECT_EQ(store.toString(at(1 * kSecond + 1), at(3 * kSecond - 1)), middle);
    EXPECT_EQ(store.toString(at(3 * kSecond), std::nullopt),
              head("Current User") + "\t1\t000:00:03.000.000000000\t3\n");
    EXPECT_EQ(store.toString(at(3 * kSecond + 1), std::nullopt), "Current User\nEMPTY\n");
    EXPECT_EQ(store.toString(std::nullopt, at(kSecond - 1)), "Current User\nEMPTY\n");
    EXPECT_EQ(store.toString(at(3 * kSecond), at(kSecond)), "Current User\nEMPTY\n");
}

}  // namespace
