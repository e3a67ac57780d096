// The host device's settings and device-config services, in this process, called through
// binder proxies as clients in other processes call them.

#include <Recorded.h>
#include <TempDir.h>
#include <hostdevice/DeviceConfigDatabase.h>
#include <hostdevice/PreferencesService.h>

#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <binder_host/HostBinder.h>
#include <com/halcyon/deviceconfig/aidl/BnOnPropertiesChangeListener.h>
#include <com/halcyon/preferences/BnPreferencesListener.h>
#include <com/halcyon/preferences/BnPreferencesService.h>
#include <utils/String16.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <mutex>

namespace {

using android::sp;
using com::halcyon::preferences::BnPreferencesListener;
using com::halcyon::preferences::BnPreferencesService;
using com::halcyon::preferences::IPreferencesService;
using com::halcyon::preferences::Setting;
using testsupport::TempDir;
using namespace com::halcyon::deviceconfig;

Setting setting(const std::string& key, int32_t type, const std::string& value) {
    Setting s;
    s.key = key;
    s.type = type;
    s.value = value;
    return s;
}

// A proxy to the service, as another process would hold one.
sp<IPreferencesService> publish(const sp<hostdevice::PreferencesService>& service) {
    android::String16 name(com::halcyon::preferences::kPreferencesServiceName);
    EXPECT_EQ(android::defaultServiceManager()->addService(name, service), android::OK);
    return android::interface_cast<IPreferencesService>(
            android::defaultServiceManager()->checkService(name));
}

class KeyRecorder : public BnPreferencesListener, public testsupport::Recorded<std::string> {
public:
    android::binder::Status onSettingChange(const std::string& key) override {
        add(key);
        return android::binder::Status::ok();
    }
};

class PropertiesRecorder : public aidl::BnOnPropertiesChangeListener,
                           public testsupport::Recorded<std::string> {
public:
    android::binder::Status onPropertiesChanged(const std::vector<aidl::Property>& changed) override {
        for (const auto& p : changed) add(p.key + "=" + p.value);
        return android::binder::Status::ok();
    }
};

TEST(PreferencesService, StoresAndAnnouncesGoodValuesRefusesBadOnesAndHostileRequests) {
    TempDir dir;
    const std::string file = dir.path() + "/settings.db";
    {
        sp<hostdevice::PreferencesService> local = hostdevice::PreferencesService::open(file);
        sp<IPreferencesService> service = publish(local);
        // Whether the request was refused, by the transaction's answer or by an exception in
        // the reply.
        auto refused = [&](uint32_t code, const std::function<void(android::Parcel&)>& fill) {
            android::Parcel data;
            android::Parcel reply;
            fill(data);
            data.setDataPosition(0);
            if (local->transact(code, data, &reply) != android::OK) return true;
            reply.setDataPosition(0);
            return reply.readExceptionCode() != 0;
        };
        auto token = [](android::Parcel& p) {
            p.writeInterfaceToken(IPreferencesService::descriptor);
        };

        EXPECT_TRUE(refused(BnPreferencesService::TRANSACTION_get, [](android::Parcel& p) {
            p.writeInterfaceToken(android::String16("wrong.Token"));
        }));
        EXPECT_TRUE(refused(BnPreferencesService::TRANSACTION_get, token));  // no key
        EXPECT_TRUE(refused(BnPreferencesService::TRANSACTION_put, [&](android::Parcel& p) {
            token(p);
            p.writeInt32(1);
            p.writeInt32(-8);  // negative parcelable size
        }));
        EXPECT_TRUE(refused(BnPreferencesService::TRANSACTION_addListener, [&](android::Parcel& p) {
            token(p);
            p.writeUtf8AsUtf16(std::string("k"));
            p.writeStrongBinder(nullptr);
        }));
        EXPECT_TRUE(refused(999, token));

        sp<KeyRecorder> watching = new KeyRecorder();
        sp<KeyRecorder> other = new KeyRecorder();
        ASSERT_TRUE(service->addListener("current_user", watching).isOk());
        ASSERT_TRUE(service->addListener("current_user", watching).isOk());  // once is enough
        ASSERT_TRUE(service->addListener("managed_device", other).isOk());
        bool stored = false;
        for (const Setting& good : {setting("telemetry_state", Setting::kString, "on"),
                                    setting("current_user", Setting::kInt, "11"),
                                    setting("vela_account_checkpointed", Setting::kBool, "true")}) {
            ASSERT_TRUE(service->put(good, &stored).isOk());
            EXPECT_TRUE(stored) << good.key;
        }
        for (const Setting& bad :
             {setting("", Setting::kString, "x"), setting("current_user", Setting::kInt, "11 "),
              setting("n", Setting::kInt, "2147483648"), setting("b", Setting::kBool, "yes"),
              setting("t", Setting::kNone, "x"), setting("t", 9, "x")}) {
            ASSERT_TRUE(service->put(bad, &stored).isOk());
            EXPECT_FALSE(stored) << bad.key << "=" << bad.value;
        }
        service->remove("current_user", &stored);
        service->remove("current_user", &stored);  // not set: no change
        ASSERT_TRUE(service->removeListener("current_user", watching).isOk());
        service->put(setting("current_user", Setting::kInt, "11"), &stored);
        android::hostbinder::waitForIdle();
        EXPECT_THAT(watching->all(), ::testing::ElementsAre("current_user", "current_user"));
        EXPECT_TRUE(other->all().empty());
        android::hostbinder::killService(
                android::String16(com::halcyon::preferences::kPreferencesServiceName));
    }
    // Only the good values were stored; a row made unusable behind the service's back is not
    // served.
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(db, "INSERT INTO settings VALUES('broken', 3, 'x')", nullptr, nullptr,
                           nullptr),
              SQLITE_OK);
    sqlite3_close(db);

