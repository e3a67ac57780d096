#include "ManagerTestSupport.h"

#include <gmock/gmock.h>

namespace settingsmanagertest {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

// Before PreferencesService runs, every reading only initialises the gates and probes for it;
// the first reading after it synchronises once, and later readings ask nobody.
TEST_F(ManagerTest, FirstReadingAfterPreferencesServiceRunsSynchronisesOnce) {
    manager->preferencesServiceRunning = false;
    settings->putString("telemetry_state", "on");
    settings->putString("device_ent_id", "ent");
    settings->putString("kestrel_device_id", "kestrel");
    settings->putInt("managed_device", 4);
    settings->put("local_account_mode_enabled_v1", true);
    settings->put("vela_account_checkpointed", true);
    settings->putInt("current_user", 7);
    settings->put("first_time_nux_complete", false);
    cache->put("loglevel", "5");
    cache->put("logcatlevel", "verbose");
    for (bool gate : {false, true}) {
        manager->historyGate = gate;
        expectDefaults(*manager);
        EXPECT_EQ(manager->getKestrelDeviceId(), std::nullopt);
    }
    EXPECT_THAT(settings->calls(), IsEmpty());
    EXPECT_THAT(cache->calls(), IsEmpty());

    manager->preferencesServiceRunning = true;
    manager->historyGate = false;
    EXPECT_EQ(manager->getKestrelDeviceId(), "kestrel");
    EXPECT_THAT(settings->keysOf("addListener"),
                UnorderedElementsAre("telemetry_state", "managed_device",
                                     "local_account_mode_enabled_v1", "vela_account_checkpointed",
                                     "current_user", "first_time_nux_complete"));
    for (auto& [key, listener] : settings->listeners()) {
        EXPECT_EQ(listener, static_cast<FakeSettingsService::Listener*>(manager.get())) << key;
    }
    EXPECT_THAT(historySizes(), ElementsAre(1, 1, 1, 1));

    settings->clearCalls();
    cache->clearCalls();
    const auto t = now();
    EXPECT_TRUE(manager->isTelemetryEnabled());
    EXPECT_EQ(manager->getTelemetryDeviceId(), "ent");
    EXPECT_EQ(manager->getTelemetryManagedMode(t, 3u), 4);
    EXPECT_TRUE(manager->getTelemetryLocalAccountModeEnabled(t, std::nullopt));
    EXPECT_EQ(manager->getTelemetryLogLevel(), 5);
    EXPECT_TRUE(manager->isVerboseEnabled());
    EXPECT_TRUE(manager->getAccountCheckpointed(t));
    EXPECT_EQ(manager->getCurrentUser(t), 7u);
    EXPECT_FALSE(manager->getIsNuxCompleted());
    EXPECT_THAT(settings->calls(), IsEmpty());
    EXPECT_THAT(cache->calls(), IsEmpty());
}

TEST_F(ManagerTest, TelemetryIsEnabledOnlyByTheExactLowerCaseOn) {
    const std::pair<std::optional<FakeSettingsService::Value>, bool> cases[] = {
            {"on", true}, {"ON", false},  {"On", false},         {"off", false},
            {"", false},  {"on ", false}, {std::nullopt, false}, {int32_t{1}, false}};
    syncAndClear();
    for (size_t i = 0; i < std::size(cases); ++i) {
        settings->change("telemetry_state", cases[i].first);
        EXPECT_EQ(manager->isTelemetryEnabled(), cases[i].second) << "case " << i;
    }
}

// A notification reads only its own key, also before the first synchronisation (which then
// registers nothing), and refreshes both the value and its history.
TEST_F(ManagerTest, ChangeNotificationsReadOnlyTheirKeyAndRefreshValueAndHistory) {
    settings->putInt("current_user", 3);
    manager->onSettingChange("current_user");
    EXPECT_THAT(historySizes(), ElementsAre(0, 1, 0, 0));
    EXPECT_THAT(settings->listeners(), IsEmpty());

    syncAndClear();
    settings->change("telemetry_state", "on");
    EXPECT_TRUE(manager->isTelemetryEnabled());
    settings->change("managed_device", 2);
    EXPECT_EQ(manager->getTelemetryManagedMode(now(), std::nullopt), 2);
    settings->change("local_account_mode_enabled_v1", true);
    EXPECT_TRUE(manager->getTelemetryLocalAccountModeEnabled(now(), std::nullopt));
    settings->change("vela_account_checkpointed", true);
    EXPECT_TRUE(manager->getAccountCheckpointed(now()));
    settings->change("current_user", 10);
    EXPECT_EQ(manager->getCurrentUser(now()), 10u);
    settings->change("first_time_nux_complete", false);
    EXPECT_FALSE(manager->getIsNuxCompleted());
    EXPECT_THAT(historySizes(), ElementsAre(2, 3, 2, 2));

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

TEST_F(ManagerTest, DestroyingAManagerRemovesItsSixListenersOnlyAfterSynchronisation) {
    manager->preferencesServiceRunning = false;
    EXPECT_FALSE(manager->syncSettings());
    manager.reset();
    EXPECT_THAT(settings->keysOf("removeListener"), IsEmpty());

    manager = makeManager();
    syncAndClear();
    TestableManager other(settings, cache);
    settings->addListener("current_user", &other);  // someone else's listener stays
    manager.reset();
    EXPECT_THAT(settings->keysOf("removeListener"),
                UnorderedElementsAre("telemetry_state", "managed_device",
                                     "local_account_mode_enabled_v1", "vela_account_checkpointed",
                                     "current_user", "first_time_nux_complete"));
    auto remaining = settings->listeners();
    ASSERT_EQ(remaining.size(), 1u);
    EXPECT_EQ(remaining[0].second, &other);
}

// The four time-indexed getters at `t`; managed mode also for a user that has no value of its
// own, so that the user-less one applies.
void expectState(ITelemetrySettingsManager& manager, std::chrono::steady_clock::time_point t,
                 int mode, bool local, bool checkpointed, unsigned user) {
    EXPECT_EQ(manager.getTelemetryManagedMode(t, std::nullopt), mode);
    EXPECT_EQ(manager.getTelemetryManagedMode(t, 5u), mode);
    EXPECT_EQ(manager.getTelemetryLocalAccountModeEnabled(t, 5u), local);
    EXPECT_EQ(manager.getAccountCheckpointed(t), checkpointed);
    EXPECT_EQ(manager.getCurrentUser(t), user);
}

// With the history gate on, a getter answers the value in force at the time asked; with it off
// (asked on every call), the latest. A new history manager gets fresh stores that only
// notifications fill.
TEST_F(ManagerTest, TimeIndexedGettersFollowTheHistoryGate) {
    const auto changeState = [this](int mode, bool local, bool checkpointed, int user) {
        settings->change("managed_device", mode);
        settings->change("local_account_mode_enabled_v1", local);
        settings->change("vela_account_checkpointed", checkpointed);
        settings->change("current_user", user);
    };
    const auto before = now();
    changeState(1, true, true, 10);
    ASSERT_TRUE(manager->syncSettings());
    // Strictly after the first entries and strictly before the next ones.
    const auto strictlyAfter = [](std::chrono::steady_clock::time_point t) {
        auto reading = now();
        while (reading <= t) reading = now();
        return reading;
    };
    const auto between = strictlyAfter(now());
    strictlyAfter(between);
    changeState(2, false, false, 11);

    for (auto t : {before, between, now()}) expectState(*manager, t, 2, false, false, 11);
    manager->historyGate = true;
    expectState(*manager, before, -1, false, false, 0);  // earlier than anything recorded
    expectState(*manager, between, 1, true, true, 10);
    expectState(*manager, now(), 2, false, false, 11);

    histories = std::make_shared<HistoryStoreManager>();
    manager->setHistoryStoreManager(histories);
    EXPECT_THAT(historySizes(), ElementsAre(0, 0, 0, 0));
    expectState(*manager, now(), -1, false, false, 0);
    settings->change("current_user", 4);
    EXPECT_EQ(manager->getCurrentUser(now()), 4u);
}

}  // namespace
}  // namespace settingsmanagertest
