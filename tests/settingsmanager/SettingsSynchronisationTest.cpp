#include "ManagerTestSupport.h"

#include <gmock/gmock.h>

#include <chrono>

namespace settingsmanagertest {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

const std::vector<std::string> kListenedKeys = {
        "telemetry_state",           "managed_device", "local_account_mode_enabled_v1",
        "vela_account_checkpointed", "current_user",   "first_time_nux_complete"};

auto now() {
    return std::chrono::steady_clock::now();
}

TEST_F(ManagerTest, FirstSynchronisationReadsEverySettingInOrderAndRegistersListeners) {
    ASSERT_TRUE(manager->syncSettings());

    EXPECT_THAT(
            settings->calls(),
            ElementsAre("initializeGKs", "isServiceRunning PreferencesService",
                        "get telemetry_state", "get device_ent_id", "get kestrel_device_id",
                        "kv.get telemetry_kestrel_device_id", "kv.set telemetry_kestrel_device_id",
                        "setString kestrel_device_id", "getInt managed_device",
                        "getBool local_account_mode_enabled_v1", "kv.get loglevel",
                        "kv.get logcatlevel", "getBool vela_account_checkpointed",
                        "getInt current_user", "getBool first_time_nux_complete",
                        "addListener telemetry_state", "addListener managed_device",
                        "addListener local_account_mode_enabled_v1",
                        "addListener vela_account_checkpointed", "addListener current_user",
                        "addListener first_time_nux_complete"));
    for (auto& [key, listener] : settings->listeners()) {
        EXPECT_EQ(listener, static_cast<BASALT::Settings::v3::ISettingsListener*>(manager.get()))
                << key;
    }
    // One entry in each account-state history.
    for (const char* name :
         {"Account Checkpointed", "Current User", "Local Account Mode", "Managed Mode"}) {
        EXPECT_EQ(historySize(name), 1u) << name;
    }
}

TEST_F(ManagerTest, LaterSynchronisationsOnlyInitialiseGates) {
    syncAndClear();
    EXPECT_TRUE(manager->syncSettings());
    (void)manager->isTelemetryEnabled();
    EXPECT_THAT(settings->calls(), ElementsAre("initializeGKs", "initializeGKs"));
    EXPECT_THAT(cache->calls(), IsEmpty());
}

TEST_F(ManagerTest, WithoutPreferencesServiceEveryReaderAnswersItsDefaultAndAsksNothing) {
    manager->preferencesServiceRunning = false;
    settings->putString("telemetry_state", "on");
    settings->putString("device_ent_id", "ent");
    settings->putString("kestrel_device_id", "kestrel");
    settings->putInt("managed_device", 4);
    settings->putBool("local_account_mode_enabled_v1", true);
    settings->putBool("vela_account_checkpointed", true);
    settings->putInt("current_user", 7);
    settings->putBool("first_time_nux_complete", false);
    cache->put(Store::Shared, kStoreName, "loglevel", "5");
    cache->put(Store::Shared, kStoreName, "logcatlevel", "verbose");
    const auto t = now();

    for (bool gate : {false, true}) {
        manager->historyGate = gate;
        EXPECT_FALSE(manager->isTelemetryEnabled());
        EXPECT_EQ(manager->getTelemetryDeviceId(), std::nullopt);
        EXPECT_EQ(manager->getKestrelDeviceId(), std::nullopt);
        EXPECT_EQ(manager->getTelemetryManagedMode(t, 3u), -1);
        EXPECT_FALSE(manager->getTelemetryLocalAccountModeEnabled(t, std::nullopt));
        EXPECT_EQ(manager->getTelemetryLogLevel(), 0);
        EXPECT_FALSE(manager->isVerboseEnabled());
        EXPECT_FALSE(manager->getAccountCheckpointed(t));
        EXPECT_EQ(manager->getCurrentUser(t), 0u);
        EXPECT_TRUE(manager->getIsNuxCompleted());
    }
    EXPECT_THAT(settings->keysOf("get"), IsEmpty());
    EXPECT_THAT(settings->keysOf("getInt"), IsEmpty());
    EXPECT_THAT(settings->keysOf("getBool"), IsEmpty());
    EXPECT_THAT(settings->listeners(), IsEmpty());
    EXPECT_THAT(cache->calls(), IsEmpty());
    // Each of the 20 readings went through the gates and the service probe.
    EXPECT_EQ(manager->initializeGKsCalls, 20);
    EXPECT_EQ(settings->keysOf("isServiceRunning").size(), 20u);

    // Once the service is registered, the next reading synchronises.
    manager->preferencesServiceRunning = true;
    EXPECT_TRUE(manager->isTelemetryEnabled());
    EXPECT_EQ(settings->listeners().size(), 6u);
}

TEST_F(ManagerTest, SynchronisedReadersAnswerTheSettingsServiceValues) {
    settings->putString("telemetry_state", "on");
    settings->putString("device_ent_id", "ent");
    settings->putString("kestrel_device_id", "kestrel");
    settings->putInt("managed_device", 4);
    settings->putBool("local_account_mode_enabled_v1", true);
    settings->putBool("vela_account_checkpointed", true);
    settings->putInt("current_user", 7);
    settings->putBool("first_time_nux_complete", false);
    cache->put(Store::Shared, kStoreName, "loglevel", "5");
    cache->put(Store::Shared, kStoreName, "logcatlevel", "verbose");
    const auto t = now();

    EXPECT_TRUE(manager->isTelemetryEnabled());
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

TEST_F(ManagerTest, MissingSettingsTakeTheirDefaults) {
    ASSERT_TRUE(manager->syncSettings());
    const auto t = now();
    EXPECT_FALSE(manager->isTelemetryEnabled());
    EXPECT_EQ(manager->getTelemetryDeviceId(), std::nullopt);
    EXPECT_EQ(manager->getTelemetryManagedMode(t, std::nullopt), -1);
    EXPECT_FALSE(manager->getTelemetryLocalAccountModeEnabled(t, std::nullopt));
    EXPECT_FALSE(manager->getAccountCheckpointed(t));
    EXPECT_EQ(manager->getCurrentUser(t), 0u);
    EXPECT_TRUE(manager->getIsNuxCompleted());
    EXPECT_EQ(manager->getTelemetryLogLevel(), 0);
    EXPECT_FALSE(manager->isVerboseEnabled());
}

TEST_F(ManagerTest, TelemetryIsEnabledOnlyByTheExactLowerCaseOn) {
    struct Case {
        std::optional<FakeSettingsService::Value> state;
        bool enabled;
    };
    const Case cases[] = {{std::string("on"), true},  {std::string("ON"), false},
                          {std::string("On"), false}, {std::string("off"), false},
                          {std::string(""), false},   {std::string("on "), false},
                          {std::nullopt, false},      {int32_t{1}, false}};
    syncAndClear();
    for (const auto& c : cases) {
        if (c.state) {
            settings->change("telemetry_state", *c.state);
        } else {
            settings->remove("telemetry_state");
            settings->fireChange("telemetry_state");
        }
        EXPECT_EQ(manager->isTelemetryEnabled(), c.enabled)
                << (c.state && std::holds_alternative<std::string>(*c.state)
                            ? std::get<std::string>(*c.state)
                            : "<none or not a string>");
    }
}

TEST_F(ManagerTest, ChangeNotificationsRefreshTheirValueAndHistory) {
    manager->historyGate = false;
    syncAndClear();

    settings->change("telemetry_state", std::string("on"));
    EXPECT_TRUE(manager->isTelemetryEnabled());

    settings->change("managed_device", int32_t{2});
    EXPECT_EQ(manager->getTelemetryManagedMode(now(), std::nullopt), 2);
    EXPECT_EQ(historySize("Managed Mode"), 2u);

    settings->change("local_account_mode_enabled_v1", true);
    EXPECT_TRUE(manager->getTelemetryLocalAccountModeEnabled(now(), std::nullopt));
    EXPECT_EQ(historySize("Local Account Mode"), 2u);

    settings->change("vela_account_checkpointed", true);
    EXPECT_TRUE(manager->getAccountCheckpointed(now()));
    EXPECT_EQ(historySize("Account Checkpointed"), 2u);

    settings->change("current_user", int32_t{10});
    EXPECT_EQ(manager->getCurrentUser(now()), 10u);
    EXPECT_EQ(historySize("Current User"), 2u);

    settings->change("first_time_nux_complete", false);
    EXPECT_FALSE(manager->getIsNuxCompleted());

    // Each notification read exactly its own key.
    EXPECT_THAT(settings->keysOf("get"), ElementsAre("telemetry_state"));
    EXPECT_THAT(settings->keysOf("getInt"), ElementsAre("managed_device", "current_user"));
    EXPECT_THAT(settings->keysOf("getBool"),
                ElementsAre("local_account_mode_enabled_v1", "vela_account_checkpointed",
                            "first_time_nux_complete"));
}

TEST_F(ManagerTest, IdentifierKeysAreAppliedWhenForwardedAndAreWriteOnce) {
    syncAndClear();  // neither identifier was in the settings service
    ASSERT_EQ(manager->getTelemetryDeviceId(), std::nullopt);
    const auto generated = manager->getKestrelDeviceId();
    ASSERT_TRUE(generated.has_value());

    settings->putString("device_ent_id", "X");
    manager->onSettingChange("device_ent_id");
    EXPECT_EQ(manager->getTelemetryDeviceId(), "X");

    settings->putString("device_ent_id", "Y");
    settings->putString("kestrel_device_id", "other");
    manager->onSettingChange("device_ent_id");
    manager->onSettingChange("kestrel_device_id");
    EXPECT_EQ(manager->getTelemetryDeviceId(), "X");
    EXPECT_EQ(manager->getKestrelDeviceId(), generated);
}

TEST_F(ManagerTest, UnknownChangeKeysAreIgnored) {
    syncAndClear();
    manager->onSettingChange("unrelated_key");
    manager->onSettingChange("");
    manager->onSettingChange("telemetry_state_extra");
    EXPECT_THAT(settings->calls(), IsEmpty());
    EXPECT_THAT(cache->calls(), IsEmpty());
}

TEST_F(ManagerTest, ChangeNotificationsBeforeSynchronisationAreApplied) {
    settings->putInt("current_user", 3);
    manager->onSettingChange("current_user");
    EXPECT_EQ(historySize("Current User"), 1u);
    EXPECT_THAT(settings->listeners(), IsEmpty());
}

TEST_F(ManagerTest, StringValuesMustBeNonEmptyStrings) {
    settings->putString("a", "text");
    settings->putString("empty", "");
    settings->putInt("number", 5);
    settings->putBool("flag", true);
    EXPECT_EQ(manager->getStringFromSettingsManager("a"), "text");
    EXPECT_EQ(manager->getStringFromSettingsManager("empty"), std::nullopt);
    EXPECT_EQ(manager->getStringFromSettingsManager("number"), std::nullopt);
    EXPECT_EQ(manager->getStringFromSettingsManager("flag"), std::nullopt);
    EXPECT_EQ(manager->getStringFromSettingsManager("absent"), std::nullopt);
}

TEST_F(ManagerTest, DestroyingAnUnsynchronisedManagerCallsNothing) {
    manager->preferencesServiceRunning = false;
    EXPECT_FALSE(manager->syncSettings());
    manager.reset();
    EXPECT_THAT(settings->keysOf("removeListener"), IsEmpty());
    EXPECT_THAT(settings->keysOf("get"), IsEmpty());
}

TEST_F(ManagerTest, DestroyingASynchronisedManagerRemovesTheSixListenersInOrder) {
    syncAndClear();
    const auto* listener = static_cast<BASALT::Settings::v3::ISettingsListener*>(manager.get());
    // A listener of someone else stays registered.
    TestableManager other(settings, cache, *settings);
    settings->addListener("current_user", &other);
    settings->clearCalls();

    manager.reset();
    EXPECT_THAT(settings->calls(), ElementsAreArray([] {
                    std::vector<std::string> removals;
                    for (auto& key : kListenedKeys) removals.push_back("removeListener " + key);
                    return removals;
                }()));
    auto remaining = settings->listeners();
    ASSERT_EQ(remaining.size(), 1u);
    EXPECT_NE(remaining[0].second, listener);
}

// An injected null settings object is replaced through the module loader on each attempt;
// with no module in this process, synchronisation keeps failing without touching anything.
TEST(ManagerWithoutSettingsObject, AsksTheLoaderOnEveryAttemptAndAnswersDefaults) {
    FakeSettingsService log;
    auto cache = std::make_shared<FakeStorageCache>();
    TestableManager manager(nullptr, cache, log);
    auto histories = std::make_shared<HistoryStoreManager>();
    manager.setHistoryStoreManager(histories);
    const auto t = now();

    EXPECT_FALSE(manager.syncSettings());
    EXPECT_FALSE(manager.isTelemetryEnabled());
    EXPECT_EQ(manager.getKestrelDeviceId(), std::nullopt);
    EXPECT_EQ(manager.getTelemetryManagedMode(t, std::nullopt), -1);
    EXPECT_TRUE(manager.getIsNuxCompleted());
    EXPECT_EQ(log.keysOf("isServiceRunning").size(), 5u);
    EXPECT_THAT(cache->calls(), IsEmpty());
    for (auto& [store, keep] : histories->registry()) EXPECT_EQ(store->size(), 0u);
}

}  // namespace
}  // namespace settingsmanagertest