    sp<IPreferencesService> reopened = publish(hostdevice::PreferencesService::open(file));
    std::vector<Setting> all;
    ASSERT_TRUE(reopened->list(&all).isOk());
    EXPECT_THAT(all, ::testing::ElementsAre(
                             setting("current_user", Setting::kInt, "11"),
                             setting("telemetry_state", Setting::kString, "on"),
                             setting("vela_account_checkpointed", Setting::kBool, "true")));
    Setting absent;
    ASSERT_TRUE(reopened->get("broken", &absent).isOk());
    EXPECT_EQ(absent.type, Setting::kNone);
}

// Listener delivery by namespace is DeviceConfigTest's; the program's writes and refusals are
// HostDeviceCommandsTest's. Here: the writer transactions on the durable service.
TEST(DurableDeviceConfig, WriterTransactionsChangeAndNotifyAndRefuseOtherTokens) {
    TempDir dir;
    const char* ns = "halcyon_shared_os_services";
    ASSERT_EQ(host::publishHostDeviceConfigService(
                      hostdevice::openDurableDeviceConfigService(dir.path() + "/device_config.db")),
              android::OK);
    sp<android::IBinder> remote = android::defaultServiceManager()->checkService(
            android::String16(host::kDeviceConfigServiceName));
    sp<PropertiesRecorder> listener = new PropertiesRecorder();
    ASSERT_TRUE(android::interface_cast<aidl::IDeviceConfig>(remote)
                        ->addOnPropertiesChangeListener(ns, listener)
                        .isOk());

    bool changed = false;
    EXPECT_EQ(host::writeDeviceConfigProperty(remote, ns, "qos", "a,true", &changed), android::OK);
    EXPECT_EQ(host::deleteDeviceConfigProperty(remote, ns, "qos", &changed), android::OK);
    EXPECT_TRUE(changed);
    EXPECT_EQ(host::writeDeviceConfigProperty(remote, ns, "", "v", &changed), android::BAD_VALUE);
    android::Parcel data, reply;
    data.writeInterfaceToken(aidl::IDeviceConfig::descriptor);  // not the writer's token
    EXPECT_EQ(remote->transact(host::kTransactionWriterSet, data, &reply), android::BAD_TYPE);

    android::hostbinder::waitForIdle();
    EXPECT_THAT(listener->all(), ::testing::ElementsAre("qos=a,true", "qos="));
    host::killHostDeviceConfigService();
}

}  // namespace
