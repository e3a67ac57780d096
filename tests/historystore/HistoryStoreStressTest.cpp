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

constexpr int kWriters = 3;
constexpr int kInsertsPerWriter = 2000;
constexpr int64_t kLastNanos = int64_t(kInsertsPerWriter) * kWriters;

// Meant for ThreadSanitizer: every operation of one store at once from several threads.
TEST(HistoryStoreStress, ConcurrentInsertFindCleanupAndDump) {
    HistoryStore<int> store("stress");
    std::atomic<bool> writersDone{false};
    std::vector<std::thread> threads;

    for (int writer = 0; writer < kWriters; ++writer) {
        threads.emplace_back([&store, writer] {
            for (int i = 0; i < kInsertsPerWriter; ++i) {
                const HistoryUserId user = i % 3 == 0 ? HistoryUserId{} : unsigned(writer);
                store.insert(HistoryKey{at(int64_t(i) * kWriters + writer), user}, i);
                if (i % 100 == 0) store.insert(i);  // stamped with the steady clock
            }
        });
    }
    // Readers and maintainers loop until the writers are done.
    auto untilDone = [&](auto body) {
        threads.emplace_back([&, body] {
            while (!writersDone.load()) body();
        });
    };
    untilDone([&] {
        EXPECT_GE(store.find(at(kLastNanos), 1u).value_or(0), 0);
        (void)store.get(2u);
    });
    untilDone([&] {
        store.cleanup(at(kLastNanos / 2), 1);
        (void)store.size();
    });
    untilDone([&] { (void)store.toString(std::nullopt, std::nullopt); });

    for (int writer = 0; writer < kWriters; ++writer) threads[writer].join();
    writersDone.store(true);
    for (size_t i = kWriters; i < threads.size(); ++i) threads[i].join();

    // Whatever the interleaving, each user kept its newest entry.
    for (unsigned int user = 1; user < kWriters; ++user)
        EXPECT_TRUE(store.find(at(kLastNanos), user).has_value());
    store.cleanup(std::chrono::steady_clock::time_point::max(), 1);
    EXPECT_EQ(store.size(), size_t(kWriters) + 1);  // one per user plus the user-less group
}

TEST(HistoryStoreStress, ManagerCreatesWhileCleaningAndDumping) {
    HistoryStoreManager manager;
    std::atomic<bool> done{false};
    std::thread creator([&] {
        for (int i = 0; i < 200; ++i)
            manager.createHistoryStore<unsigned int>("user", 1)->insert(at(i), unsigned(i));
        done.store(true);
    });
    while (!done.load()) {
        manager.cleanup(1, at(0));
        (void)manager.dump();
    }
    creator.join();
    EXPECT_EQ(manager.registry().size(), 200u);
}

}  // namespace
