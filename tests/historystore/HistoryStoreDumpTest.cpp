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

std::string rule() {
    return "\t" + std::string(168, '-');
}

std::string heading() {
    return "\t|#\tUSER\tTIME\t\t\tVALUE" + std::string(16, '\t') + "|";
}

std::string header() {
    return rule() + "\n" + heading() + "\n" + rule() + "\n";
}

TEST(HistoryStoreDump, TimestampFields) {
    HistoryStore<bool> store("s");
    EXPECT_EQ(store.getTimestamp(at(0)), "00:00:00.000.000000000");
    EXPECT_EQ(store.getTimestamp(at(kExampleNanos)), "01:02:03.004.000005006");
    EXPECT_EQ(store.getTimestamp(at(100LL * 3600 * 1000000000)), "100:00:00.000.000000000");
    EXPECT_EQ(store.getTimestamp(at(59LL * 60 * 1000000000 + 59999999999LL)),
              "00:59:59.999.000999999");
}

TEST(HistoryStoreDump, EmptyStoreAndFullyExcludedStoreAreTwoLines) {
    HistoryStore<int> store("Managed Mode");
    EXPECT_EQ(store.toString(std::nullopt, std::nullopt), "Managed Mode\nEMPTY\n");

    store.insert(at(10), 1);
    EXPECT_EQ(store.toString(at(11), std::nullopt), "Managed Mode\nEMPTY\n");
    EXPECT_EQ(store.toString(std::nullopt, at(9)), "Managed Mode\nEMPTY\n");
    EXPECT_EQ(store.toString(at(11), at(9)), "Managed Mode\nEMPTY\n");
}

TEST(HistoryStoreDump, WorkedExampleToTheCharacter) {
    HistoryStore<bool> store("Local Account Mode");
    store.insert(at(kExampleNanos), true);

    const std::string expected =
            "Local Account Mode\n" + header() + "\t1\t001:02:03.004.000005006\t1\n";
    EXPECT_EQ(heading().size(), 38u);
    EXPECT_EQ(rule().size(), 169u);
    EXPECT_EQ(store.toString(std::nullopt, std::nullopt), expected);
}

TEST(HistoryStoreDump, RowsInKeyOrderWithUserGluedToTime) {
    HistoryStore<int> store("s");
    store.insert(HistoryKey{at(kExampleNanos), 3u}, -5);
    store.insert(HistoryKey{at(kExampleNanos), std::nullopt}, 7);
    store.insert(HistoryKey{at(0), 12u}, 0);

    const std::string expected = "s\n" + header() +
                                 "\t1\t1200:00:00.000.000000000\t0\n"
                                 "\t2\t001:02:03.004.000005006\t7\n"
                                 "\t3\t301:02:03.004.000005006\t-5\n";
    EXPECT_EQ(store.toString(std::nullopt, std::nullopt), expected);
}

TEST(HistoryStoreDump, BoundsAreInclusiveAndRowsRestartAtOne) {
    HistoryStore<unsigned int> store("Current User");
    store.insert(at(1000000000), 1u);
    store.insert(at(2000000000), std::numeric_limits<unsigned int>::max());
    store.insert(HistoryKey{at(2000000000), 4u}, 4u);
    store.insert(at(3000000000), 3u);

    const std::string middle = "Current User\n" + header() +
                               "\t1\t000:00:02.000.000000000\t4294967295\n"
                               "\t2\t400:00:02.000.000000000\t4\n";
    EXPECT_EQ(store.toString(at(2000000000), at(2000000000)), middle);
    EXPECT_EQ(store.toString(at(1000000001), at(2999999999)), middle);

    const std::string tail = "Current User\n" + header() + "\t1\t000:00:03.000.000000000\t3\n";
    EXPECT_EQ(store.toString(at(2000000001), std::nullopt), tail);
    EXPECT_EQ(store.toString(at(3000000000), std::nullopt), tail);
}

TEST(HistoryStoreDump, BoolValuesPrintAsDigits) {
    HistoryStore<bool> store("Account Checkpointed");
    store.insert(at(0), false);
    store.insert(at(1), true);
    const std::string expected = "Account Checkpointed\n" + header() +
                                 "\t1\t000:00:00.000.000000000\t0\n"
                                 "\t2\t000:00:00.000.000000001\t1\n";
    EXPECT_EQ(store.toString(std::nullopt, std::nullopt), expected);
}

}  // namespace
