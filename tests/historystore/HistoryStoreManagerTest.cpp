#include <telemetry/historystore/HistoryStore.h>
#include <telemetry/historystore/HistoryStoreManager.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using Tamar::OS::Telemetry::HistoryKey;
using Tamar::OS::Telemetry::HistoryStore;
using Tamar::OS::Telemetry::HistoryStoreManager;
using Tamar::OS::Telemetry::HistoryUserId;
using namespace std::chrono_literals;
using Rows = std::vector<std::string>;

std::chrono::steady_clock::time_point at(int64_t nanos) {
    return std::chrono::steady_clock::time_point(std::chrono::nanoseconds(nanos));
}

// Each registered store as "name/keep/size", in registry order.
Rows registered(const HistoryStoreManager& manager) {
    Rows rows;
    for (const auto& [store, keep] : manager.registry()) {
        rows.push_back(store->name() + "/" + std::to_string(keep) + "/" +
                       std::to_string(store->size()));
    }
    return rows;
}

// The cutoff lies the timeout before the given instant, or before now on the steady clock.
TEST(HistoryStoreManager, CleanupUsesTimeoutAndEachStoresKeep) {
    HistoryStoreManager manager;
    auto keepOne = manager.createHistoryStore<int>("one", 1);
    auto keepTwo = manager.createHistoryStore<int>("two", 2);
    const auto now = std::chrono::steady_clock::now();
    for (auto age : {3h, 2h, 1h, 0h}) {
        keepOne->insert(now - age, static_cast<int>(age.count()));
        keepTwo->insert(now - age, static_cast<int>(age.count()));
    }

    manager.cleanup(5400, now);  // cutoff 90 min ago
    EXPECT_EQ(registered(manager), (Rows{"one/1/2", "two/2/2"}));
    manager.cleanup(1800);
    EXPECT_EQ(registered(manager), (Rows{"one/1/1", "two/2/2"}));
    EXPECT_EQ(keepOne->find(now, std::nullopt), 0);
    EXPECT_EQ(keepTwo->find(now - 1h, std::nullopt), 1);
    EXPECT_EQ(keepTwo->find(now - 61min, std::nullopt), std::nullopt);
}

// Meant for ThreadSanitizer: every operation of one store at once from several threads, while
// a manager creates stores and cleans and dumps them.
TEST(HistoryStoreStress, ConcurrentInsertFindCleanupDumpAndCreate) {
    constexpr int kWriters = 3;
    constexpr int kInserts = 2000;
    constexpr int64_t kLast = int64_t(kInserts) * kWriters;
    HistoryStore<int> store("stress");
    HistoryStoreManager manager;
    std::atomic<int> writersLeft{kWriters + 1};
    std::vector<std::thread> threads;
    for (int writer = 0; writer < kWriters; ++writer) {
        threads.emplace_back([&, writer] {
            for (int i = 0; i < kInserts; ++i) {
                const HistoryUserId user = i % 3 == 0 ? HistoryUserId{} : unsigned(writer);
                store.insert(HistoryKey{at(int64_t(i) * kWriters + writer), user}, i);
                if (i % 100 == 0) store.insert(i);  // stamped with the steady clock
            }
            --writersLeft;
        });
    }
    threads.emplace_back([&] {
        for (int i = 0; i < 200; ++i) {
            manager.createHistoryStore<unsigned int>("user", 1)->insert(at(i), unsigned(i));
        }
        --writersLeft;
    });
    while (writersLeft > 0) {
        EXPECT_GE(store.find(at(kLast), 1u).value_or(0), 0);
        (void)store.get(2u);
        store.cleanup(at(kLast / 2), 1);
        (void)store.toString(std::nullopt, std::nullopt);
        manager.cleanup(1, at(0));
        (void)manager.dump();
    }
    for (auto& thread : threads) thread.join();

    // Whatever the interleaving, each user kept its newest entry.
    for (unsigned int user = 1; user < kWriters; ++user) {
        EXPECT_TRUE(store.find(at(kLast), user).has_value());
    }
    store.cleanup(std::chrono::steady_clock::time_point::max(), 1);
    EXPECT_EQ(store.size(), size_t(kWriters) + 1);  // one per user plus the user-less group
    EXPECT_EQ(manager.registry().size(), 200u);
}

}  // namespace
