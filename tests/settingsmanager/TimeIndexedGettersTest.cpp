#include "ManagerTestSupport.h"

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

namespace settingsmanagertest {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

auto now() {
    return std::chrono::steady_clock::now();
}

class TimeIndexedGettersTest : public ManagerTest {
protected:
    // Synchronises with one set of values, then changes each of them; returns a time point
    // between the two.
    std::chrono::steady_clock::time_point recordTwoStates() {
        settings->putInt("managed_device", 1);
        settings->putBool("local_account_mode_enabled_v1", true);
        settings->putBool("vela_account_checkpointed", true);
        settings->putInt("current_user", 10);
        EXPECT_TRUE(manager->syncSettings());
        std::this_thread::sleep_for(1ms);
        const auto between = now();
        std::this_thread::sleep_for(1ms);
        settings->change("managed_device", int32_t{2});
        settings->change("local_account_mode_enabled_v1", false);
        settings->change("vela_account_checkpointed", false);
        settings->change("current_user", int32_t{11});
        return between;
    }
};

TEST_F(TimeIndexedGettersTest, GateOffAnswersTheCachedValuesWhateverTheTime) {
    const auto before = now();
    recordTwoStates();
    for (auto t : {before, now()}) {
        EXPECT_EQ(manager->getTelemetryManagedMode(t, std::nullopt), 2);
        EXPECT_EQ(manager->getTelemetryManagedMode(t, 5u), 2);
        EXPECT_FALSE(manager->getTelemetryLocalAccountModeEnabled(t, std::nullopt));
        EXPECT_FALSE(manager->getAccountCheckpointed(t));
        EXPECT_EQ(manager->getCurrentUser(t), 11u);
    }
}

TEST_F(TimeIndexedGettersTest, GateOnAnswersTheValueInForceAtTheTime) {
    const auto before = now();
    const auto between = recordTwoStates();
    manager->historyGate = true;

    EXPECT_EQ(manager->getTelemetryManagedMode(between, std::nullopt), 1);
    EXPECT_EQ(manager->getTelemetryManagedMode(between, 5u), 1);  // user-less value applies
    EXPECT_TRUE(manager->getTelemetryLocalAccountModeEnabled(between, 5u));
    EXPECT_TRUE(manager->getAccountCheckpointed(between));
    EXPECT_EQ(manager->getCurrentUser(between), 10u);

    EXPECT_EQ(manager->getTelemetryManagedMode(now(), std::nullopt), 2);
    EXPECT_FALSE(manager->getTelemetryLocalAccountModeEnabled(now(), std::nullopt));
    EXPECT_FALSE(manager->getAccountCheckpointed(now()));
    EXPECT_EQ(manager->getCurrentUser(now()), 11u);

    // Earlier than anything recorded: the no-entry defaults.
    EXPECT_EQ(manager->getTelemetryManagedMode(before, std::nullopt), -1);
    EXPECT_FALSE(manager->getTelemetryLocalAccountModeEnabled(before, std::nullopt));
    EXPECT_FALSE(manager->getAccountCheckpointed(before));
    EXPECT_EQ(manager->getCurrentUser(before), 0u);

    // The gate is asked on every call.
    manager->historyGate = false;
    EXPECT_EQ(manager->getTelemetryManagedMode(between, std::nullopt), 2);
}

TEST_F(TimeIndexedGettersTest, GateOnWithFreshStoresAnswersTheNoEntryDefaults) {
    settings->putInt("managed_device", 3);
    settings->putBool("local_account_mode_enabled_v1", true);
    settings->putBool("vela_account_checkpointed", true);
    settings->putInt("current_user", 4);
    ASSERT_TRUE(manager->syncSettings());
    manager->setHistoryStoreManager(histories);  // four new, empty stores
    manager->historyGate = true;

    const auto t = now();
    EXPECT_EQ(manager->getTelemetryManagedMode(t, std::nullopt), -1);
    EXPECT_FALSE(manager->getTelemetryLocalAccountModeEnabled(t, std::nullopt));
    EXPECT_FALSE(manager->getAccountCheckpointed(t));
    EXPECT_EQ(manager->getCurrentUser(t), 0u);

    // Change notifications fill the new stores.
    settings->change("current_user", int32_t{4});
    EXPECT_EQ(manager->getCurrentUser(now()), 4u);
}

TEST_F(TimeIndexedGettersTest, EachHistoryManagerCallRegistersFourStoresKeepingOne) {
    auto fresh = std::make_shared<HistoryStoreManager>();
    manager->setHistoryStoreManager(fresh);
    manager->setHistoryStoreManager(fresh);
    std::vector<std::string> names;
    for (auto& [store, keep] : fresh->registry()) {
        names.push_back(store->name());
        EXPECT_EQ(keep, 1u);
    }
    EXPECT_THAT(names, ElementsAre("Account Checkpointed", "Current User", "Local Account Mode",
                                   "Managed Mode", "Account Checkpointed", "Current User",
                                   "Local Account Mode", "Managed Mode"));
}

}  // namespace
}  // namespace settingsmanagertest
