// The service manager of a host device: a registry object served by one process, and the
// IServiceManager every member process talks to it through.

#define LOG_TAG "ServiceManager"

#include "HostDeviceServiceManager.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <vector>

#include <binder/IPCThreadState.h>
#include <binder/Parcel.h>
#include <binder_host/HostBinder.h>
#include <log/log.h>

#include "Transport.h"

namespace android::hostbinder {

namespace {

// How long getService waits for a name to appear. libbinder waits a few seconds on a
// device; on the host that would only slow down tests of absent services.
constexpr std::chrono::milliseconds kGetServiceWait{1000};

enum : uint32_t {
    GET_SERVICE = IBinder::FIRST_CALL_TRANSACTION,
    CHECK_SERVICE,
    ADD_SERVICE,
    LIST_SERVICES,
};

const String16& managerDescriptor() {
    static const String16* const kDescriptor = new String16("android.os.IServiceManager");
    return *kDescriptor;
}

// The names of the device. A name leaves when the process that owns its object ends.
class ServiceRegistry final : public BBinder, public IBinder::DeathRecipient {
public:
    const String16& getInterfaceDescriptor() const override { return managerDescriptor(); }

    void binderDied(const wp<IBinder>& who) override {
        std::lock_guard<std::mutex> guard(mLock);
        std::erase_if(mServices,
                      [&](const auto& entry) { return entry.second.get() == who.unsafe_get(); });
    }

protected:
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) override {
        if (code < GET_SERVICE || code > LIST_SERVICES) {
            return BBinder::onTransact(code, data, reply, flags);
        }
        if (!data.enforceInterface(managerDescriptor())) return PERMISSION_DENIED;
        if (code == LIST_SERVICES) {
            std::vector<String16> names;
            {
                std::lock_guard<std::mutex> guard(mLock);
                for (const auto& entry : mServices) names.push_back(entry.first);
            }
            reply->writeNoException();
            return reply->writeString16Vector(names);
        }
        String16 name;
        if (status_t status = data.readString16(&name); status != OK) return status;
        if (code == ADD_SERVICE) {
            sp<IBinder> service;
            if (status_t status = data.readNullableStrongBinder(&service); status != OK) {
                return status;
            }
            if (status_t status = add(name, service); status != OK) return status;
            return reply->writeNoException();
        }
        sp<IBinder> found;
        std::vector<sp<IBinder>> dropped;  // released after the lock
        {
            std::unique_lock<std::mutex> lock(mLock);
            const auto lookup = [&] {
                auto it = mServices.find(name);
                if (it == mServices.end()) return false;
                // A caller may already have seen the owner end before our watcher did; it
                // must never get that binder back.
                if (!ownerAlive(it->second)) {
                    dropped.push_back(std::move(it->second));
                    mServices.erase(it);
                    return false;
                }
                found = it->second;
                return true;
            };
            if (code == GET_SERVICE) {
                mChanged.wait_for(lock, kGetServiceWait, lookup);
            } else {
                lookup();
            }
        }
        reply->writeNoException();
        return reply->writeStrongBinder(found);
    }

private:
    static bool ownerAlive(const sp<IBinder>& service) {
        BpBinder* const proxy = service->remoteBinder();
        return proxy == nullptr || Transport::get()->checkAlive(*proxy);
    }

    status_t add(const String16& name, const sp<IBinder>& service) {
        if (service == nullptr) return UNEXPECTED_NULL;
        if (service->remoteBinder() != nullptr) {
            if (status_t status = service->linkToDeath(this); status != OK) return status;
        }
        sp<IBinder> replaced;  // released after the lock
        {
            std::lock_guard<std::mutex> guard(mLock);
            sp<IBinder>& slot = mServices[name];
            replaced = std::move(slot);
            slot = service;
        }
        mChanged.notify_all();
        return OK;
    }

    std::mutex mLock;
    std::condition_variable mChanged;
    std::map<String16, sp<IBinder>> mServices;  // guarded by mLock
};

// A member process's view of the registry, wherever it is served.
class HostDeviceServiceManager final : public IServiceManager {
public:
    sp<IBinder> getService(const String16& name) const override { return find(GET_SERVICE, name); }
    sp<IBinder> checkService(const String16& name) const override {
        return find(CHECK_SERVICE, name);
    }

    status_t addService(const String16& name, const sp<IBinder>& service, bool allowIsolated,
                        int dumpsysFlags) override {
        Parcel data;
        data.writeInterfaceToken(managerDescriptor());
        data.writeString16(name);
        data.writeStrongBinder(service);
        data.writeBool(allowIsolated);
        data.writeInt32(dumpsysFlags);
        Parcel reply;
        if (status_t status = call(ADD_SERVICE, data, &reply); status != OK) return status;
        return reply.readExceptionCode() == 0 ? OK : UNKNOWN_ERROR;
    }

    Vector<String16> listServices(int dumpsysFlags) override {
        Parcel data;
        data.writeInterfaceToken(managerDescriptor());
        data.writeInt32(dumpsysFlags);
        Parcel reply;
        std::vector<String16> names;
        Vector<String16> result;
        if (call(LIST_SERVICES, data, &reply) == OK && reply.readExceptionCode() == 0 &&
            reply.readString16Vector(&names) == OK) {
            for (const String16& name : names) result.push_back(name);
        }
        return result;
    }

    sp<IBinder> waitForService(const String16& name) override {
        for (;;) {
            if (sp<IBinder> service = getService(name); service != nullptr) return service;
        }
    }

    bool isDeclared(const String16& /*name*/) override { return false; }

protected:
    IBinder* onAsBinder() override { return nullptr; }

private:
    static status_t call(uint32_t code, const Parcel& data, Parcel* reply) {
        const sp<IBinder> manager = Transport::get()->contextManager();
        if (manager == nullptr) return DEAD_OBJECT;
        return manager->transact(code, data, reply);
    }

    static sp<IBinder> find(uint32_t code, const String16& name) {
        Parcel data;
        data.writeInterfaceToken(managerDescriptor());
        data.writeString16(name);
        Parcel reply;
        sp<IBinder> service;
        if (call(code, data, &reply) != OK || reply.readExceptionCode() != 0 ||
            reply.readNullableStrongBinder(&service) != OK) {
            return nullptr;
        }
        return service;
    }
};

}  // namespace

sp<IServiceManager> hostDeviceServiceManager() {
    // Never destroyed: binder threads and late callers may use it while the process exits.
    static IServiceManager* const manager = [] {
        auto* created = new HostDeviceServiceManager();
        created->incStrong(nullptr);
        return created;
    }();
    return manager;
}

status_t startHostDeviceBinder(const char* dir) {
    return Transport::startServiceManager(dir, sp<BBinder>(new ServiceRegistry()));
}

status_t runHostDeviceBinder(const char* dir) {
    if (status_t status = startHostDeviceBinder(dir); status != OK) return status;
    IPCThreadState::self()->joinThreadPool();
    return OK;
}

bool isHostDeviceMode() {
    return Transport::get() != nullptr;
}

}  // namespace android::hostbinder
