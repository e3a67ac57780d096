#include "HistoryTestSupport.h"

#include <telemetry/historystore/HistoryStore.h>
#include <telemetry/historystore/HistoryStoreManager.h>

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>
#include <vector>

namespace {

using historytest::at;
using Tamar::OS::Telemetry::HistoryKey;
using Tamar::OS::Telemetry::HistoryStore;
using Tamar::OS::Telemetry::HistoryStoreManager;
using Tamar::OS::Telemetry::HistoryUserId;

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
