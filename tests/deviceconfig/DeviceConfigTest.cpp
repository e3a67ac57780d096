// The DeviceConfig facade against the host device-config service in this process: reads, the
// fixed log lines of its listener registry, change delivery, and the service's start-up lines.
#include <binder/IServiceManager.h>
#include <binder_host/HostBinder.h>
#include <deviceconfig/DeviceConfig.h>
#include <deviceconfig_host/HostDeviceConfigService.h>
#include <gtest/gtest.h>

#include <LogCapture.h>
#include <Recorded.h>
#include <WaitUntil.h>

#include <climits>
#include <atomic>
#include <sstream>

namespace {

using android::sp;
using android::binder::Status;
using namespace com::halcyon::deviceconfig::aidl;
using namespace com::halcyon::deviceconfig::host;
using com::halcyon::deviceconfig::OnPropertiesChangeListener;
using com::halcyon::deviceconfig::Properties;
using Facade = com::halcyon::deviceconfig::DeviceConfig;

Properties one(const std::string& value) {
    Property p;
    p.key = "k";
    p.value = value;
    return Properties({p});
}

TEST(Properties, ValuesNeedTheWholeTextElseTheDefault) {
    EXPECT_EQ("d", Properties({}).getString("k", "d"));
    EXPECT_TRUE(one("TRUE").getBoolean("k", false));
    EXPECT_FALSE(one("False").getBoolean("k", true));
    for (const char* text : {"on", "1", "0", "yes", "", " true", "false "}) {
        EXPECT_TRUE(one(text).getBoolean("k", true)) << text;
        EXPECT_FALSE(one(text).getBoolean("k", false)) << text;
    }
    const std::pair<const char*, long> longs[] = {
            {"-17", -17}, {" 42", 42}, {"9223372036854775807", LONG_MAX},
            {"0x10", 7},  {"42 ", 7},  {"42\n", 7},
            {"42abc", 7}, {"", 7}};
    for (const auto& [text, expected] : longs)
        EXPECT_EQ(expected, one(text).getLong("k", 7)) << text;
    const std::pair<const char*, double> doubles[] = {{"1e3", 1000.0}, {"-0.25", -0.25},
                                                      {"\t1.5", 1.5},  {"1.5 ", 9.5},
                                                      {"1.5x", 9.5},   {"", 9.5}};
    for (const auto& [text, expected] : doubles) {
        EXPECT_DOUBLE_EQ(expected, one(text).getDouble("k", 9.5)) << text;
    }
}

constexpr const char* kNs = "halcyon_shared_os_services";
constexpr const char* kAgain = "addOnPropertiesChangeListener failed: system server not running";
constexpr const char* kRemoved =
        "removeOnPropertiesChangeListener failed: system server not running";

// Records each change, and whether every one came on a binder thread.
class RecordingListener : public OnPropertiesChangeListener {
public:
    void onPropertiesChanged(const Properties& properties) override {
        if (!android::hostbinder::isBinderThread()) allOnBinderThreads = false;
        changes.add(properties);
    }
    bool registered() { return hasDeviceConfigListenerInstanceLocked(); }

