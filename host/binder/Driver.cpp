#define LOG_TAG "HostBinderDriver"

#include "Driver.h"

#include <cstring>
#include <utility>
#include <vector>

#include <binder/IPCThreadState.h>
#include <log/log.h>

#include "FlatBinder.h"

namespace android::hostbinder {

namespace {

// What the receiving thread sees while it serves a call, restored afterwards like
// IPCThreadState does around each incoming transaction.
class IncomingCallScope {
public:
    explicit IncomingCallScope(uint32_t flags)
        : mState(IPCThreadState::self()),
          mSavedPolicy(mState->getStrictModePolicy()),
          mSavedFlags(mState->getLastTransactionFlags()) {
        mState->setLastTransactionFlags(flags);
    }
    ~IncomingCallScope() {
        mState->setStrictModePolicy(mSavedPolicy);
        mState->setLastTransactionFlags(mSavedFlags);
    }
    IncomingCallScope(const IncomingCallScope&) = delete;
    IncomingCallScope& operator=(const IncomingCallScope&) = delete;

private:
    IPCThreadState* const mState;
    const int32_t mSavedPolicy;
    const uint32_t mSavedFlags;
};

}  // namespace

Node::Node(uint32_t handle, const sp<BBinder>& object)
    : nodeHandle(handle), key(object.get()), local(object) {}

Node::~Node() {
    Driver::instance().forget(*this);
}

status_t Node::transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
    return Driver::instance().transact(shared_from_this(), code, data, reply, flags);
}

bool Node::isDead() {
    std::lock_guard<std::mutex> guard(lock);
    return dead;
}

Driver& Driver::instance() {
    // Never destroyed: binder threads may still run while the process exits.
    static Driver* const driver = new Driver();
    return *driver;
}

std::shared_ptr<Node> Driver::nodeForLocal(const sp<BBinder>& local) {
    std::shared_ptr<Node> previous;  // released only after the lock
    std::lock_guard<std::mutex> guard(mLock);
    std::weak_ptr<Node>& slot = mNodes[local.get()];
    previous = slot.lock();
    if (previous != nullptr && !previous->isDead()) return previous;
    auto node = std::make_shared<Node>(mNextHandle++, local);
    slot = node;
    return node;
}

std::shared_ptr<Node> Driver::existingNode(const sp<IBinder>& binder) {
    if (binder == nullptr) return nullptr;
    if (BpBinder* proxy = binder->remoteBinder(); proxy != nullptr) {
        return std::dynamic_pointer_cast<Node>(proxy->mTarget);
    }
    BBinder* const local = binder->localBinder();
    if (local == nullptr) return nullptr;
    std::shared_ptr<Node> node;
    {
        std::lock_guard<std::mutex> guard(mLock);
        if (auto it = mNodes.find(local); it != mNodes.end()) node = it->second.lock();
    }
    return node;
}

void Driver::forget(const Node& node) {
    std::lock_guard<std::mutex> guard(mLock);
    auto it = mNodes.find(node.key);
    // A newer node for the same object keeps its entry.
    if (it != mNodes.end() && it->second.expired()) mNodes.erase(it);
}

size_t Driver::nodeCount() {
    std::lock_guard<std::mutex> guard(mLock);
    size_t count = 0;
    for (const auto& entry : mNodes) count += entry.second.expired() ? 0 : 1;
    return count;
}

sp<BpBinder> Driver::proxyFor(const std::shared_ptr<Node>& node) {
    sp<BpBinder> proxy;
    std::lock_guard<std::mutex> guard(node->lock);
    proxy = node->proxy.promote();
    if (proxy == nullptr) {
        proxy = new BpBinder(node, kStabilitySystem);
        node->proxy = proxy;
    }
    return proxy;
}

