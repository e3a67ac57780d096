// Client processes of one real host device: what one changes, the others see and hear; a
// killed device comes back with everything it had (properties: tests/sysprop's
// PropertyServiceTest).

#include "HostDeviceTestSupport.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using hostdevicetest::ClientProcess;

const std::string kNamespace = "halcyon_shared_os_services";

class HostDeviceProcesses : public hostdevicetest::RunningDevice {
protected:
    std::unique_ptr<ClientProcess> client() {
        return std::make_unique<ClientProcess>(
                HOST_DEVICE_TEST_CLIENT,
                std::vector<std::string>{"HALCYON_HOST_DEVICE=" + dir.path(),
                                         "LD_LIBRARY_PATH=" HOST_SETTINGS_MODULE_DIR});
    }
};

TEST_F(HostDeviceProcesses, ClientsShareOneDeviceHearEachOtherAndOutliveItsRestart) {
    auto writer = client();
    auto watcher = client();
    for (auto* c : {writer.get(), watcher.get()}) ASSERT_EQ(c->ask("watch"), "ready");
    const std::optional<std::string> kestrel = watcher->ask("kestrel");
    ASSERT_TRUE(kestrel && kestrel->size() == 36) << kestrel.value_or("none");

    // Settings: a write in one process reaches the other's module listener and manager.
    ASSERT_EQ(writer->ask("put current_user 11"), "1");
    EXPECT_TRUE(watcher->waitFor("setting current_user"));
    EXPECT_EQ(watcher->ask("user"), "11");

    // Device config: a command's write reaches both processes' listeners and readers.
    ASSERT_EQ(run({"device_config", "put", kNamespace, "qos", "a,true"}).status, 0);
    for (auto* c : {writer.get(), watcher.get()}) {
        EXPECT_TRUE(c->waitFor("deviceconfig qos=a,true"));
        EXPECT_EQ(c->ask("dc " + kNamespace + " qos"), "a,true");
    }

    ASSERT_EQ(run({"settings", "put", "managed_device", "2", "int"}).status, 0);
    killDevice();
    startDevice();
    EXPECT_EQ(run({"settings", "get", "managed_device"}).out, "2\n");
    EXPECT_EQ(run({"device_config", "get", kNamespace, "qos"}).out, "a,true\n");
    // The key-value store kept the analytics id: a new process finds it there once the
    // settings copy is gone.
    ASSERT_EQ(run({"settings", "delete", "kestrel_device_id"}).status, 0);
    EXPECT_EQ(client()->ask("kestrel"), kestrel);

    // A surviving process reaches the restarted services: its BinderClient reconnects and its
    // settings module registers its listeners again.
    EXPECT_TRUE(testsupport::waitUntil(
            [&] { return watcher->ask("dc " + kNamespace + " qos") == "a,true"; }));
    ASSERT_EQ(run({"settings", "put", "current_user", "12", "int"}).status, 0);
    EXPECT_TRUE(watcher->waitFor("setting current_user"));
    EXPECT_EQ(watcher->ask("user"), "12");
}

}  // namespace
