#pragma once

// What a BpBinder forwards to: a node of the in-process driver, or a node owned by another
// process of the host device.

#include <cstdint>

#include <utils/Errors.h>

namespace android {
class Parcel;
}

namespace android::hostbinder {

class ProxyTarget {
public:
    virtual ~ProxyTarget() = default;

    // The handle this process knows the node by (0 is the service manager's).
    virtual uint32_t handle() const = 0;
    virtual bool isDead() = 0;
    virtual status_t transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) = 0;
};

}  // namespace android::hostbinder
