// The host device's property service with real client processes (the host device's test
// client, which reads and writes properties through libbase).

#include <HostDeviceTestSupport.h>
#include <android-base/file.h>
#include <gtest/gtest.h>
#include <hostproperties/PropertyService.h>

#include <memory>
#include <string>

namespace {

using hostdevicetest::ClientProcess;
using hostproperties::PropertyService;
using hostproperties::SetPropertyResult;

std::unique_ptr<ClientProcess> client(const std::string& dir) {
    return std::make_unique<ClientProcess>(HOST_DEVICE_TEST_CLIENT,
                                           std::vector<std::string>{"HALCYON_HOST_DEVICE=" + dir});
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

    auto a = client(dir.path);
    auto b = client(dir.path);
    EXPECT_EQ(a->ask("prop ro.test.seeded"), "1");
    ASSERT_EQ(a->ask("setprop test.from_a 1"), "1");
    EXPECT_EQ(b->ask("prop test.from_a"), "1");
    EXPECT_EQ(b->ask("setprop ro.test.seeded 2"), "0");
    ASSERT_EQ(b->ask("setprop persist.test.kept yes"), "1");
    EXPECT_EQ(service->get("persist.test.kept"), "yes");
    EXPECT_EQ(service->get("ro.test.seeded"), "1");

    // A client that mapped the first area, holding a handle from it, follows the restarted
    // service's area; while no service runs, writes are refused.
    ASSERT_EQ(a->ask("hold persist.test.kept"), "1");
    service.reset();
    EXPECT_EQ(b->ask("setprop test.while_down 1"), "0");
    service = start(dir.path);
    ASSERT_NE(service, nullptr);
    EXPECT_EQ(service->get("persist.test.kept"), "yes");
    EXPECT_EQ(service->get("test.from_a"), std::nullopt);
    ASSERT_EQ(service->set("test.after_restart", "1"), SetPropertyResult::kOk);
    ASSERT_EQ(service->set("persist.test.kept", "again"), SetPropertyResult::kOk);
    EXPECT_TRUE(testsupport::waitUntil([&] { return a->ask("held") == "again"; }));
    EXPECT_TRUE(testsupport::waitUntil([&] { return a->ask("prop test.after_restart") == "1"; }));
    EXPECT_EQ(a->ask("prop test.from_a"), "");
}

TEST(PropertyService, WithoutAHostDeviceClientsAreRefusedAndStartFailsClearly) {
    TemporaryDir dir;
    auto lone = client(dir.path);
    EXPECT_EQ(lone->ask("setprop test.nobody 1"), "0");
    EXPECT_EQ(lone->ask("prop test.nobody"), "");
    std::string error;
    EXPECT_EQ(PropertyService::start("/nonexistent/device", "/nonexistent/device", &error), nullptr);
    EXPECT_NE(error.find("/nonexistent/device"), std::string::npos) << error;
}

}  // namespace
