#define LOG_TAG "Binder"

#include <binder/Binder.h>

#include <binder/IInterface.h>
#include <binder/Parcel.h>

namespace android {

// --- IBinder -----------------------------------------------------------------------------

IBinder::IBinder() = default;
IBinder::~IBinder() = default;

sp<IInterface> IBinder::queryLocalInterface(const String16& /*descriptor*/) {
    return nullptr;
}

bool IBinder::checkSubclass(const void* /*subclassID*/) const {
    return false;
}

BBinder* IBinder::localBinder() {
    return nullptr;
}

BpBinder* IBinder::remoteBinder() {
    return nullptr;
}

// --- BBinder -----------------------------------------------------------------------------

BBinder::BBinder() = default;
BBinder::~BBinder() = default;

const String16& BBinder::getInterfaceDescriptor() const {
    static const String16* const kEmpty = new String16();
    return *kEmpty;
}

bool BBinder::isBinderAlive() const {
    return true;
}

status_t BBinder::pingBinder() {
    return OK;
}

status_t BBinder::dump(int /*fd*/, const Vector<String16>& /*args*/) {
    return OK;
}

status_t BBinder::transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
    data.setDataPosition(0);
    status_t err;
    if (code == PING_TRANSACTION) {
        err = pingBinder();
    } else {
        err = onTransact(code, data, reply, flags);
    }
    if (reply != nullptr) reply->setDataPosition(0);
    return err;
}

status_t BBinder::linkToDeath(const sp<DeathRecipient>& /*recipient*/, void* /*cookie*/,
                              uint32_t /*flags*/) {
    return INVALID_OPERATION;
}

status_t BBinder::unlinkToDeath(const wp<DeathRecipient>& /*recipient*/, void* /*cookie*/,
                                uint32_t /*flags*/, wp<DeathRecipient>* /*outRecipient*/) {
    return INVALID_OPERATION;
}

BBinder* BBinder::localBinder() {
    return this;
}

status_t BBinder::onTransact(uint32_t code, const Parcel& /*data*/, Parcel* reply,
                             uint32_t /*flags*/) {
    switch (code) {
        case INTERFACE_TRANSACTION:
            if (reply == nullptr) return BAD_VALUE;
            return reply->writeString16(getInterfaceDescriptor());
        case SYSPROPS_TRANSACTION:
            // Nothing caches system properties on the host.
            return OK;
        default:
            return UNKNOWN_TRANSACTION;
    }
}

// --- BpRefBase ---------------------------------------------------------------------------

BpRefBase::BpRefBase(const sp<IBinder>& o) : mRemote(o) {}
BpRefBase::~BpRefBase() = default;

}  // namespace android
