#include "HistoryTestSupport.h"

#include <telemetry/historystore/HistoryStoreManager.h>

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace {

using historytest::at;
using Tamar::OS::Telemetry::HistoryStoreManager;
using namespace std::chrono_literals;

constexpr int64_t kSecond = 1000000000;

// Each registered store as "name/keep/size", in registry order.
std::vector<std::string> registered(const HistoryStoreManager& manager) {
    std::vector<std::string> rows;
    for (const auto& [store, keep] : manager.registry()) {
        rows.push_back(store->name() + "/" + std::to_string(keep) + "/" +
                       std::to_string(store->size()));
    }
    return rows;
}

TEST(HistoryStoreManager, RegistryKeepsCreationOrderKeepAndSharedStores) {
    HistoryStoreManager manager;
    manager.createHistoryStore<bool>(HistoryStoreManager::ACCOUNT_CHECKPOINTED, 1);
    auto currentUser =
            manager.createHistoryStore<unsigned int>(HistoryStoreManager::CURRENT_USER, 1);
    auto managed = manager.createHistoryStore<int>(HistoryStoreManager::MANAGED_MODE, 3);
    auto duplicate = manager.createHistoryStore<int>(HistoryStoreManager::MANAGED_MODE, 0);
    manager.createHistoryStore<bool>("", 2)->insert(at(1), true);  // outlives the caller's handle

    // The registry holds the very objects the callers got.
    currentUser->insert(at(5), 10u);
    managed->insert(at(5), -1);
    EXPECT_NE(managed, duplicate);
    EXPECT_EQ(registered(manager),
              (std::vector<std::string>{"Account Checkpointed/1/0", "Current User/1/1",
                                        "Managed Mode/3/1", "Managed Mode/0/0", "/2/1"}));
}

TEST(HistoryStoreManager, DumpJoinsEveryStoreInRegistryOrder) {
    HistoryStoreManager manager;
    EXPECT_EQ(manager.dump(), "");

    manager.createHistoryStore<bool>(HistoryStoreManager::LOCAL_ACCOUNT_MODE, 1);
    auto second = manager.createHistoryStore<int>(HistoryStoreManager::MANAGED_MODE, 1);
    second->insert(at(1 * kSecond), 2);
    second->insert(at(5 * kSecond), 3);

    const auto stores = manager.registry();
    EXPECT_EQ(manager.dump(), stores[0].first->toString(std::nullopt, std::nullopt) +
                                      stores[1].first->toString(std::nullopt, std::nullopt));
    EXPECT_EQ(manager.dump(at(2 * kSecond), std::nullopt),
              "Local Account Mode\nEMPTY\n" +
                      stores[1].first->toString(at(2 * kSecond), std::nullopt));
    EXPECT_EQ(manager.dump(std::nullopt, at(0)),
              "Local Account Mode\nEMPTY\nManaged Mode\nEMPTY\n");
}

TEST(HistoryStoreManager, CleanupUsesTimeoutAndEachStoresKeep) {
    HistoryStoreManager manager;
    auto keepOne = manager.createHistoryStore<int>("one", 1);
    auto keepTwo = manager.createHistoryStore<int>("two", 2);
    for (int second : {1, 2, 3, 6}) {
        keepOne->insert(at(second * kSecond), second);
        keepTwo->insert(at(second * kSecond), second);
    }

    manager.cleanup(5, at(10 * kSecond));  // cutoff at 5 s
    EXPECT_EQ(registered(manager), (std::vector<std::string>{"one/1/1", "two/2/2"}));
    EXPECT_EQ(keepOne->find(at(6 * kSecond), std::nullopt), 6);
    EXPECT_EQ(keepTwo->find(at(5 * kSecond), std::nullopt), 3);
    EXPECT_EQ(keepTwo->find(at(3 * kSecond - 1), std::nullopt), std::nullopt);
}

TEST(HistoryStoreManager, CleanupMeasuresTheTimeoutFromTheSteadyClock) {
    HistoryStoreManager manager;
    auto store = manager.createHistoryStore<int>("s", 1);
    const auto now = std::chrono::steady_clock::now();
    store->insert(now - 2h, 1);
    store->insert(now - 1h, 2);
    store->insert(now - 10min, 3);
    store->insert(now, 4);

    manager.cleanup(1800);
    EXPECT_EQ(registered(manager), std::vector<std::string>{"s/1/2"});
    EXPECT_EQ(store->find(now - 10min, std::nullopt), 3);
    EXPECT_EQ(store->find(now - 11min, std::nullopt), std::nullopt);
}

}  // namespace
