#pragma once

// The in-process binder driver. Every binder that crosses it is treated as if it lived
// in another process: a local object sent in a parcel or registered with the service
// manager becomes a node with a handle, and the receiver always gets a BpBinder proxy
// for that node (one proxy per node while it lives). Two-way calls copy the request and
// the reply through fresh parcels and run on the caller's thread; one-way calls are
// queued per node and delivered in order on the runtime's binder threads.

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <unordered_map>

#include <binder/Binder.h>
#include <binder/BpBinder.h>
#include <binder/Parcel.h>

#include "BinderThreads.h"
#include "ProxyTarget.h"

namespace android::hostbinder {

struct AsyncCall {
    uint32_t code;
    std::unique_ptr<Parcel> data;
    uint32_t flags;
};

// A local object as the driver knows it. The node keeps the object alive while anyone
// (a proxy, a parcel in flight, the service manager) refers to it, until it dies.
struct Node final : ProxyTarget, std::enable_shared_from_this<Node> {
    Node(uint32_t handle, const sp<BBinder>& local);
    ~Node() override;

    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    uint32_t handle() const override { return nodeHandle; }
    bool isDead() override;
    status_t transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) override;

    const uint32_t nodeHandle;
    const BBinder* const key;  // identity of the object in the driver's table

    std::mutex lock;
    sp<BBinder> local;                 // guarded by lock; released when the node dies
    bool dead = false;                 // guarded by lock
    wp<BpBinder> proxy;                // guarded by lock
    std::deque<AsyncCall> asyncQueue;  // guarded by lock
    bool asyncScheduled = false;       // guarded by lock: a delivery task is posted
};

class Driver {
public:
    static Driver& instance();

    // The node of a local object, created on first use (or anew after the old one died).
    std::shared_ptr<Node> nodeForLocal(const sp<BBinder>& local);
    // The node behind a local object or proxy, without creating one.
    std::shared_ptr<Node> existingNode(const sp<IBinder>& binder);

    // The node's single live proxy.
    sp<BpBinder> proxyFor(const std::shared_ptr<Node>& node);

    // Holds its own reference to the node for the whole call, so the call never depends on
    // the caller's proxy staying alive through libutils' reference count alone.
    status_t transact(std::shared_ptr<Node> node, uint32_t code, const Parcel& data, Parcel* reply,
                      uint32_t flags);

    // Copies a parcel as the kernel would deliver it: local binders become handles and
    // the receiving parcel holds proxies for them.
    status_t translate(const Parcel& from, Parcel* to);

    // The node's process has ended: later calls answer DEAD_OBJECT, queued one-way calls
    // are dropped and death recipients are notified on a binder thread.
    void kill(const std::shared_ptr<Node>& node);

    // Delivers the proxy's death notices, once, on a binder thread.
    void sendObituaries(const sp<BpBinder>& proxy);

    void forget(const Node& node);
    size_t nodeCount();

    BinderThreads& threads() { return mThreads; }

private:
    Driver() = default;

    void deliverNextAsync(const std::shared_ptr<Node>& node);

    std::mutex mLock;
    std::unordered_map<const BBinder*, std::weak_ptr<Node>> mNodes;  // guarded by mLock
    uint32_t mNextHandle = 1;  // guarded by mLock; 0 is the context manager's
    BinderThreads mThreads;
};

}  // namespace android::hostbinder
