#include <deviceconfig_host/HostDeviceConfigService.h>
#include <gtest/gtest.h>

#include <LogCapture.h>

#include <sstream>

namespace {

using android::sp;
using com::halcyon::deviceconfig::aidl::Property;
using com::halcyon::deviceconfig::host::HostDeviceConfigService;

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

TEST(HostDeviceConfigService, AnEmptyKeyListAnswersTheWholeNamespace) {
    sp<HostDeviceConfigService> service = new HostDeviceConfigService();
    service->setProperty("ns", "b", "2");
    service->setProperty("ns", "a", "1");
    service->setProperty("other", "c", "3");
    std::vector<Property> result;
    ASSERT_TRUE(service->getProperties("ns", {}, &result).isOk());
    ASSERT_EQ(2u, result.size());
    EXPECT_EQ("a", result[0].key);
    EXPECT_EQ("b", result[1].key);
    ASSERT_TRUE(service->getProperties("ns", {"b", "zz"}, &result).isOk());
    ASSERT_EQ(1u, result.size());
    EXPECT_EQ("2", result[0].value);
    EXPECT_FALSE(service->removeProperty("ns", "zz"));
    EXPECT_TRUE(service->removeProperty("ns", "b"));
    EXPECT_EQ(std::nullopt, service->getProperty("ns", "b"));
}

}  // namespace
