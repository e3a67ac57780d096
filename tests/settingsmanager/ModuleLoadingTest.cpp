#include "ManagerTestSupport.h"

namespace settingsmanagertest {
namespace {

TEST(ManagerWithSettingsModule, NullSettingsObjectIsReplacedThroughTheLoader) {
    auto manager = std::make_unique<TestableManager>(nullptr, std::make_shared<FakeStorageCache>());
    manager->setHistoryStoreManager(std::make_shared<HistoryStoreManager>());

    EXPECT_TRUE(manager->syncSettings());
    // The module's service started empty: the defaults, and a kestrel id published to it.
    expectDefaults(*manager);
    const auto kestrel = manager->getKestrelDeviceId();
    ASSERT_TRUE(kestrel.has_value());
    EXPECT_EQ(manager->getStringFromSettingsManager("kestrel_device_id"), kestrel);
    manager.reset();  // removes its listeners from the module's service
}

}  // namespace
}  // namespace settingsmanagertest
