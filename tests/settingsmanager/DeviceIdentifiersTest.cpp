#include "ManagerTestSupport.h"

#include <LogCapture.h>

#include <gmock/gmock.h>

#include <regex>
#include <set>

namespace settingsmanagertest {
namespace {

using ::testing::IsEmpty;

constexpr char kKestrelStoreKey[] = "telemetry_kestrel_device_id";

bool isLowerCaseUuid(const std::string& text) {
    static const std::regex uuid("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}");
    return std::regex_match(text, uuid);
}

// Both identifiers come from the settings service first (the store is left alone), an empty
// one counts as absent, and once known neither a notification nor a refresh replaces them.
TEST_F(ManagerTest, IdentifiersComeFromTheSettingsServiceAndAreWriteOnce) {
    settings->putString("device_ent_id", "");
    settings->putString("kestrel_device_id", "abc");
    cache->put(kKestrelStoreKey, "stored");
    ASSERT_TRUE(manager->syncSettings());
    for (auto& call : cache->calls()) EXPECT_NE(call.key, kKestrelStoreKey) << call.operation;
    cache->clearCalls();
    EXPECT_EQ(manager->getTelemetryDeviceId(), std::nullopt);
    EXPECT_EQ(manager->getKestrelDeviceId(), "abc");

    // Neither key has a listener: the settings module forwards their changes.
    settings->putString("device_ent_id", "X");
    manager->onSettingChange("device_ent_id");
    EXPECT_EQ(manager->getTelemetryDeviceId(), "X");
    settings->putString("device_ent_id", "Y");
    settings->putString("kestrel_device_id", "other");
    manager->onSettingChange("device_ent_id");
    manager->onSettingChange("kestrel_device_id");
    manager->getAndSetTelemetryDeviceId();
    manager->getAndSetKestrelDeviceId();
    EXPECT_EQ(manager->getTelemetryDeviceId(), "X");
    EXPECT_EQ(manager->getKestrelDeviceId(), "abc");
    EXPECT_THAT(cache->calls(), IsEmpty());
    EXPECT_THAT(settings->keysOf("setString"), IsEmpty());
}

TEST_F(ManagerTest, WithNoKestrelIdAnywhereANewRandomUuidIsStoredPublishedAndCached) {
    const auto id = manager->getKestrelDeviceId();
    ASSERT_TRUE(id.has_value());
    EXPECT_EQ(cache->stored(kKestrelStoreKey), id);
    EXPECT_EQ(manager->getStringFromSettingsManager("kestrel_device_id"), id);
    const std::set<std::string> ids{*id, manager->generateKestrelId(), manager->generateKestrelId()};
    for (auto& each : ids) EXPECT_TRUE(isLowerCaseUuid(each)) << each;
    EXPECT_EQ(ids.size(), 3u);  // distinct
}

// A refused write caches nothing: a refused store write is logged and the next refresh makes a
// new id; a refused publication keeps the stored id, which the next refresh publishes.
TEST_F(ManagerTest, RefusedKestrelIdWritesCacheNothingAndAreRetried) {
    testsupport::LogCapture logs;
    cache->refuseWrites(true);
    EXPECT_EQ(manager->getKestrelDeviceId(), std::nullopt);
    EXPECT_EQ(logs.count(ANDROID_LOG_ERROR, "telemetry",
                         "Failed to cache generated kestrel ID to kvstore"),
              1u);
    EXPECT_THAT(settings->keysOf("setString"), IsEmpty());
    const std::string refused = cache->calls().back().value;

    cache->refuseWrites(false);
    settings->refuseSetString(true);
    manager->getAndSetKestrelDeviceId();
    EXPECT_EQ(manager->getKestrelDeviceId(), std::nullopt);
    const auto storedId = cache->stored(kKestrelStoreKey);
    ASSERT_TRUE(storedId.has_value());
    EXPECT_NE(*storedId, refused);

    settings->refuseSetString(false);
    manager->getAndSetKestrelDeviceId();
    EXPECT_EQ(manager->getKestrelDeviceId(), storedId);
    EXPECT_EQ(manager->getStringFromSettingsManager("kestrel_device_id"), storedId);
    EXPECT_EQ(cache->countCalls("set"), 2u);  // published again, not regenerated
}

}  // namespace
}  // namespace settingsmanagertest
