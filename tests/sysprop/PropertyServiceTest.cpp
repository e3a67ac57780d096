// The host device's property service with real client processes.

#include <sys/system_properties.h>

#include <HostDeviceTestSupport.h>
#include <android-base/file.h>
#include <gtest/gtest.h>
#include <hostproperties/PropertyService.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace {

using hostdevicetest::ClientProcess;
using hostproperties::PropertyService;
using hostproperties::SetPropertyResult;

// A property_client process on the host device in `dir`, running `steps`.
ClientProcess client(const std::string& dir, const std::vector<std::string>& steps) {
    return ClientProcess(PROPERTY_CLIENT, {"HALCYON_HOST_DEVICE=" + dir}, steps);
}

std::unique_ptr<PropertyService> start(const std::string& dir) {
    std::string error;
    auto service = PropertyService::start(dir, dir, &error);
    EXPECT_NE(service, nullptr) << error;
    return service;
}

TEST(PropertyService, ClientsShareOneDeviceAndPersistedValuesSurviveARestart) {
    TemporaryDir dir;
    auto service = start(dir.path);
    ASSERT_NE(service, nullptr);
    std::string error;
    EXPECT_EQ(PropertyService::start(dir.path, dir.path, &error), nullptr);
    EXPECT_NE(error.find("already runs"), std::string::npos) << error;
    ASSERT_EQ(service->set("ro.test.seeded", "1"), SetPropertyResult::kOk);

    // Each waits for the other's write, so both run at once.
    ClientProcess a = client(dir.path, {"expect", "ro.test.seeded", "1", "set", "test.from_a", "1",
                                        "ok", "expect", "test.from_b", "2"});
    ClientProcess b = client(
            dir.path, {"expect", "test.from_a", "1", "set", "test.from_b", "2", "ok", "libbase-set",
                       "persist.test.kept", "yes", "set", "ro.test.seeded", "2", "read-only"});
    EXPECT_EQ(a.wait(), 0);
    EXPECT_EQ(b.wait(), 0);
    EXPECT_EQ(service->get("persist.test.kept"), "yes");
    EXPECT_EQ(service->get("ro.test.seeded"), "1");
    const auto all = service->list();
    EXPECT_NE(std::find(all.begin(), all.end(),
                        std::make_pair(std::string("test.from_b"), std::string("2"))),
              all.end());

    // A client that mapped the first area, holding a handle from it, follows the restarted
    // service's area.
    ClientProcess survivor =
            client(dir.path,
                   {"expect", "persist.test.kept", "yes", "hold", "persist.test.kept", "ready",
                    "watch", "again", "expect", "test.after_restart", "1", "unset", "test.from_a"});
    ASSERT_TRUE(survivor.waitFor("ready"));
    service.reset();
    EXPECT_EQ(client(dir.path, {"set", "test.while_down", "1", "no-host-device"}).wait(), 0);

    service = start(dir.path);
    ASSERT_NE(service, nullptr);
    EXPECT_EQ(service->get("persist.test.kept"), "yes");
    EXPECT_EQ(service->get("test.from_a"), std::nullopt);
    ASSERT_EQ(service->set("test.after_restart", "1"), SetPropertyResult::kOk);
    ASSERT_EQ(service->set("persist.test.kept", "again"), SetPropertyResult::kOk);
    EXPECT_EQ(survivor.wait(), 0);
}

TEST(PropertyService, WithoutAHostDeviceClientsAreRefusedAndStartFailsClearly) {
    TemporaryDir dir;
    EXPECT_EQ(client(dir.path, {"set", "test.nobody", "1", "no-host-device", "unset", "test.nobody"})
                      .wait(),
              0);
    std::string error;
    EXPECT_EQ(PropertyService::start("/nonexistent/device", "/nonexistent/device", &error), nullptr);
    EXPECT_NE(error.find("/nonexistent/device"), std::string::npos) << error;
}

}  // namespace
