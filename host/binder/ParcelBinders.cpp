// Binder objects and interface tokens in parcels.

#define LOG_TAG "Parcel"

#include <binder/Parcel.h>

#include <algorithm>
#include <cstring>

#include <binder/Binder.h>
#include <binder/BpBinder.h>
#include <binder/IPCThreadState.h>
#include <log/log.h>

#include "Driver.h"
#include "FlatBinder.h"
#include "Transport.h"

namespace android {

namespace {

constexpr int32_t kStrictModePenaltyGather = static_cast<int32_t>(0x80000000u);
constexpr int32_t kUnsetWorkSource = -1;
// The system partition's header word, 'SYST'.
constexpr int32_t kHeader = B_PACK_CHARS('S', 'Y', 'S', 'T');

}  // namespace

// --- interface tokens --------------------------------------------------------------------

status_t Parcel::writeInterfaceToken(const String16& interface) {
    return writeInterfaceToken(interface.string(), interface.size());
}

status_t Parcel::writeInterfaceToken(const char16_t* str, size_t len) {
    // Only the descriptor's status counts; the header words cannot fail on their own.
    writeInt32(IPCThreadState::self()->getStrictModePolicy() | kStrictModePenaltyGather);
    // libbinder writes the calling work source only when a thread asked to propagate one;
    // nothing on the host (or in the system code) ever asks, so it is always unset.
    writeInt32(kUnsetWorkSource);
    writeInt32(kHeader);
    return writeString16(str, len);
}

bool Parcel::checkInterface(IBinder* binder) const {
    return enforceInterface(binder->getInterfaceDescriptor());
}

bool Parcel::enforceInterface(const String16& interface) const {
    return enforceInterface(interface.string(), interface.size());
}

bool Parcel::enforceInterface(const char16_t* interface, size_t len) const {
    IPCThreadState* const threadState = IPCThreadState::self();
    const int32_t strictPolicy = readInt32();
    threadState->setStrictModePolicy(
            (threadState->getLastTransactionFlags() & IBinder::FLAG_ONEWAY) != 0 ? 0 : strictPolicy);
    readInt32();  // work source: libbinder keeps it for getCallingWorkSourceUid, never used here
    const int32_t header = readInt32();
    if (header != kHeader) {
        ALOGE("Expecting header 0x%x but found 0x%x. Mixing copies of libbinder?",
              static_cast<unsigned>(kHeader), static_cast<unsigned>(header));
        return false;
    }
    size_t parcelLen = 0;
    // A null or malformed descriptor reads as length 0, which (as in libbinder) matches
    // only an empty expected descriptor.
    const char16_t* const parcelInterface = readString16Inplace(&parcelLen);
    if (parcelLen == len &&
        (len == 0 || std::memcmp(parcelInterface, interface, len * sizeof(char16_t)) == 0)) {
        return true;
    }
    ALOGW("**** enforceInterface() expected '%s' but read '%s'", String8(interface, len).string(),
          parcelInterface != nullptr ? String8(parcelInterface, parcelLen).string() : "(null)");
    return false;
}

// --- binder objects ----------------------------------------------------------------------

const Parcel::HeldObject* Parcel::objectAt(size_t offset) const {
    for (const HeldObject& object : mObjects) {
        if (object.offset == offset) return &object;
    }
    return nullptr;
}

status_t Parcel::flattenBinder(const sp<IBinder>& binder) {
    hostbinder::FlatBinderObject object{};
    int32_t stability = hostbinder::kStabilityUndeclared;
    if (binder == nullptr) {
        object.type = hostbinder::kTypeBinder;
        object.flags = hostbinder::kFlagsSchedDefault;
    } else if (BBinder* const local = binder->localBinder(); local != nullptr) {
        object.type = hostbinder::kTypeBinder;
        object.flags = hostbinder::kFlagsSchedDefault | hostbinder::kFlagAcceptsFds;
        object.binderOrHandle = reinterpret_cast<uintptr_t>(local->getWeakRefs());
        object.cookie = reinterpret_cast<uintptr_t>(local);
        stability = hostbinder::kStabilitySystem;
    } else if (BpBinder* const proxy = binder->remoteBinder(); proxy != nullptr) {
        object.type = hostbinder::kTypeHandle;
        object.flags = hostbinder::kFlagsSchedDefault;
        object.binderOrHandle = proxy->handle();
        stability = proxy->stability();
    } else {
        return BAD_TYPE;
    }

    const size_t offset = mDataPos;
    if (status_t status = growData(sizeof(object)); status != OK) return status;
    std::memcpy(mData + offset, &object, sizeof(object));
    finishWrite(sizeof(object));
    if (binder != nullptr) {
        // Rewriting the same spot replaces the object recorded there.
        std::erase_if(mObjects, [offset](const HeldObject& held) { return held.offset == offset; });
        mObjects.push_back({offset, binder});
    }
    return writeInt32(stability);
}

status_t Parcel::unflattenBinder(sp<IBinder>* out) const {
    const size_t offset = mDataPos;
    if (offset > mDataSize || sizeof(hostbinder::FlatBinderObject) > mDataSize - offset) {
        return BAD_TYPE;
    }
    hostbinder::FlatBinderObject object;
    std::memcpy(&object, mData + offset, sizeof(object));
    mDataPos = offset + sizeof(object);

    sp<IBinder> binder;
    hostbinder::Transport* const transport = hostbinder::Transport::get();
    const bool isNull = object.binderOrHandle == 0 && object.cookie == 0;
    if (isNull) {
        if (object.type == hostbinder::kTypeHandle) {
            // Handle 0 is the context manager. The in-process service manager is not a binder
            // object, so only a host device has one to give.
            if (transport == nullptr) return BAD_TYPE;
            binder = transport->contextManager();
            if (binder == nullptr) return DEAD_OBJECT;
        } else if (object.type != hostbinder::kTypeBinder) {
            return BAD_TYPE;
        }
    } else {
        // Only objects this parcel recorded are trusted; raw bytes cannot forge a binder.
        const HeldObject* const held = objectAt(offset);
        if (held == nullptr) return BAD_TYPE;
        if (object.type == hostbinder::kTypeBinder) {
            BBinder* const local = held->binder->localBinder();
            if (local == nullptr || object.cookie != reinterpret_cast<uintptr_t>(local)) {
                return BAD_TYPE;
            }
            if (transport != nullptr) {
                // Across processes a binder comes back to its own process as the object itself.
                binder = held->binder;
            } else {
                // In-process every binder read back is a proxy, as if it had crossed processes.
                auto& driver = hostbinder::Driver::instance();
                binder = driver.proxyFor(driver.nodeForLocal(sp<BBinder>(local)));
            }
        } else if (object.type == hostbinder::kTypeHandle) {
            BpBinder* const proxy = held->binder->remoteBinder();
            if (proxy == nullptr || object.binderOrHandle != proxy->handle()) return BAD_TYPE;
            binder = held->binder;
        } else {
            return BAD_TYPE;
        }
    }

    // The level is a 16-bit value in a 32-bit word; the high half is ignored.
    int32_t word = 0;
    if (status_t status = readInt32(&word); status != OK) return status;
    const auto stability = static_cast<int16_t>(word);
    if (binder == nullptr) {
        if (stability != hostbinder::kStabilityUndeclared) return BAD_TYPE;
    } else if (BpBinder* const proxy = binder->remoteBinder(); proxy != nullptr) {
        // A fresh proxy takes the declared level; a different one later is refused.
        if (!hostbinder::isDeclaredStability(stability)) return BAD_TYPE;
        if (status_t status = proxy->setStability(stability); status != OK) return status;
    } else if (stability != hostbinder::kStabilitySystem) {
        return BAD_TYPE;  // local objects of this build are system objects
    }
    *out = std::move(binder);
    return OK;
}

status_t Parcel::writeStrongBinder(const sp<IBinder>& val) {
    return flattenBinder(val);
}

status_t Parcel::readNullableStrongBinder(sp<IBinder>* val) const {
    return unflattenBinder(val);
}

status_t Parcel::readStrongBinder(sp<IBinder>* val) const {
    status_t status = readNullableStrongBinder(val);
    if (status == OK && *val == nullptr) status = UNEXPECTED_NULL;
    return status;
}

sp<IBinder> Parcel::readStrongBinder() const {
    sp<IBinder> val;
    readNullableStrongBinder(&val);
    return val;
}

}  // namespace android
