#include "ManagerTestSupport.h"

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

namespace settingsmanagertest {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(ManagerTest, FirstSynchronisationRegistersListenersAndLaterOnesReadNothing) {
    ASSERT_TRUE(manager->syncSettings());

    EXPECT_THAT(settings->keysOf("addListener"),
                ::testing::UnorderedElementsAre(
                        "telemetry_state", "managed_device", "local_account_mode_enabled_v1",
                        "vela_account_checkpointed", "current_user", "first_time_nux_complete"));
    for (auto& [key, listener] : settings->listeners()) {
        EXPECT_EQ(listener, static_cast<BASALT::Settings::v3::ISettingsListener*>(manager.get()))
                << key;
    }
    EXPECT_THAT(historySizes(), ElementsAre(1, 1, 1, 1));

    // Nothing was set: the defaults. Later synchronisations only initialise the gates.
    settings->clearCalls();
    cache->clearCalls();
    expectDefaults(*manager);
    EXPECT_EQ(settings->calls(), std::vector<std::string>(9, "initializeGKs"));
    EXPECT_THAT(cache->calls(), IsEmpty());
}

TEST_F(ManagerTest, ReadersAnswerDefaultsUntilPreferencesServiceRunsThenTheServiceValues) {
    manager->preferencesServiceRunning = false;
    settings->putString("telemetry_state", "on");
    settings->putString("device_ent_id", "ent");
    settings->putString("kestrel_device_id", "kestrel");
    settings->putInt("managed_device", 4);
    settings->putBool("local_account_mode_enabled_v1", true);
    settings->putBool("vela_account_checkpointed", true);
    settings->putInt("current_user", 7);
    settings->putBool("first_time_nux_complete", false);
    store("loglevel", "5");
    store("logcatlevel", "verbose");

    for (bool gate : {false, true}) {
        manager->historyGate = gate;
        expectDefaults(*manager);
        EXPECT_EQ(manager->getKestrelDeviceId(), std::nullopt);
    }
    // Each of the 20 readings went through the gates and the service probe, and nothing else.
    EXPECT_EQ(manager->initializeGKsCalls, 20);
    EXPECT_EQ(settings->keysOf("isServiceRunning").size(), 20u);
    EXPECT_EQ(settings->calls().size(), 40u);
    EXPECT_THAT(settings->listeners(), IsEmpty());
    EXPECT_THAT(cache->calls(), IsEmpty());

    // Once the service is registered, the next reading synchronises.
    manager->preferencesServiceRunning = true;
    manager->historyGate = false;
    const auto t = now();
    EXPECT_TRUE(manager->isTelemetryEnabled());
    EXPECT_EQ(settings->listeners().size(), 6u);
    EXPECT_EQ(manager->getTelemetryDeviceId(), "ent");
    EXPECT_EQ(manager->getKestrelDeviceId(), "kestrel");
    EXPECT_EQ(manager->getTelemetryManagedMode(t, 3u), 4);
    EXPECT_TRUE(manager->getTelemetryLocalAccountModeEnabled(t, std::nullopt));
    EXPECT_EQ(manager->getTelemetryLogLevel(), 5);
    EXPECT_TRUE(manager->isVerboseEnabled());
    EXPECT_TRUE(manager->getAccountCheckpointed(t));
    EXPECT_EQ(manager->getCurrentUser(t), 7u);
    EXPECT_FALSE(manager->getIsNuxCompleted());
}

TEST_F(ManagerTest, TelemetryIsEnabledOnlyByTheExactLowerCaseOn) {
    const std::pair<std::optional<FakeSettingsService::Value>, bool> cases[] = {
            {std::string("on"), true},   {std::string("ON"), false}, {std::string("On"), false},
            {std::string("off"), false}, {std::string(""), false},   {std::string("on "), false},
            {std::nullopt, false},       {int32_t{1}, false}};
    syncAndClear();
    for (size_t i = 0; i < std::size(cases); ++i) {
        if (cases[i].first) {
            settings->change("telemetry_state", *cases[i].first);
        } else {
            settings->remove("telemetry_state");
            settings->fireChange("telemetry_state");
        }
        EXPECT_EQ(manager->isTelemetryEnabled(), cases[i].second) << "case " << i;
    }
}

TEST_F(ManagerTest, ChangeNotificationsReadOnlyTheirKeyAndRefreshValueAndHistory) {
    syncAndClear();
    manager->logProbes = false;

    settings->change("telemetry_state", std::string("on"));
    EXPECT_TRUE(manager->isTelemetryEnabled());
    settings->change("managed_device", int32_t{2});
    EXPECT_EQ(manager->getTelemetryManagedMode(now(), std::nullopt), 2);
    settings->change("local_account_mode_enabled_v1", true);
    EXPECT_TRUE(manager->getTelemetryLocalAccountModeEnabled(now(), std::nullopt));
    settings->change("vela_account_checkpointed", true);
    EXPECT_TRUE(manager->getAccountCheckpointed(now()));
    settings->change("current_user", int32_t{10});
    EXPECT_EQ(manager->getCurrentUser(now()), 10u);
    settings->change("first_time_nux_complete", false);
    EXPECT_FALSE(manager->getIsNuxCompleted());
    EXPECT_THAT(historySizes(), ElementsAre(2, 2, 2, 2));

    for (const char* unknown : {"unrelated_key", "", "telemetry_state_extra"}) {
        manager->onSettingChange(unknown);
    }
    EXPECT_THAT(settings->calls(),
                ElementsAre("get telemetry_state", "getInt managed_device",
                            "getBool local_account_mode_enabled_v1",
                            "getBool vela_account_checkpointed", "getInt current_user",
                            "getBool first_time_nux_complete"));
    EXPECT_THAT(cache->calls(), IsEmpty());
}

TEST_F(ManagerTest, ChangeNotificationsBeforeSynchronisationAreApplied) {
    settings->putInt("current_user", 3);
    manager->onSettingChange("current_user");
    EXPECT_THAT(historySizes(), ElementsAre(0, 1, 0, 0));
    EXPECT_THAT(settings->listeners(), IsEmpty());
}

TEST_F(ManagerTest, StringValuesMustBeNonEmptyStrings) {
    settings->putString("a", "text");
    settings->putString("empty", "");
    settings->putInt("number", 5);
    settings->putBool("flag", true);
    EXPECT_EQ(manager->getStringFromSettingsManager("a"), "text");
    for (const char* key : {"empty", "number", "flag", "absent"}) {
        EXPECT_EQ(manager->getStringFromSettingsManager(key), std::nullopt) << key;
    }
}

TEST_F(ManagerTest, DestroyingAManagerRemovesItsSixListenersOnlyAfterSynchronisation) {
    manager->preferencesServiceRunning = false;
    EXPECT_FALSE(manager->syncSettings());
    manager.reset();
    EXPECT_THAT(settings->keysOf("removeListener"), IsEmpty());

    manager = makeManager();
    syncAndClear();
    // A listener of someone else stays registered.
    TestableManager other(settings, cache, *settings);
    settings->addListener("current_user", &other);
    settings->clearCalls();

    manager.reset();
    EXPECT_THAT(settings->keysOf("removeListener"),
                ::testing::UnorderedElementsAre(
                        "telemetry_state", "managed_device", "local_account_mode_enabled_v1",
                        "vela_account_checkpointed", "current_user", "first_time_nux_complete"));
    auto remaining = settings->listeners();
    ASSERT_EQ(remaining.size(), 1u);
    EXPECT_EQ(remaining[0].second, &other);
}

// An injected null settings object is replaced through the module loader on each attempt;
// with no module in this process, synchronisation keeps failing without touching anything.
TEST(ManagerWithoutSettingsObject, AsksTheLoaderOnEveryAttemptAndAnswersDefaults) {
    FakeSettingsService log;
    auto cache = std::make_shared<FakeStorageCache>();
    TestableManager manager(nullptr, cache, log);
    auto histories = std::make_shared<HistoryStoreManager>();
    manager.setHistoryStoreManager(histories);

    EXPECT_FALSE(manager.syncSettings());
    expectDefaults(manager);
    EXPECT_EQ(manager.getKestrelDeviceId(), std::nullopt);
    EXPECT_EQ(log.keysOf("isServiceRunning").size(), 11u);
    EXPECT_THAT(cache->calls(), IsEmpty());
    for (auto& [store, keep] : histories->registry()) EXPECT_EQ(store->size(), 0u);
}

class TimeIndexedGettersTest : public ManagerTest {
protected:
    // Waits for the steady clock to pass `t` and returns its reading.
    static std::chrono::steady_clock::time_point strictlyAfter(
            std::chrono::steady_clock::time_point t) {
        auto reading = now();
        while (reading <= t) reading = now();
        return reading;
    }
    // The four time-indexed getters at `t`; managed mode for a user that has no value of its
    // own, so that the user-less one applies.
    void expectState(std::chrono::steady_clock::time_point t, int mode, bool local,
                     bool checkpointed, unsigned user) {
        EXPECT_EQ(manager->getTelemetryManagedMode(t, std::nullopt), mode);
        EXPECT_EQ(manager->getTelemetryManagedMode(t, 5u), mode);
        EXPECT_EQ(manager->getTelemetryLocalAccountModeEnabled(t, 5u), local);
        EXPECT_EQ(manager->getAccountCheckpointed(t), checkpointed);
        EXPECT_EQ(manager->getCurrentUser(t), user);
    }
    void putState(int mode, bool local, bool checkpointed, int user) {
        settings->putInt("managed_device", mode);
        settings->putBool("local_account_mode_enabled_v1", local);
        settings->putBool("vela_account_checkpointed", checkpointed);
        settings->putInt("current_user", user);
    }
};

TEST_F(TimeIndexedGettersTest, GateOnAnswersTheValueInForceAtTheTimeGateOffTheLatest) {
    const auto before = now();
    putState(1, true, true, 10);
    ASSERT_TRUE(manager->syncSettings());
    // Strictly after the first entries and strictly before the next ones.
    const auto between = strictlyAfter(now());
    strictlyAfter(between);
    putState(2, false, false, 11);
    for (const char* key : {"managed_device", "local_account_mode_enabled_v1",
                            "vela_account_checkpointed", "current_user"}) {
        settings->fireChange(key);
    }

    for (auto t : {before, between, now()}) expectState(t, 2, false, false, 11);
    // The gate is asked on every call.
    manager->historyGate = true;
    expectState(before, -1, false, false, 0);  // earlier than anything recorded
    expectState(between, 1, true, true, 10);
    expectState(now(), 2, false, false, 11);
}

TEST_F(TimeIndexedGettersTest, EachHistoryManagerGetsFourFreshStoresThatNotificationsFill) {
    putState(3, true, true, 4);
    ASSERT_TRUE(manager->syncSettings());
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

    manager->historyGate = true;
    expectState(now(), -1, false, false, 0);
    settings->fireChange("current_user");
    EXPECT_EQ(manager->getCurrentUser(now()), 4u);
}

}  // namespace
}  // namespace settingsmanagertest
