// Client processes of one real host device: what one changes, the others see and hear; a
// killed device comes back with everything it had.

#include "HostDeviceTestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
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

TEST_F(HostDeviceProcesses, ClientsShareOneDeviceAndHearEachOthersChanges) {
    // History lookups answer by time only with the history gate on.
    ASSERT_EQ(run({"setprop",
                   "persist.device_config.halcyon_shared_os_services."
                   "halcyon_mobile_telemetry_enable_history_store",
                   "true"})
                      .status,
              0);
    auto writer = client();
    auto watcher = client();
    for (auto* c : {writer.get(), watcher.get()}) {
        c->send("watch");
        ASSERT_TRUE(c->waitFor("ready"));
    }
    const std::string beforeChange = std::to_string(
            std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1));

    // Settings: a write in one process reaches the other's module listener and manager.
    ASSERT_EQ(writer->ask("put current_user 11"), "1");
    EXPECT_TRUE(watcher->waitFor("setting current_user"));
    EXPECT_EQ(watcher->ask("user"), "11");
    EXPECT_EQ(watcher->ask("userat " + beforeChange), "0");  // the history kept the old state
    EXPECT_EQ(run({"settings", "get", "current_user"}).out, "11\n");

    // Device config: a command's write reaches both processes' listeners and readers.
    ASSERT_EQ(run({"device_config", "put", kNamespace, "qos", "a,true"}).status, 0);
    for (auto* c : {writer.get(), watcher.get()}) {
        EXPECT_TRUE(c->waitFor("deviceconfig qos=a,true"));
        EXPECT_EQ(c->ask("dc " + kNamespace + " qos"), "a,true");
    }

    // Properties: written through libbase in one process, read in the other.
    ASSERT_EQ(writer->ask("setprop debug.shared.value 42"), "1");
    EXPECT_EQ(watcher->ask("prop debug.shared.value"), "42");
}

TEST_F(HostDeviceProcesses, KilledDeviceRestartsWithEverythingAndClientsReconnect) {
    auto survivor = client();
    survivor->send("watch");
    ASSERT_TRUE(survivor->waitFor("ready"));
    const std::optional<std::string> kestrel = survivor->ask("kestrel");
    ASSERT_TRUE(kestrel && kestrel->size() == 36) << kestrel.value_or("none");
    ASSERT_EQ(run({"settings", "put", "managed_device", "2", "int"}).status, 0);
    ASSERT_EQ(run({"device_config", "put", kNamespace, "qos", "b,false"}).status, 0);
    ASSERT_EQ(run({"setprop", "persist.sys.kept", "yes"}).status, 0);
    ASSERT_EQ(run({"setprop", "debug.volatile", "lost"}).status, 0);

    killDevice();
    startDevice();

    EXPECT_EQ(run({"settings", "get", "managed_device"}).out, "2\n");
    EXPECT_EQ(run({"device_config", "get", kNamespace, "qos"}).out, "b,false\n");
    EXPECT_EQ(run({"getprop", "persist.sys.kept"}).out, "yes\n");
    EXPECT_EQ(run({"getprop", "debug.volatile"}).out, "\n");
    // The key-value store kept the analytics id: a new process finds it there once the
    // settings copy is gone.
    ASSERT_EQ(run({"settings", "delete", "kestrel_device_id"}).status, 0);
    EXPECT_EQ(client()->ask("kestrel"), kestrel);

    // The surviving process reaches the restarted services: its BinderClient reconnects and its
    // settings module registers its listeners again.
    EXPECT_TRUE(testsupport::waitUntil(
            [&] { return survivor->ask("dc " + kNamespace + " qos") == "b,false"; }));
    ASSERT_EQ(run({"settings", "put", "current_user", "12", "int"}).status, 0);
    EXPECT_TRUE(survivor->waitFor("setting current_user"));
    EXPECT_EQ(survivor->ask("user"), "12");
}

TEST_F(HostDeviceProcesses, ProcessesStartingTogetherEachObtainAnAnalyticsId) {
    auto first = client();
    auto second = client();
    first->send("kestrel");
    second->send("kestrel");
    const std::optional<std::string> a = first->waitFor("kestrel ");
    const std::optional<std::string> b = second->waitFor("kestrel ");
    ASSERT_TRUE(a && b);
    EXPECT_EQ(a->size(), 36u);
    EXPECT_EQ(b->size(), 36u);
    // Generation takes no lock across processes, so both may generate; whether they agree
    // is recorded, not required.
    RecordProperty("analytics_ids_agree", *a == *b ? "yes" : "no");
    const std::string settled = run({"settings", "get", "kestrel_device_id"}).out;
    EXPECT_TRUE(settled == *a + "\n" || settled == *b + "\n") << settled;
}

}  // namespace
