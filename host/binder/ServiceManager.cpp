#define LOG_TAG "ServiceManager"

#include <binder/IServiceManager.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include <binder/BpBinder.h>
#include <binder_host/HostBinder.h>
#include <log/log.h>

#include "Driver.h"
#include "HostDeviceServiceManager.h"
#include "Transport.h"

namespace android {

namespace {

// How long getService waits for a name to appear. libbinder waits a few seconds on a
// device; on the host that would only slow down tests of absent services.
constexpr std::chrono::milliseconds kGetServiceWait{1000};

using NodePtr = std::shared_ptr<hostbinder::Node>;

// The name registry, in this process. Registered objects are held as driver nodes, so
// lookups always answer proxies.
class HostServiceManager final : public IServiceManager {
public:
    sp<IBinder> getService(const String16& name) const override {
        NodePtr node;
        {
            std::unique_lock<std::mutex> lock(mLock);
            mChanged.wait_for(lock, kGetServiceWait, [&] { return findLocked(name, &node); });
        }
        return proxyFor(node);
    }

    sp<IBinder> checkService(const String16& name) const override {
        NodePtr node;
        {
            std::lock_guard<std::mutex> guard(mLock);
            findLocked(name, &node);
        }
        return proxyFor(node);
    }

    status_t addService(const String16& name, const sp<IBinder>& service, bool /*allowIsolated*/,
                        int /*dumpsysFlags*/) override {
        if (service == nullptr) return UNEXPECTED_NULL;
        auto& driver = hostbinder::Driver::instance();
        NodePtr node;
        if (BBinder* const local = service->localBinder(); local != nullptr) {
            node = driver.nodeForLocal(sp<BBinder>(local));
        } else {
            node = driver.existingNode(service);
        }
        if (node == nullptr) return BAD_TYPE;
        if (node->isDead()) return DEAD_OBJECT;
        NodePtr replaced;  // released after the lock
        {
            std::lock_guard<std::mutex> guard(mLock);
            NodePtr& slot = mServices[name];
            replaced = std::move(slot);
            slot = std::move(node);
        }
        mChanged.notify_all();
        return OK;
    }

    Vector<String16> listServices(int /*dumpsysFlags*/) override {
        Vector<String16> names;
        std::lock_guard<std::mutex> guard(mLock);
        for (const auto& entry : mServices) names.push_back(entry.first);
        return names;
    }

    sp<IBinder> waitForService(const String16& name) override {
        NodePtr node;
        {
            std::unique_lock<std::mutex> lock(mLock);
            mChanged.wait(lock, [&] { return findLocked(name, &node); });
        }
        return proxyFor(node);
    }

    bool isDeclared(const String16& /*name*/) override {
        // No VINTF manifest on the host.
        return false;
    }

    // Removes every name of the node; answers the node if the name was registered.
    NodePtr unregisterByName(const String16& name) {
        std::vector<NodePtr> removed;
        NodePtr node;
        {
            std::lock_guard<std::mutex> guard(mLock);
            if (!findLocked(name, &node)) return nullptr;
            removeLocked(node, &removed);
        }
        return node;
    }

    void unregisterNode(const NodePtr& node) {
        std::vector<NodePtr> removed;
        std::lock_guard<std::mutex> guard(mLock);
        removeLocked(node, &removed);
    }

    void clear() {
        std::map<String16, NodePtr> removed;
        std::lock_guard<std::mutex> guard(mLock);
        removed.swap(mServices);
    }

protected:
    IBinder* onAsBinder() override { return nullptr; }

private:
    bool findLocked(const String16& name, NodePtr* node) const {
        auto it = mServices.find(name);
        if (it == mServices.end()) return false;
        *node = it->second;
        return true;
    }

    // The removed entries go to the caller, to be released once the lock is dropped.
    void removeLocked(const NodePtr& node, std::vector<NodePtr>* removed) {
        for (auto it = mServices.begin(); it != mServices.end();) {
            if (it->second == node) {
                removed->push_back(std::move(it->second));
                it = mServices.erase(it);
            } else {
                ++it;
            }
        }
    }

    static sp<IBinder> proxyFor(const NodePtr& node) {
        if (node == nullptr) return nullptr;
        return hostbinder::Driver::instance().proxyFor(node);
    }

    mutable std::mutex mLock;
    mutable std::condition_variable mChanged;
    std::map<String16, NodePtr> mServices;  // guarded by mLock
};

HostServiceManager& hostServiceManager() {
    // Never destroyed: binder threads and late callers may use it while the process exits.
    static HostServiceManager* const manager = [] {
        auto* created = new HostServiceManager();
        created->incStrong(nullptr);
        return created;
    }();
    return *manager;
}

}  // namespace

IServiceManager::IServiceManager() = default;
IServiceManager::~IServiceManager() = default;

const String16& IServiceManager::getInterfaceDescriptor() const {
    static const String16* const kDescriptor = new String16("android.os.IServiceManager");
    return *kDescriptor;
}

sp<IServiceManager> defaultServiceManager() {
    if (hostbinder::Transport::get() != nullptr) return hostbinder::hostDeviceServiceManager();
    return &hostServiceManager();
}

namespace hostbinder {

status_t killService(const String16& name) {
    if (Transport::get() != nullptr) return INVALID_OPERATION;
    const NodePtr node = hostServiceManager().unregisterByName(name);
    if (node == nullptr) return NAME_NOT_FOUND;
    Driver::instance().kill(node);
    return OK;
}

status_t killBinder(const sp<IBinder>& binder) {
    if (binder == nullptr) return BAD_VALUE;
    if (Transport::get() != nullptr) return INVALID_OPERATION;
    const NodePtr node = Driver::instance().existingNode(binder);
    if (node == nullptr) return NAME_NOT_FOUND;
    hostServiceManager().unregisterNode(node);
    Driver::instance().kill(node);
    return OK;
}

void waitForIdle() {
    LOG_ALWAYS_FATAL_IF(BinderThreads::isBinderThread(),
                        "waitForIdle would wait for the calling binder thread itself");
    Driver::instance().threads().waitForIdle();
}

void clearServices() {
    hostServiceManager().clear();
}

size_t nodeCount() {
    if (Transport* transport = Transport::get(); transport != nullptr)
        return transport->nodeCount();
    return Driver::instance().nodeCount();
}

bool isBinderThread() {
    return BinderThreads::isBinderThread();
}

}  // namespace hostbinder

}  // namespace android
