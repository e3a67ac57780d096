#define LOG_TAG "BpBinder"

#include <binder/BpBinder.h>

#include <utility>

#include <binder/Parcel.h>
#include <log/log.h>

#include "Driver.h"
#include "FlatBinder.h"

namespace android {

BpBinder::BpBinder(std::shared_ptr<hostbinder::ProxyTarget> target, int16_t stability)
    : mTarget(std::move(target)), mStability(stability) {}

BpBinder::~BpBinder() = default;

BpBinder* BpBinder::remoteBinder() {
    return this;
}

uint32_t BpBinder::handle() const {
    const std::shared_ptr<hostbinder::ProxyTarget> target = mTarget;
    return target->handle();
}

int16_t BpBinder::stability() const {
    return mStability.load(std::memory_order_relaxed);
}

status_t BpBinder::setStability(int16_t level) {
    int16_t current = hostbinder::kStabilityUndeclared;
    if (mStability.compare_exchange_strong(current, level, std::memory_order_relaxed)) return OK;
    return current == level ? OK : BAD_TYPE;
}

// The calls below hold their own reference to the target, so its lifetime never depends on
// libutils' (uninstrumented) reference count of this proxy alone.
bool BpBinder::isBinderAlive() const {
    const std::shared_ptr<hostbinder::ProxyTarget> target = mTarget;
    return !target->isDead();
}

status_t BpBinder::transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
    // FLAG_PRIVATE_VENDOR never reaches the kernel.
    flags &= ~static_cast<uint32_t>(FLAG_PRIVATE_VENDOR);
    const std::shared_ptr<hostbinder::ProxyTarget> target = mTarget;
    return target->transact(code, data, reply, flags);
}

status_t BpBinder::pingBinder() {
    Parcel data;
    Parcel reply;
    return transact(PING_TRANSACTION, data, &reply);
}

const String16& BpBinder::getInterfaceDescriptor() const {
    {
        std::lock_guard<std::mutex> guard(mLock);
        if (mDescriptorCached) return mDescriptorCache;
    }
    Parcel data;
    Parcel reply;
    String16 descriptor;
    // transact is not const in IBinder; asking for the descriptor changes nothing.
    const status_t status =
            const_cast<BpBinder*>(this)->transact(INTERFACE_TRANSACTION, data, &reply);
    std::lock_guard<std::mutex> guard(mLock);
    if (!mDescriptorCached && status == OK && reply.readString16(&descriptor) == OK) {
        mDescriptorCache = descriptor;
        mDescriptorCached = true;
    }
    // Before it is cached the empty cache string stands for "unknown".
    return mDescriptorCache;
}

status_t BpBinder::dump(int /*fd*/, const Vector<String16>& /*args*/) {
    // File descriptors do not travel through the host driver.
    return INVALID_OPERATION;
}

status_t BpBinder::linkToDeath(const sp<DeathRecipient>& recipient, void* cookie, uint32_t flags) {
    if (recipient == nullptr) return BAD_VALUE;
    bool deadAlready = false;
    {
        std::lock_guard<std::mutex> guard(mLock);
        if (mObitsSent) return DEAD_OBJECT;
        mObituaries.push_back({recipient, cookie, flags});
        deadAlready = mTarget->isDead();
    }
    // A link to an object that died before its notice was sent succeeds, and the notice follows
    // on a binder thread, as the kernel answers a death request on a dead node.
    if (deadAlready) hostbinder::Driver::instance().sendObituaries(sp<BpBinder>(this));
    return OK;
}

status_t BpBinder::unlinkToDeath(const wp<DeathRecipient>& recipient, void* cookie, uint32_t flags,
                                 wp<DeathRecipient>* outRecipient) {
    std::lock_guard<std::mutex> guard(mLock);
    if (mObitsSent) return DEAD_OBJECT;
    for (auto it = mObituaries.begin(); it != mObituaries.end(); ++it) {
        const bool matches =
                it->recipient == recipient || (recipient == nullptr && it->cookie == cookie);
        if (matches && it->flags == flags) {
            if (outRecipient != nullptr) *outRecipient = it->recipient;
            mObituaries.erase(it);
            return OK;
        }
    }
    return NAME_NOT_FOUND;
}

std::vector<BpBinder::Obituary> BpBinder::takeObituaries() {
    std::lock_guard<std::mutex> guard(mLock);
    mObitsSent = true;
    return std::exchange(mObituaries, {});
}

}  // namespace android
