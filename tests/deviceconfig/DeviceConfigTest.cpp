#include <binder/IServiceManager.h>
#include <binder_host/HostBinder.h>
#include <deviceconfig/DeviceConfig.h>
#include <deviceconfig_host/HostDeviceConfigService.h>
#include <gtest/gtest.h>

#include <LogCapture.h>

#include <mutex>
#include <thread>

#include "TestWait.h"

namespace {

using android::sp;
using android::binder::Status;
using com::halcyon::deviceconfig::OnPropertiesChangeListener;
using com::halcyon::deviceconfig::Properties;
using com::halcyon::deviceconfig::aidl::BnDeviceConfig;
using com::halcyon::deviceconfig::aidl::IOnPropertiesChangeListener;
using com::halcyon::deviceconfig::aidl::Property;
using com::halcyon::deviceconfig::host::HostDeviceConfigService;
using com::halcyon::deviceconfig::host::killHostDeviceConfigService;
using com::halcyon::deviceconfig::host::publishHostDeviceConfigService;
using deviceconfigtest::waitUntil;

constexpr const char* kNs = "halcyon_shared_os_services";
constexpr const char* kAgain = "addOnPropertiesChangeListener failed: system server not running";
constexpr const char* kRemoved =
        "removeOnPropertiesChangeListener failed: system server not running";

class RecordingListener : public OnPropertiesChangeListener {
public:
    void onPropertiesChanged(const Properties& properties) override {
        std::lock_guard<std::mutex> lock(mMutex);
        mChanges.push_back(properties);
        mThreads.push_back(std::this_thread::get_id());
        mOnBinderThread = mOnBinderThread && android::hostbinder::isBinderThread();
    }
    size_t changes() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mChanges.size();
    }
    Properties change(size_t i) {
        std::lock_guard<std::mutex> lock(mMutex);
        return mChanges.at(i);
    }
    std::thread::id thread(size_t i) {
        std::lock_guard<std::mutex> lock(mMutex);
        return mThreads.at(i);
    }
    bool allOnBinderThreads() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mOnBinderThread;
    }
    bool registered() { return hasDeviceConfigListenerInstanceLocked(); }

private:
    std::mutex mMutex;
    std::vector<Properties> mChanges;
    std::vector<std::thread::id> mThreads;
    bool mOnBinderThread = true;
};

// A registered listener and its binder-side object keep each other alive until the process
// ends, by design. Holding every test listener from a never-freed global keeps that cycle
// reachable, so leak checking does not count it.
std::shared_ptr<RecordingListener> makeListener() {
    static auto* const processLifetime = new std::vector<std::shared_ptr<RecordingListener>>();
    processLifetime->push_back(std::make_shared<RecordingListener>());
    return processLifetime->back();
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
};

TEST_F(DeviceConfig, ReadsTheAskedKeysOfANamespace) {
    startService();
    testsupport::LogCapture logs;
    com::halcyon::deviceconfig::DeviceConfig dc;
    EXPECT_TRUE(dc.isDeviceConfigAvailable());
    const Properties p = dc.getProperties(kNs, {"flag", "count", "absent"});
    EXPECT_TRUE(p.getBoolean("flag", false));
    EXPECT_EQ(12, p.getLong("count", 0));
    EXPECT_EQ((std::vector<std::string>{"count", "flag"}), p.getKeys());
    // An empty key list is passed through; this service answers the whole namespace.
    EXPECT_EQ((std::vector<std::string>{"count", "flag"}), dc.getProperties(kNs, {}).getKeys());
    EXPECT_TRUE(logs.withTag("DeviceConfig").empty());
}

TEST_F(DeviceConfig, WithoutTheServiceReadsNothingAndSaysSo) {
    testsupport::LogCapture logs;
    com::halcyon::deviceconfig::DeviceConfig dc;
    EXPECT_FALSE(dc.isDeviceConfigAvailable());
    EXPECT_EQ("fallback", dc.getProperties(kNs, {"flag"}).getString("flag", "fallback"));
    EXPECT_EQ(1u, logs.count(ANDROID_LOG_ERROR, "DeviceConfig",
                             "getProperties: Failed to connect to DeviceConfig service"));
}

TEST_F(DeviceConfig, AFailedCallIsLoggedWithItsMessage) {
    ASSERT_EQ(android::OK,
              android::defaultServiceManager()->addService(android::String16("device_config_proxy"),
                                                           new FailingDeviceConfig()));
    testsupport::LogCapture logs;
    com::halcyon::deviceconfig::DeviceConfig dc;
    EXPECT_TRUE(dc.getProperties(kNs, {"flag"}).getKeys().empty());
    EXPECT_EQ(1u, logs.count(ANDROID_LOG_ERROR, "DeviceConfig",
                             "getProperties failed: no such namespace"));

    auto listener = makeListener();
    dc.addOnPropertiesChangeListener(kNs, listener);
    EXPECT_EQ(1u, logs.count(ANDROID_LOG_ERROR, "DeviceConfig",
                             "addOnPropertiesChangeListener failed: not allowed"));
    EXPECT_TRUE(listener->registered());  // kept although the service refused it
    EXPECT_EQ(0u, logs.count("DeviceConfig", kAgain));

    dc.removeOnPropertiesChangeListener(listener);
    EXPECT_EQ(1u, logs.count(ANDROID_LOG_ERROR, "DeviceConfig",
                             "removeOnPropertiesChangeListener failed: not allowed either"));
    EXPECT_EQ(1u, logs.count(ANDROID_LOG_ERROR, "DeviceConfig", kRemoved));
}

