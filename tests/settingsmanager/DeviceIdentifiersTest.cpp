#include "ManagerTestSupport.h"

#include <LogCapture.h>

#include <gmock/gmock.h>

#include <regex>
#include <set>

namespace settingsmanagertest {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kKestrelStoreKey[] = "telemetry_kestrel_device_id";
constexpr char kKestrelFailure[] = "Failed to cache generated kestrel ID to kvstore";

bool isLowerCaseUuid(const std::string& text) {
    static const std::regex uuid("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}");
    return std::regex_match(text, uuid);
}

TEST_F(ManagerTest, KestrelIdFromTheSettingsServiceWinsAndLeavesTheStoreAlone) {
    settings->putString("kestrel_device_id", "abc");
    cache->put(Store::Shared, kStoreName, kKestrelStoreKey, "stored");
    EXPECT_EQ(manager->getKestrelDeviceId(), "abc");
    for (auto& call : cache->calls()) EXPECT_NE(call.key, kKestrelStoreKey) << call.operation;
    EXPECT_THAT(settings->keysOf("setString"), IsEmpty());
}

TEST_F(ManagerTest, StoredKestrelIdIsPublishedAndCached) {
    cache->put(Store::Shared, kStoreName, kKestrelStoreKey, "stored-id");
    EXPECT_EQ(manager->getKestrelDeviceId(), "stored-id");
    EXPECT_EQ(settings->value("kestrel_device_id"), FakeSettingsService::Value("stored-id"));
    EXPECT_EQ(cache->countCalls("set"), 0u);
}

TEST_F(ManagerTest, WithNoKestrelIdAnywhereANewOneIsStoredPublishedAndCached) {
    const auto id = manager->getKestrelDeviceId();
    ASSERT_TRUE(id.has_value());
    EXPECT_TRUE(isLowerCaseUuid(*id)) << *id;
    EXPECT_EQ(stored(kKestrelStoreKey), id);
    EXPECT_EQ(settings->value("kestrel_device_id"), FakeSettingsService::Value(*id));

    // Write-once: a further refresh asks nobody and changes nothing.
    settings->clearCalls();
    cache->clearCalls();
    manager->getAndSetKestrelDeviceId();
    EXPECT_THAT(settings->calls(), IsEmpty());
    EXPECT_THAT(cache->calls(), IsEmpty());
    EXPECT_EQ(manager->getKestrelDeviceId(), id);
}

TEST_F(ManagerTest, StoreRefusingTheGeneratedKestrelIdLogsAndCachesNothing) {
    testsupport::LogCapture logs;
    cache->refuseWrites(true);
    EXPECT_EQ(manager->getKestrelDeviceId(), std::nullopt);
    EXPECT_EQ(logs.count(ANDROID_LOG_ERROR, "telemetry", kKestrelFailure), 1u);
    EXPECT_THAT(settings->keysOf("setString"), IsEmpty());
    EXPECT_EQ(stored(kKestrelStoreKey), std::nullopt);

    // The next refresh generates a different id and, with the store back, keeps it.
    std::string firstAttempt;
    for (auto& call : cache->calls()) {
        if (call.operation == "set") firstAttempt = call.value;
    }
    cache->refuseWrites(false);
    manager->getAndSetKestrelDeviceId();
    const auto id = manager->getKestrelDeviceId();
    ASSERT_TRUE(id.has_value());
    EXPECT_NE(*id, firstAttempt);
    EXPECT_EQ(stored(kKestrelStoreKey), id);
}

TEST_F(ManagerTest, SettingsServiceRefusingTheKestrelIdCachesNothingAndRetriesTheStoredId) {
    settings->refuseSetString(true);
    EXPECT_EQ(manager->getKestrelDeviceId(), std::nullopt);
    const auto storedId = stored(kKestrelStoreKey);
    ASSERT_TRUE(storedId.has_value());

    settings->refuseSetString(false);
    manager->getAndSetKestrelDeviceId();
    EXPECT_EQ(manager->getKestrelDeviceId(), storedId);
    EXPECT_EQ(settings->value("kestrel_device_id"), FakeSettingsService::Value(*storedId));
    EXPECT_EQ(cache->countCalls("set"), 1u);  // published again, not regenerated
}

TEST_F(ManagerTest, TelemetryDeviceIdIsReadOnlyFromTheSettingsService) {
    settings->putString("device_ent_id", "X");
    EXPECT_EQ(manager->getTelemetryDeviceId(), "X");
    for (auto& call : cache->calls()) EXPECT_NE(call.key, "device_ent_id");
    settings->putString("device_ent_id", "Y");
    manager->getAndSetTelemetryDeviceId();
    EXPECT_EQ(manager->getTelemetryDeviceId(), "X");
}

TEST_F(ManagerTest, EmptyTelemetryDeviceIdCountsAsAbsent) {
    settings->putString("device_ent_id", "");
    EXPECT_EQ(manager->getTelemetryDeviceId(), std::nullopt);
    settings->putString("device_ent_id", "later");
    manager->onSettingChange("device_ent_id");
    EXPECT_EQ(manager->getTelemetryDeviceId(), "later");
}

TEST_F(ManagerTest, GeneratedKestrelIdsAreDistinctLowerCaseUuids) {
    std::set<std::string> ids;
    for (int i = 0; i < 64; ++i) {
        const std::string id = manager->generateKestrelId();
        EXPECT_EQ(id.size(), 36u);
        EXPECT_TRUE(isLowerCaseUuid(id)) << id;
        ids.insert(id);
    }
    EXPECT_EQ(ids.size(), 64u);
}

}  // namespace
}  // namespace settingsmanagertest