    testsupport::Recorded<Properties> changes;
    std::atomic<bool> allOnBinderThreads{true};
};

// A registered listener and its binder-side object keep each other alive until the process
// ends, by design. Holding every test listener from a never-freed global keeps that cycle
// reachable, so leak checking does not count it.
std::shared_ptr<RecordingListener> keepReachable(std::shared_ptr<RecordingListener> listener) {
    static auto* const processLifetime = new std::vector<std::shared_ptr<RecordingListener>>();
    processLifetime->push_back(listener);
    return listener;
}

// Answers every call with an exception, as a broken service would.
class FailingDeviceConfig : public BnDeviceConfig {
public:
    Status getProperties(const std::string&, const std::vector<std::string>&,
                         std::vector<Property>*) override {
        return Status::fromExceptionCode(Status::EX_ILLEGAL_STATE, "no such namespace");
    }
    Status addOnPropertiesChangeListener(const std::string&,
                                         const sp<IOnPropertiesChangeListener>&) override {
        return Status::fromExceptionCode(Status::EX_SECURITY, "not allowed");
    }
    Status removeOnPropertiesChangeListener(const sp<IOnPropertiesChangeListener>&) override {
        return Status::fromExceptionCode(Status::EX_SECURITY, "not allowed either");
    }
};

sp<HostDeviceConfigService> startService() {
    sp<HostDeviceConfigService> service = new HostDeviceConfigService();
    service->setProperty(kNs, "flag", "TRUE");
    service->setProperty(kNs, "count", "12");
    service->setProperty("other", "flag", "false");
    EXPECT_EQ(android::OK, publishHostDeviceConfigService(service));
    return service;
}

class DeviceConfig : public testing::Test {
protected:
    void SetUp() override { android::hostbinder::clearServices(); }
    size_t errors(const std::string& message) {
        return logs.count(ANDROID_LOG_ERROR, "DeviceConfig", message);
    }
    testsupport::LogCapture logs;
    std::shared_ptr<RecordingListener> listener =
            keepReachable(std::make_shared<RecordingListener>());
};

TEST_F(DeviceConfig, ReadsTheAskedKeysAndLogsEachRepeatedRegistrationAndRemoval) {
    sp<HostDeviceConfigService> service = startService();
    Facade dc;
    EXPECT_TRUE(dc.isDeviceConfigAvailable());
    const Properties p = dc.getProperties(kNs, {"flag", "count", "absent"});
    EXPECT_TRUE(p.getBoolean("flag", false));
    EXPECT_EQ((std::vector<std::string>{"count", "flag"}), p.getKeys());
    // An empty key list is passed through; this service answers the whole namespace.
    EXPECT_EQ((std::vector<std::string>{"count", "flag"}), dc.getProperties(kNs, {}).getKeys());

    dc.addOnPropertiesChangeListener(kNs, listener);
    EXPECT_EQ(1u, service->listenerCount(kNs));
    EXPECT_TRUE(logs.withTag("DeviceConfig").empty());
    // Again: the same binder goes to the service, and the fixed message is logged.
    dc.addOnPropertiesChangeListener(kNs, listener);
    EXPECT_EQ(1u, service->listenerCount(kNs));
    dc.addOnPropertiesChangeListener("other", listener);
    EXPECT_EQ(1u, service->listenerCount("other"));
    EXPECT_EQ(2u, errors(kAgain));

    dc.removeOnPropertiesChangeListener(listener);
    EXPECT_EQ(0u, service->listenerCount(kNs));
    EXPECT_EQ(0u, service->listenerCount("other"));
    EXPECT_EQ(1u, errors(kRemoved));
    EXPECT_TRUE(listener->registered());
}

TEST_F(DeviceConfig, AFailedCallIsLoggedWithItsMessage) {
    ASSERT_EQ(android::OK,
              android::defaultServiceManager()->addService(android::String16("device_config_proxy"),
                                                           new FailingDeviceConfig()));
    Facade dc;
    EXPECT_TRUE(dc.getProperties(kNs, {"flag"}).getKeys().empty());
    EXPECT_EQ(1u, errors("getProperties failed: no such namespace"));
    dc.addOnPropertiesChangeListener(kNs, listener);
    EXPECT_EQ(1u, errors("addOnPropertiesChangeListener failed: not allowed"));
    EXPECT_TRUE(listener->registered());  // kept although the service refused it
    EXPECT_EQ(0u, logs.count("DeviceConfig", kAgain));
    dc.removeOnPropertiesChangeListener(listener);
    EXPECT_EQ(1u, errors("removeOnPropertiesChangeListener failed: not allowed either"));
    EXPECT_EQ(1u, errors(kRemoved));
}

TEST_F(DeviceConfig, WithoutTheServiceReadsNothingAndLogsOnlyForARegisteredListener) {
    {
        Facade absent;
        EXPECT_FALSE(absent.isDeviceConfigAvailable());
        absent.addOnPropertiesChangeListener(kNs, listener);
        absent.removeOnPropertiesChangeListener(listener);  // never registered: nothing to do
    }
    EXPECT_FALSE(listener->registered());
    EXPECT_TRUE(logs.withTag("DeviceConfig").empty());

    startService();
    Facade dc;
    dc.addOnPropertiesChangeListener(kNs, listener);
    ASSERT_EQ(android::OK, killHostDeviceConfigService());
    ASSERT_TRUE(testsupport::waitUntil([&] { return !dc.isDeviceConfigAvailable(); }));
    EXPECT_EQ("fallback", dc.getProperties(kNs, {"flag"}).getString("flag", "fallback"));
    EXPECT_EQ(1u, errors("getProperties: Failed to connect to DeviceConfig service"));
    dc.addOnPropertiesChangeListener(kNs, listener);
    dc.removeOnPropertiesChangeListener(listener);
    EXPECT_EQ(1u, errors(kAgain));
    EXPECT_EQ(1u, errors(kRemoved));
}

TEST_F(DeviceConfig, DeliversChangesOnABinderThreadToAListenerItsOwnerDropped) {
    sp<HostDeviceConfigService> service = startService();
    auto owned = std::make_shared<RecordingListener>();
    std::weak_ptr<RecordingListener> watch = owned;
    Facade dc;
    dc.addOnPropertiesChangeListener(kNs, owned);
    owned.reset();
    ASSERT_FALSE(watch.expired());  // the registration keeps it alive

    service->setProperty(kNs, "count", "13");
    service->setProperty("other", "flag", "true");  // not watched
    ASSERT_TRUE(service->removeProperty(kNs, "flag"));
    android::hostbinder::waitForIdle();

    owned = keepReachable(watch.lock());
    const std::vector<Properties> changes = owned->changes.all();
    ASSERT_EQ(2u, changes.size());
    EXPECT_EQ(13, changes[0].getLong("count", 0));
    EXPECT_EQ((std::vector<std::string>{"count"}), changes[0].getKeys());
    EXPECT_EQ((std::vector<std::string>{"flag"}), changes[1].getKeys());
    EXPECT_TRUE(owned->allOnBinderThreads);
}

TEST(HostDeviceConfigService, SeedsFromLinesAndReportsMalformedOnes) {
    testsupport::LogCapture logs;
    sp<HostDeviceConfigService> service = new HostDeviceConfigService();
    std::istringstream seed(
            "# comment\nns/key=value\n\nns/url=https://a/b?c=d\r\nns/empty=\n"
            "no-slash=1\nns/no-equals\n/key=1\nns/=1\na=b/c=d\nother/key=2\n");
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
