#include <deviceconfig/DeviceConfig.h>
#include <deviceconfig_host/HostDeviceConfigService.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <LogCapture.h>

extern "C" int JNI_OnLoad(struct _JavaVM* vm, void* reserved);

namespace {

using android::sp;
using com::halcyon::deviceconfig::DeviceConfig;
using com::halcyon::deviceconfig::OnPropertiesChangeListener;
using com::halcyon::deviceconfig::Properties;
using namespace com::halcyon::deviceconfig::host;

constexpr const char* kRefusal =
        "libdeviceconfig must not be used in a Java process - use ADC instead";

struct PlainListener : OnPropertiesChangeListener {
    void onPropertiesChanged(const Properties&) override {}
};

TEST(JavaProcessGuard, RefusesEveryRequestOnceLoadedByAJavaVm) {
    sp<HostDeviceConfigService> service = new HostDeviceConfigService();
    service->setProperty("ns", "k", "v");
    ASSERT_EQ(android::OK, publishHostDeviceConfigService(service));
    DeviceConfig dc;
    ASSERT_TRUE(dc.isDeviceConfigAvailable());

    // The VM finds the entry point by its plain name.
    ASSERT_EQ(reinterpret_cast<void*>(&JNI_OnLoad), dlsym(RTLD_DEFAULT, "JNI_OnLoad"));
    EXPECT_EQ(0x00010006, JNI_OnLoad(nullptr, nullptr));

    testsupport::LogCapture logs;
    EXPECT_FALSE(dc.isDeviceConfigAvailable());
    EXPECT_TRUE(dc.getProperties("ns", {"k"}).getKeys().empty());
    auto listener = std::make_shared<PlainListener>();
    dc.addOnPropertiesChangeListener("ns", listener);
    dc.removeOnPropertiesChangeListener(listener);
    EXPECT_EQ(0u, service->listenerCount("ns"));
    EXPECT_EQ(4u, logs.count(ANDROID_LOG_WARN, "DeviceConfig", kRefusal));
    EXPECT_EQ(4u, logs.withTag("DeviceConfig").size());
}

}  // namespace