TEST_F(DeviceConfig, RegistersAListenerOnceTheServiceIsThere) {
    testsupport::LogCapture logs;
    auto listener = makeListener();
    {
        com::halcyon::deviceconfig::DeviceConfig absent;
        absent.addOnPropertiesChangeListener(kNs, listener);
        absent.removeOnPropertiesChangeListener(listener);  // never registered: nothing to do
    }
    EXPECT_FALSE(listener->registered());
    EXPECT_TRUE(logs.withTag("DeviceConfig").empty());

    sp<HostDeviceConfigService> service = startService();
    com::halcyon::deviceconfig::DeviceConfig dc;
    dc.addOnPropertiesChangeListener(kNs, listener);
    EXPECT_TRUE(listener->registered());
    EXPECT_EQ(1u, service->listenerCount(kNs));
    EXPECT_TRUE(logs.withTag("DeviceConfig").empty());

    // Again: the same binder goes to the service, and the fixed message is logged.
    dc.addOnPropertiesChangeListener(kNs, listener);
    EXPECT_EQ(1u, service->listenerCount(kNs));
    EXPECT_EQ(1u, logs.count(ANDROID_LOG_ERROR, "DeviceConfig", kAgain));
    dc.addOnPropertiesChangeListener("other", listener);
    EXPECT_EQ(1u, service->listenerCount("other"));
    EXPECT_EQ(2u, logs.count(ANDROID_LOG_ERROR, "DeviceConfig", kAgain));

    dc.removeOnPropertiesChangeListener(listener);
    EXPECT_EQ(0u, service->listenerCount(kNs));
    EXPECT_EQ(0u, service->listenerCount("other"));
    EXPECT_EQ(1u, logs.count(ANDROID_LOG_ERROR, "DeviceConfig", kRemoved));
    EXPECT_TRUE(listener->registered());
}

TEST_F(DeviceConfig, ARepeatedRegistrationWithoutTheServiceStillLogs) {
    startService();
    testsupport::LogCapture logs;
    auto listener = makeListener();
    com::halcyon::deviceconfig::DeviceConfig dc;
    dc.addOnPropertiesChangeListener(kNs, listener);
    ASSERT_EQ(android::OK, killHostDeviceConfigService());
    ASSERT_TRUE(waitUntil([&] { return !dc.isDeviceConfigAvailable(); }));

    dc.addOnPropertiesChangeListener(kNs, listener);
    dc.removeOnPropertiesChangeListener(listener);
    EXPECT_EQ(1u, logs.count(ANDROID_LOG_ERROR, "DeviceConfig", kAgain));
    EXPECT_EQ(1u, logs.count(ANDROID_LOG_ERROR, "DeviceConfig", kRemoved));
}

TEST_F(DeviceConfig, DeliversChangesOnABinderThread) {
    sp<HostDeviceConfigService> service = startService();
    auto listener = makeListener();
    com::halcyon::deviceconfig::DeviceConfig dc;
    dc.addOnPropertiesChangeListener(kNs, listener);

    service->setProperty(kNs, "count", "13");
    service->setProperty("other", "flag", "true");  // not watched
    ASSERT_TRUE(service->removeProperty(kNs, "flag"));
    android::hostbinder::waitForIdle();

    ASSERT_EQ(2u, listener->changes());
    EXPECT_EQ(13, listener->change(0).getLong("count", 0));
    EXPECT_EQ((std::vector<std::string>{"count"}), listener->change(0).getKeys());
    EXPECT_EQ((std::vector<std::string>{"flag"}), listener->change(1).getKeys());
    EXPECT_NE(std::this_thread::get_id(), listener->thread(0));
    EXPECT_TRUE(listener->allOnBinderThreads());
}

TEST_F(DeviceConfig, AListenerOutlivesItsOwnerOnceRegistered) {
    sp<HostDeviceConfigService> service = startService();
    auto listener = std::make_shared<RecordingListener>();
    std::weak_ptr<RecordingListener> watch = listener;
    com::halcyon::deviceconfig::DeviceConfig dc;
    dc.addOnPropertiesChangeListener(kNs, listener);
    listener.reset();
    EXPECT_FALSE(watch.expired());
    service->setProperty(kNs, "count", "14");
    android::hostbinder::waitForIdle();
    EXPECT_EQ(1u, watch.lock()->changes());
    // Reachable from here on, so leak checking does not count the deliberate cycle.
    static auto* const reachable = new std::shared_ptr<RecordingListener>(watch.lock());
    (void)reachable;
}

class PlainListener : public OnPropertiesChangeListener {
public:
    void onPropertiesChanged(const Properties&) override {}
};

TEST(DeviceConfigDeathTest, AListenerNotOwnedByASharedPointerAborts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
            {
                startService();
                com::halcyon::deviceconfig::DeviceConfig dc;
                PlainListener onStack;
                // Points at the listener without owning it.
                std::shared_ptr<OnPropertiesChangeListener> unowned(std::shared_ptr<void>(),
                                                                    &onStack);
                dc.addOnPropertiesChangeListener(kNs, unowned);
            },
            "");
}

}  // namespace
