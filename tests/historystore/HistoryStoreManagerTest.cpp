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

std::vector<std::string> registeredNames(const HistoryStoreManager& manager) {
    std::vector<std::string> names;
    for (const auto& [store, keep] : manager.registry()) names.push_back(store->name());
    return names;
}

std::vector<unsigned long> registeredKeeps(const HistoryStoreManager& manager) {
    std::vector<unsigned long> keeps;
    for (const auto& entry : manager.registry()) keeps.push_back(entry.second);
    return keeps;
}

TEST(HistoryStoreManager, NameConstants) {
    EXPECT_STREQ(HistoryStoreManager::ACCOUNT_CHECKPOINTED, "Account Checkpointed");
    EXPECT_STREQ(HistoryStoreManager::CURRENT_USER, "Current User");
    EXPECT_STREQ(HistoryStoreManager::LOCAL_ACCOUNT_MODE, "Local Account Mode");
    EXPECT_STREQ(HistoryStoreManager::MANAGED_MODE, "Managed Mode");
}

TEST(HistoryStoreManager, RegistryKeepsCreationOrderKeepAndSharedStores) {
    HistoryStoreManager manager;
    auto checkpointed =
            manager.createHistoryStore<bool>(HistoryStoreManager::ACCOUNT_CHECKPOINTED, 1);
    auto currentUser =
            manager.createHistoryStore<unsigned int>(HistoryStoreManager::CURRENT_USER, 1);
    auto managed = manager.createHistoryStore<int>(HistoryStoreManager::MANAGED_MODE, 3);
    auto duplicate = manager.createHistoryStore<int>(HistoryStoreManager::MANAGED_MODE, 0);
    auto unnamed = manager.createHistoryStore<bool>("", 2);

    EXPECT_EQ(registeredNames(manager),
              (std::vector<std::string>{"Account Checkpointed", "Current User", "Managed Mode",
                                        "Managed Mode", ""}));
    EXPECT_EQ(registeredKeeps(manager), (std::vector<unsigned long>{1, 1, 3, 0, 2}));
    EXPECT_NE(managed, duplicate);

    // The registry holds the very object the caller got.
    currentUser->insert(at(5), 10u);
    managed->insert(at(5), -1);
    const auto registry = manager.registry();
    EXPECT_EQ(registry[0].first->size(), 0u);
    EXPECT_EQ(registry[1].first->size(), 1u);
    EXPECT_EQ(registry[2].first->size(), 1u);
    EXPECT_EQ(registry[3].first->size(), 0u);
}

TEST(HistoryStoreManager, StoresOutliveTheCallersHandle) {
    HistoryStoreManager manager;
    {
        auto store = manager.createHistoryStore<int>("temporary", 1);
        store->insert(at(1), 42);
    }
    ASSERT_EQ(manager.registry().size(), 1u);
    EXPECT_EQ(manager.registry()[0].first->size(), 1u);
}

TEST(HistoryStoreManager, DumpJoinsEveryStoreInRegistryOrder) {
    HistoryStoreManager manager;
    EXPECT_EQ(manager.dump(), "");

    auto first = manager.createHistoryStore<bool>(HistoryStoreManager::LOCAL_ACCOUNT_MODE, 1);
    auto second = manager.createHistoryStore<int>(HistoryStoreManager::MANAGED_MODE, 1);
    second->insert(at(1000000000), 2);
    second->insert(at(5000000000), 3);

    const auto registry = manager.registry();
    EXPECT_EQ(manager.dump(), registry[0].first->toString(std::nullopt, std::nullopt) +
                                      registry[1].first->toString(std::nullopt, std::nullopt));
    EXPECT_EQ(manager.dump(at(2000000000), std::nullopt),
              "Local Account Mode\nEMPTY\n" +
                      registry[1].first->toString(at(2000000000), std::nullopt));
    EXPECT_EQ(manager.dump(std::nullopt, at(0)),
              "Local Account Mode\nEMPTY\nManaged Mode\nEMPTY\n");
}

TEST(HistoryStoreManager, CleanupUsesTimeoutAndEachStoresKeep) {
    HistoryStoreManager manager;
    auto keepOne = manager.createHistoryStore<int>("one", 1);
    auto keepTwo = manager.createHistoryStore<int>("two", 2);
    for (auto* store : {&keepOne, &keepTwo}) {
        for (int second : {1, 2, 3, 6}) (*store)->insert(at(second * 1000000000LL), second);
    }

    manager.cleanup(5, at(10000000000));  // cutoff at 5 s
    const auto registry = manager.registry();
    EXPECT_EQ(registry[0].first->size(), 1u);
    EXPECT_EQ(keepOne->find(at(6000000000), std::nullopt), 6);
    EXPECT_EQ(registry[1].first->size(), 2u);
    EXPECT_EQ(keepTwo->find(at(5000000000), std::nullopt), 3);
    EXPECT_EQ(keepTwo->find(at(2999999999), std::nullopt), std::nullopt);
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
    EXPECT_EQ(manager.registry()[0].first->size(), 2u);
    EXPECT_EQ(store->find(now - 10min, std::nullopt), 3);
    EXPECT_EQ(store->find(now - 11min, std::nullopt), std::nullopt);
}

}  // namespace
