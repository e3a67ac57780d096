#include "ManagerTestSupport.h"

namespace settingsmanagertest {
namespace {

TEST(ManagerWithSettingsModule, NullSettingsObjectIsReplacedThroughTheLoader) {
    FakeSettingsService log;
    auto cache = std::make_shared<FakeStorageCache>();
    auto manager = std::make_unique<TestableManager>(nullptr, cache, log);
    manager->setHistoryStoreManager(std::make_shared<HistoryStoreManager>());

    EXPECT_TRUE(manager->syncSettings());
    // The module's service started empty: the defaults, and a kestrel id published to it.
    EXPECT_FALSE(manager->isTelemetryEnabled());
    EXPECT_EQ(manager->getTelemetryManagedMode(std::chrono::steady_clock::now(), std::nullopt), -1);
    const auto kestrel = manager->getKestrelDeviceId();
    ASSERT_TRUE(kestrel.has_value());
    EXPECT_EQ(manager->getStringFromSettingsManager("kestrel_device_id"), kestrel);
    manager.reset();  // removes its listeners from the module's service
}

}  // namespace
}  // namespace settingsmanagertest