status_t Driver::translate(const Parcel& from, Parcel* to) {
    to->freeData();
    if (from.mDataSize != 0 && to->setData(from.mData, from.mDataSize) != OK) {
        return FAILED_TRANSACTION;
    }
    for (const Parcel::HeldObject& held : from.mObjects) {
        if (held.offset > from.mDataSize ||
            sizeof(FlatBinderObject) > from.mDataSize - held.offset) {
            return FAILED_TRANSACTION;
        }
        FlatBinderObject object;
        std::memcpy(&object, to->mData + held.offset, sizeof(object));
        sp<IBinder> received;
        if (object.type == kTypeBinder) {
            BBinder* const local = held.binder->localBinder();
            if (local == nullptr || object.cookie != reinterpret_cast<uintptr_t>(local)) {
                ALOGE("local binder object at %zu does not match its reference", held.offset);
                return FAILED_TRANSACTION;
            }
            const std::shared_ptr<Node> node = nodeForLocal(sp<BBinder>(local));
            received = proxyFor(node);
            object.type = kTypeHandle;
            object.binderOrHandle = node->nodeHandle;
            object.cookie = 0;
        } else if (object.type == kTypeHandle) {
            BpBinder* const proxy = held.binder->remoteBinder();
            if (proxy == nullptr || object.binderOrHandle != proxy->handle()) {
                ALOGE("handle object at %zu does not match its reference", held.offset);
                return FAILED_TRANSACTION;
            }
            received = held.binder;
        } else {
            ALOGE("unknown binder object type 0x%x at %zu", object.type, held.offset);
            return FAILED_TRANSACTION;
        }
        std::memcpy(to->mData + held.offset, &object, sizeof(object));
        to->mObjects.push_back({held.offset, std::move(received)});
    }
    return OK;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the copy is the call's own reference.
status_t Driver::transact(std::shared_ptr<Node> node, uint32_t code, const Parcel& data,
                          Parcel* reply, uint32_t flags) {
    sp<BBinder> target;
    {
        std::lock_guard<std::mutex> guard(node->lock);
        if (node->dead) return DEAD_OBJECT;
        target = node->local;
    }
    auto request = std::make_unique<Parcel>();
    if (status_t status = translate(data, request.get()); status != OK) return status;

    if ((flags & IBinder::FLAG_ONEWAY) != 0) {
        bool schedule = false;
        {
            std::lock_guard<std::mutex> guard(node->lock);
            if (node->dead) return DEAD_OBJECT;
            node->asyncQueue.push_back({code, std::move(request), flags});
            schedule = !node->asyncScheduled;
            node->asyncScheduled = true;
        }
        if (schedule) mThreads.post([this, node] { deliverNextAsync(node); });
        return OK;
    }

    Parcel answer;
    status_t result;
    {
        IncomingCallScope scope(flags);
        result = target->transact(code, *request, &answer, flags);
    }
    if (result < OK) {
        // A status-code reply: the caller sees the error and no data.
        if (reply != nullptr) reply->freeData();
        return result;
    }
    if (reply != nullptr) {
        if (status_t status = translate(answer, reply); status != OK) {
            reply->freeData();
            return status;
        }
    }
    return OK;
}

void Driver::deliverNextAsync(const std::shared_ptr<Node>& node) {
    AsyncCall call;
    sp<BBinder> target;
    {
        std::lock_guard<std::mutex> guard(node->lock);
        if (node->dead || node->asyncQueue.empty()) {
            node->asyncScheduled = false;
            return;
        }
        call = std::move(node->asyncQueue.front());
        node->asyncQueue.pop_front();
        target = node->local;
    }
    {
        IncomingCallScope scope(call.flags);
        Parcel ignoredReply;
        target->transact(call.code, *call.data, &ignoredReply, call.flags);
    }
    call.data.reset();
    target.clear();
    bool more = false;
    {
        std::lock_guard<std::mutex> guard(node->lock);
        more = !node->dead && !node->asyncQueue.empty();
        if (!more) node->asyncScheduled = false;
    }
    // One call per node at a time; the next one queues behind other nodes' work.
    if (more) mThreads.post([this, node] { deliverNextAsync(node); });
}

void Driver::kill(const std::shared_ptr<Node>& node) {
    sp<BpBinder> proxy;
    sp<BBinder> local;
    std::deque<AsyncCall> dropped;
    {
        std::lock_guard<std::mutex> guard(node->lock);
        if (node->dead) return;
        node->dead = true;
        proxy = node->proxy.promote();
        local = std::move(node->local);
        dropped = std::move(node->asyncQueue);
        node->asyncQueue.clear();
    }
    if (proxy != nullptr) sendObituaries(proxy);
}

void Driver::sendObituaries(const sp<BpBinder>& proxy) {
    std::vector<BpBinder::Obituary> obituaries = proxy->takeObituaries();
    if (obituaries.empty()) return;
    mThreads.post([proxy, obituaries = std::move(obituaries)] {
        const wp<IBinder> who(proxy);
        for (const BpBinder::Obituary& obituary : obituaries) {
            const sp<IBinder::DeathRecipient> recipient = obituary.recipient.promote();
            if (recipient != nullptr) recipient->binderDied(who);
        }
    });
}

}  // namespace android::hostbinder
