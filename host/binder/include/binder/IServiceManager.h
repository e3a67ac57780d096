#pragma once

#include <binder/IInterface.h>
#include <utils/String16.h>
#include <utils/Vector.h>

namespace android {

// The process's view of the service manager: a name registry of binders.
class IServiceManager : public IInterface {
public:
    IServiceManager();
    ~IServiceManager() override;

    virtual const String16& getInterfaceDescriptor() const;

    // Waits briefly for the name to be registered; null if it does not show up.
    virtual sp<IBinder> getService(const String16& name) const = 0;
    // Never waits.
    virtual sp<IBinder> checkService(const String16& name) const = 0;

    enum {
        DUMP_FLAG_PRIORITY_CRITICAL = 1 << 0,
        DUMP_FLAG_PRIORITY_HIGH = 1 << 1,
        DUMP_FLAG_PRIORITY_NORMAL = 1 << 2,
        DUMP_FLAG_PRIORITY_DEFAULT = 1 << 3,
        DUMP_FLAG_PRIORITY_ALL = DUMP_FLAG_PRIORITY_CRITICAL | DUMP_FLAG_PRIORITY_HIGH |
                                 DUMP_FLAG_PRIORITY_NORMAL | DUMP_FLAG_PRIORITY_DEFAULT,
        DUMP_FLAG_PROTO = 1 << 4,
    };

    virtual status_t addService(const String16& name, const sp<IBinder>& service,
                                bool allowIsolated = false,
                                int dumpsysFlags = DUMP_FLAG_PRIORITY_DEFAULT) = 0;

    virtual Vector<String16> listServices(int dumpsysFlags = DUMP_FLAG_PRIORITY_ALL) = 0;

    // Blocks until the name is registered.
    virtual sp<IBinder> waitForService(const String16& name) = 0;

    virtual bool isDeclared(const String16& name) = 0;
};

sp<IServiceManager> defaultServiceManager();

template <typename INTERFACE>
sp<INTERFACE> waitForService(const String16& name) {
    return interface_cast<INTERFACE>(defaultServiceManager()->waitForService(name));
}

template <typename INTERFACE>
status_t getService(const String16& name, sp<INTERFACE>* outService) {
    const sp<IServiceManager> sm = defaultServiceManager();
    if (sm == nullptr) return UNKNOWN_ERROR;
    *outService = interface_cast<INTERFACE>(sm->getService(name));
    return *outService != nullptr ? OK : NAME_NOT_FOUND;
}

}  // namespace android
