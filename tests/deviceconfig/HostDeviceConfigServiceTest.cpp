#include <deviceconfig_host/HostDeviceConfigService.h>
#include <gtest/gtest.h>

#include <LogCapture.h>

#include <sstream>

namespace {

using android::sp;
using com::halcyon::deviceconfig::host::HostDeviceConfigService;

// The whole-namespace answer and property removal are covered through DeviceConfigTest.
TEST(HostDeviceConfigService, SeedsFromLinesAndReportsMalformedOnes) {
    testsupport::LogCapture logs;
    sp<HostDeviceConfigService> service = new HostDeviceConfigService();
    std::istringstream seed(
            "# comment\n"
            "ns/key=value\n"
            "\n"
            "ns/url=https://a/b?c=d\r\n"
            "ns/empty=\n"
            "no-slash=1\n"
            "ns/no-equals\n"
            "/key=1\n"
            "ns/=1\n"
            "a=b/c=d\n"
            "other/key=2\n");
    EXPECT_EQ(4u, service->loadFromStream(seed, "seed.txt"));
    EXPECT_EQ("value", service->getProperty("ns", "key"));
    EXPECT_EQ("https://a/b?c=d", service->getProperty("ns", "url"));
    EXPECT_EQ("", service->getProperty("ns", "empty"));
    EXPECT_EQ("2", service->getProperty("other", "key"));
    for (int line : {6, 7, 8, 9, 10}) {
        EXPECT_EQ(1u, logs.count(ANDROID_LOG_ERROR, "HostDeviceConfig",
                                 "seed.txt:" + std::to_string(line) +
                                         ": malformed line, expected namespace/key=value"))
                << line;
    }
}

}  // namespace
