#define LOG_TAG "HostBinderTransport"

#include "Transport.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <utility>

#include <binder/IPCThreadState.h>
#include <binder_host/HostBinder.h>
#include <log/log.h>

#include "Driver.h"
#include "FlatBinder.h"

namespace android::hostbinder {

namespace {

constexpr const char* kServiceManagerLink = "servicemanager";
// Idle connections kept per peer; more are closed when a burst of callers is over.
constexpr size_t kMaxIdle = 1;
constexpr wire::FrameHeader kHelloFrame{0, wire::kHello};

std::mutex gModeLock;
std::atomic<bool> gSettled{false};
std::atomic<Transport*> gTransport{nullptr};

// The connection the calling thread is serving a call from (or waiting on for a reply), so
// a call back into that process travels on it and is served by the thread that waits there.
thread_local const void* tServing = nullptr;

// Scratch buffers reused by each thread: a frame is always encoded right before it is sent
// and decoded into a parcel before any user code runs, so nesting never clobbers one in use.
thread_local std::vector<uint8_t> tSendBuffer;
thread_local std::vector<uint8_t> tReceiveBuffer;

bool writeAll(int fd, const uint8_t* bytes, size_t size) {
    while (size > 0) {
        const ssize_t sent = ::send(fd, bytes, size, MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        bytes += sent;
        size -= static_cast<size_t>(sent);
    }
    return true;
}

// 1: read all, 0: end of stream before the first byte, -1: error or end in the middle.
int readAll(int fd, uint8_t* bytes, size_t size) {
    size_t done = 0;
    while (done < size) {
        const ssize_t got = ::recv(fd, bytes + done, size - done, 0);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return done == 0 && got == 0 ? 0 : -1;
        done += static_cast<size_t>(got);
    }
    return 1;
}

// When the process started (clock ticks since boot), telling it from a later one with the same
// pid; 0 when it is gone or cannot be read.
uint64_t processStart(pid_t pid) {
    char path[32];
    std::snprintf(path, sizeof(path), "/proc/%d/stat", static_cast<int>(pid));
    const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return 0;
    char text[1024];
    const ssize_t size = ::read(fd, text, sizeof(text) - 1);
    ::close(fd);
    if (size <= 0) return 0;
    text[size] = '\0';
    // The command name may hold anything, so the fields are counted from its closing ')'.
    const char* field = std::strrchr(text, ')');
    if (field == nullptr) return 0;
    // Field 3 (the state) follows the name; the start time is field 22.
    for (int i = 2; i < 22 && field != nullptr; ++i) field = std::strchr(field + 1, ' ');
    return field != nullptr ? std::strtoull(field + 1, nullptr, 10) : 0;
}

bool fillAddress(const std::string& path, sockaddr_un* address) {
    std::memset(address, 0, sizeof(*address));
    address->sun_family = AF_UNIX;
    if (path.size() >= sizeof(address->sun_path)) return false;
    std::memcpy(address->sun_path, path.c_str(), path.size() + 1);
    return true;
}

// What the serving thread sees while it serves a call, restored afterwards like
// IPCThreadState does around each incoming transaction.
class ServingScope {
public:
    ServingScope(const void* conn, pid_t pid, uid_t uid, uint32_t flags)
        : mState(IPCThreadState::self()),
          mSavedIdentity(mState->clearCallingIdentity()),
          mSavedPolicy(mState->getStrictModePolicy()),
          mSavedFlags(mState->getLastTransactionFlags()),
          mSavedServing(tServing) {
        mState->restoreCallingIdentity(static_cast<int64_t>(static_cast<uint64_t>(uid) << 32 |
                                                            static_cast<uint32_t>(pid)));
        mState->setLastTransactionFlags(flags);
        tServing = conn;
    }
    ~ServingScope() {
        tServing = mSavedServing;
        mState->restoreCallingIdentity(mSavedIdentity);
        mState->setStrictModePolicy(mSavedPolicy);
        mState->setLastTransactionFlags(mSavedFlags);
    }
    ServingScope(const ServingScope&) = delete;
    ServingScope& operator=(const ServingScope&) = delete;

private:
    IPCThreadState* const mState;
    const int64_t mSavedIdentity;
    const int32_t mSavedPolicy;
    const uint32_t mSavedFlags;
    const void* const mSavedServing;
};

void makeDirectories(const std::string& device, const std::string& binderDir) {
    ::mkdir(device.c_str(), 0755);
    ::mkdir(binderDir.c_str(), 0755);
}

}  // namespace

// --- mode and start ----------------------------------------------------------------------

Transport::Transport(std::string dir, sp<BBinder> manager)
    : mDir(std::move(dir)), mSelf(::getpid()), mManager(std::move(manager)) {
    if (mManager != nullptr) {
        mLocal[0].object = mManager;
        mIdsByObject[mManager.get()] = 0;
    }
}

Transport* Transport::get() {
    if (gSettled.load(std::memory_order_acquire)) return gTransport.load(std::memory_order_acquire);
    std::lock_guard<std::mutex> guard(gModeLock);
    if (!gSettled.load(std::memory_order_relaxed)) {
        const char* const device = std::getenv(kHostDeviceEnv);
        if (device != nullptr && device[0] != '\0') {
            auto* transport = new Transport(std::string(device) + "/binder", nullptr);
            makeDirectories(device, transport->mDir);
            if (status_t status = transport->listen(); status != OK) {
                // Calls still fail cleanly: nobody can reach this process, and it reaches
                // others only if their sockets exist.
                ALOGE("host device %s: cannot listen (%d)", device, status);
            }
            gTransport.store(transport, std::memory_order_release);
        }
        gSettled.store(true, std::memory_order_release);
    }
    return gTransport.load(std::memory_order_acquire);
}

status_t Transport::startServiceManager(const char* dir, const sp<BBinder>& manager) {
    if (dir == nullptr || dir[0] == '\0') return BAD_VALUE;
    std::lock_guard<std::mutex> guard(gModeLock);
    if (gSettled.load(std::memory_order_relaxed)) return INVALID_OPERATION;
    std::unique_ptr<Transport> transport(new Transport(std::string(dir) + "/binder", manager));
    makeDirectories(dir, transport->mDir);
    if (status_t status = transport->linkServiceManager(); status != OK) return status;
    if (status_t status = transport->listen(); status != OK) return status;
    // Published only after the socket listens, so the link never points at nothing.
    const std::string link = transport->mDir + "/" + kServiceManagerLink;
    const std::string temporary = link + "." + std::to_string(transport->mSelf);
    ::unlink(temporary.c_str());
    if (::symlink(std::to_string(transport->mSelf).c_str(), temporary.c_str()) != 0 ||
        ::rename(temporary.c_str(), link.c_str()) != 0) {
        return -errno;
    }
    gTransport.store(transport.release(), std::memory_order_release);
    gSettled.store(true, std::memory_order_release);
    return OK;
}

status_t Transport::linkServiceManager() {
    sockaddr_un address;
    if (!fillAddress(mDir + "/" + std::to_string(mSelf) + ".xxxxxxxxxx", &address)) {
        return BAD_VALUE;
    }
    pid_t pid = 0;
    uid_t uid = 0;
    const int fd = connectTo(mDir + "/" + kServiceManagerLink, &pid, &uid);
    if (fd >= 0) {
        ::close(fd);
        return ALREADY_EXISTS;
    }
    return OK;
}

status_t Transport::listen() {
    const std::string path = mDir + "/" + std::to_string(mSelf);
    sockaddr_un address;
    if (!fillAddress(path, &address)) return BAD_VALUE;
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -errno;
    ::unlink(path.c_str());  // left by an earlier process with our pid
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(fd, 128) != 0) {
        const status_t status = -errno;
        ::close(fd);
        return status;
    }
    mListen = fd;
    std::thread([this] { acceptLoop(); }).detach();
    return OK;
}

void Transport::acceptLoop() {
    for (;;) {
        const int fd = ::accept4(mListen, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) {
            if (errno == EINTR || errno == ECONNABORTED) continue;
            ALOGE("accept failed: %s; no more incoming connections", std::strerror(errno));
            return;
        }
        ucred credentials{};
        socklen_t length = sizeof(credentials);
        if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0 ||
            credentials.pid <= 0) {
            ::close(fd);
            continue;
        }
        std::shared_ptr<Peer> peer;
        {
            std::lock_guard<std::mutex> guard(mLock);
            peer = peerForLocked(credentials.pid);
            std::lock_guard<std::mutex> peerGuard(peer->lock);
            peer->uid.store(credentials.uid, std::memory_order_relaxed);
            peer->open.insert(fd);
        }
        std::thread([this, conn = Conn{fd, std::move(peer), true}] {
            serveConnection(conn);
        }).detach();
    }
}

// --- peers and connections ---------------------------------------------------------------

std::shared_ptr<Peer> Transport::peerForLocked(pid_t pid) {
    if (auto it = mPeers.find(pid); it != mPeers.end()) return it->second;
    const uint64_t started = processStart(pid);
    if (auto ended = mEnded.find(pid); ended != mEnded.end()) {
        if (started == 0 || started == ended->second) {
            // The process we saw end: its socket may still take connections for a moment
            // and others may not have noticed yet, but nothing of it is alive.
            auto peer = std::make_shared<Peer>(pid, mDir + "/" + std::to_string(pid));
            peer->dead.store(true, std::memory_order_release);
            return peer;
        }
        mEnded.erase(ended);  // a new process with the same pid
    }
    auto peer = std::make_shared<Peer>(pid, mDir + "/" + std::to_string(pid));
    peer->started = started;
    mPeers.emplace(pid, peer);
    return peer;
}

int Transport::connectTo(const std::string& path, pid_t* pid, uid_t* uid) {
    sockaddr_un address;
    if (!fillAddress(path, &address)) return -1;
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    ucred credentials{};
    socklen_t length = sizeof(credentials);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0) {
        ::close(fd);
        return -1;
    }
    *pid = credentials.pid;
    *uid = credentials.uid;
    return fd;
}

int Transport::controlLocked(const std::shared_ptr<Peer>& peer, bool* failed) {
    if (peer->dead.load(std::memory_order_acquire)) return -1;
    if (peer->controlTried) return peer->control;
    peer->controlTried = true;
    pid_t pid = 0;
    uid_t uid = 0;
    const int fd = connectTo(peer->path, &pid, &uid);
    if (fd < 0 || pid != peer->pid ||
        !writeAll(fd, reinterpret_cast<const uint8_t*>(&kHelloFrame), sizeof(kHelloFrame))) {
        if (fd >= 0) ::close(fd);
        *failed = true;
        return -1;
    }
    peer->uid.store(uid, std::memory_order_relaxed);
    peer->control = fd;
    peer->open.insert(fd);
    std::thread([this, peer, fd] { watchControl(peer, fd); }).detach();
    return fd;
}

void Transport::ensureControl(const std::shared_ptr<Peer>& peer) {
    bool failed = false;
    {
        std::lock_guard<std::mutex> guard(peer->lock);
        controlLocked(peer, &failed);
    }
    if (failed) peerGone(peer->pid, nullptr);
}

bool Transport::sendControl(const std::shared_ptr<Peer>& peer, const std::vector<uint8_t>& frame) {
    bool failed = false;
    bool sent = false;
    {
        std::lock_guard<std::mutex> guard(peer->lock);
        const int fd = controlLocked(peer, &failed);
        sent = fd >= 0 && writeAll(fd, frame.data(), frame.size());
    }
    if (failed) peerGone(peer->pid, nullptr);
    return sent;
}

void Transport::watchControl(const std::shared_ptr<Peer>& peer, int fd) {
    uint8_t byte;
    ssize_t got;
    do {
        got = ::recv(fd, &byte, 1, 0);
    } while (got < 0 && errno == EINTR);
    peerGone(peer->pid, got > 0 ? "data on a one-way channel" : nullptr);
    std::lock_guard<std::mutex> guard(peer->lock);
    peer->open.erase(fd);
    peer->control = -1;
    ::close(fd);
}

int Transport::borrow(const std::shared_ptr<Peer>& peer) {
    {
        std::lock_guard<std::mutex> guard(peer->lock);
        if (peer->dead.load(std::memory_order_acquire)) return -1;
        if (!peer->idle.empty()) {
            const int fd = peer->idle.back();
            peer->idle.pop_back();
            return fd;
        }
    }
    pid_t pid = 0;
    uid_t uid = 0;
    const int fd = connectTo(peer->path, &pid, &uid);
    if (fd < 0 || pid != peer->pid) {
        if (fd >= 0) ::close(fd);
        peerGone(peer->pid, nullptr);
        return -1;
    }
    std::lock_guard<std::mutex> guard(peer->lock);
    if (peer->dead.load(std::memory_order_acquire)) {
        ::close(fd);
        return -1;
    }
    peer->uid.store(uid, std::memory_order_relaxed);
    peer->open.insert(fd);
    return fd;
}

void Transport::giveBack(const std::shared_ptr<Peer>& peer, int fd, bool healthy) {
    std::lock_guard<std::mutex> guard(peer->lock);
    if (healthy && !peer->dead.load(std::memory_order_acquire) && peer->idle.size() < kMaxIdle) {
        peer->idle.push_back(fd);
        return;
    }
    peer->open.erase(fd);
    ::close(fd);
}

void Transport::peerGone(pid_t pid, const char* why) {
    std::shared_ptr<Peer> peer;
    std::vector<sp<BBinder>> released;  // dropped after the locks
    std::vector<std::shared_ptr<RemoteNode>> nodes;
    std::vector<sp<BpBinder>> proxies;
    {
        std::lock_guard<std::mutex> guard(mLock);
        auto it = mPeers.find(pid);
        if (it == mPeers.end()) return;
        peer = std::move(it->second);
        mPeers.erase(it);
        peer->dead.store(true, std::memory_order_release);
        if (peer->started != 0) mEnded[pid] = peer->started;
        for (auto node = mLocal.begin(); node != mLocal.end();) {
            node->second.refs.erase(pid);
            if (node->second.refs.empty() && node->first != 0) {
                mIdsByObject.erase(node->second.object.get());
                released.push_back(std::move(node->second.object));
                node = mLocal.erase(node);
            } else {
                ++node;
            }
        }
        auto remote = mRemotes.lower_bound({pid, 0});
        while (remote != mRemotes.end() && remote->first.first == pid) {
            if (auto node = remote->second.lock(); node != nullptr) {
                if (sp<BpBinder> proxy = node->proxy.promote(); proxy != nullptr) {
                    proxies.push_back(std::move(proxy));
                }
                nodes.push_back(std::move(node));
            }
            remote = mRemotes.erase(remote);
        }
    }
    if (why != nullptr) ALOGE("cutting off process %d: %s", pid, why);
    {
        std::lock_guard<std::mutex> guard(peer->lock);
        for (int fd : peer->idle) {
            peer->open.erase(fd);
            ::close(fd);
        }
        peer->idle.clear();
        // Wakes every thread reading from it; each closes its own descriptor.
        for (int fd : peer->open) ::shutdown(fd, SHUT_RDWR);
    }
    // The process serving the service manager tidies the sockets of processes that ended.
    if (mManager != nullptr) ::unlink(peer->path.c_str());
    for (const sp<BpBinder>& proxy : proxies) Driver::instance().sendObituaries(proxy);
}

sp<IBinder> Transport::contextManager() {
    if (mManager != nullptr) return mManager;
    {
        std::lock_guard<std::mutex> guard(mLock);
        if (mManagerProxy != nullptr && mManagerProxy->isBinderAlive()) return mManagerProxy;
    }
    pid_t pid = 0;
    uid_t uid = 0;
    const int fd = connectTo(mDir + "/" + kServiceManagerLink, &pid, &uid);
    if (fd < 0) return nullptr;
    std::shared_ptr<Peer> peer;
    sp<IBinder> proxy;
    sp<IBinder> previous;  // released after the lock
    {
        std::lock_guard<std::mutex> guard(mLock);
        peer = peerForLocked(pid);
        bool fresh = false;
        proxy = proxyForLocked(peer, 0, /*count=*/false, &fresh);
        previous = std::exchange(mManagerProxy, proxy);
        peer->uid.store(uid, std::memory_order_relaxed);
    }
    // The connection just made becomes the ordered channel (and death watch) of the peer.
    std::lock_guard<std::mutex> guard(peer->lock);
    if (!peer->controlTried && !peer->dead.load(std::memory_order_acquire) &&
        writeAll(fd, reinterpret_cast<const uint8_t*>(&kHelloFrame), sizeof(kHelloFrame))) {
        peer->controlTried = true;
        peer->control = fd;
        peer->open.insert(fd);
        std::thread([this, peer, fd] { watchControl(peer, fd); }).detach();
    } else {
        ::close(fd);
    }
    return proxy;
}

sp<BpBinder> Transport::proxyForLocked(const std::shared_ptr<Peer>& peer, uint64_t id, bool count,
                                       bool* fresh) {
    std::weak_ptr<RemoteNode>& slot = mRemotes[{peer->pid, id}];
    std::shared_ptr<RemoteNode> node = slot.lock();
    if (node == nullptr) {
        node = std::make_shared<RemoteNode>(peer, id, id == 0 ? 0 : mNextHandle++);
        slot = node;
        *fresh = true;
    }
    if (count) ++node->received;
    sp<BpBinder> proxy = node->proxy.promote();
    if (proxy == nullptr) {
        proxy = new BpBinder(node, kStabilityUndeclared);
        node->proxy = proxy;
    }
    return proxy;
}

bool Transport::checkAlive(BpBinder& proxy) {
    const std::shared_ptr<ProxyTarget> target = proxy.mTarget;
    auto* const remote = dynamic_cast<RemoteNode*>(target.get());
    if (remote == nullptr) return !target->isDead();
    const std::shared_ptr<Peer>& peer = remote->peer;
    if (peer->dead.load(std::memory_order_acquire)) return false;
    bool ended = false;
    {
        std::lock_guard<std::mutex> guard(peer->lock);
        if (peer->control >= 0) {
            pollfd event{peer->control, POLLIN | POLLRDHUP, 0};
            // Any event counts: the owner never writes on this channel while it lives.
            ended = ::poll(&event, 1, 0) == 1 && event.revents != 0;
        }
    }
    if (ended) {
        bool current = false;
        {
            std::lock_guard<std::mutex> guard(mLock);
            auto it = mPeers.find(peer->pid);
            current = it != mPeers.end() && it->second == peer;
        }
        if (current) peerGone(peer->pid, nullptr);
    }
    return !peer->dead.load(std::memory_order_acquire);
}

RemoteNode::~RemoteNode() {
    if (Transport* transport = Transport::get(); transport != nullptr) {
        transport->releaseRemote(*this);
    }
}

void Transport::releaseRemote(RemoteNode& node) {
    uint32_t count = 0;
    {
        std::lock_guard<std::mutex> guard(mLock);
        auto it = mRemotes.find({node.peer->pid, node.id});
        if (it != mRemotes.end() && it->second.expired()) mRemotes.erase(it);
        count = node.received;
    }
    if (count == 0 || node.peer->dead.load(std::memory_order_acquire)) return;
    std::vector<uint8_t> frame(sizeof(wire::FrameHeader) + sizeof(wire::RefHead));
    const wire::FrameHeader header{sizeof(wire::RefHead), wire::kRelease};
    const wire::RefHead head{node.id, count, 0};
    std::memcpy(frame.data(), &header, sizeof(header));
    std::memcpy(frame.data() + sizeof(header), &head, sizeof(head));
    sendControl(node.peer, frame);
}

size_t Transport::nodeCount() {
    std::lock_guard<std::mutex> guard(mLock);
    return mLocal.size() - (mManager != nullptr ? 1 : 0);
}

// --- frames ------------------------------------------------------------------------------

status_t Transport::encodeParcel(uint32_t command, uint64_t node, uint32_t code, uint32_t flags,
                                 int32_t status, const Parcel* parcel, const Peer& to,
                                 std::vector<uint8_t>* frame) {
    const size_t dataSize = parcel != nullptr ? parcel->mDataSize : 0;
    const size_t objectCount = parcel != nullptr ? parcel->mObjects.size() : 0;
    if (wire::transactionBytes(dataSize, objectCount) > wire::kMaxTransactionBytes) {
        return FAILED_TRANSACTION;
    }
    const size_t headSize =
            command == wire::kTransaction ? sizeof(wire::TransactionHead) : sizeof(wire::ReplyHead);
    const size_t payload =
            headSize + wire::paddedData(dataSize) + objectCount * sizeof(wire::WireObject);
    frame->assign(sizeof(wire::FrameHeader) + payload, 0);
    uint8_t* out = frame->data();
    const wire::FrameHeader header{static_cast<uint32_t>(payload), command};
    std::memcpy(out, &header, sizeof(header));
    out += sizeof(header);
    if (command == wire::kTransaction) {
        const wire::TransactionHead head{node, code, flags, static_cast<uint32_t>(dataSize),
                                         static_cast<uint32_t>(objectCount)};
        std::memcpy(out, &head, sizeof(head));
    } else {
        const wire::ReplyHead head{status, 0, static_cast<uint32_t>(dataSize),
                                   static_cast<uint32_t>(objectCount)};
        std::memcpy(out, &head, sizeof(head));
    }
    out += headSize;
    if (dataSize == 0) return OK;
    std::memcpy(out, parcel->mData, dataSize);
    if (objectCount == 0) return OK;

    std::vector<const Parcel::HeldObject*> objects;
    objects.reserve(objectCount);
    for (const Parcel::HeldObject& held : parcel->mObjects) objects.push_back(&held);
    std::sort(objects.begin(), objects.end(),
              [](auto* a, auto* b) { return a->offset < b->offset; });
    uint8_t* entry = out + wire::paddedData(dataSize);
    std::lock_guard<std::mutex> guard(mLock);
    for (const Parcel::HeldObject* held : objects) {
        if (held->offset > dataSize || sizeof(FlatBinderObject) > dataSize - held->offset) {
            return FAILED_TRANSACTION;
        }
        FlatBinderObject flat;
        std::memcpy(&flat, parcel->mData + held->offset, sizeof(flat));
        wire::WireObject object{held->offset, 0, 0, 0};
        if (BBinder* const local = held->binder->localBinder(); local != nullptr) {
            if (flat.type != kTypeBinder || flat.cookie != reinterpret_cast<uintptr_t>(local)) {
                return FAILED_TRANSACTION;
            }
            // The receiver holds a reference from the moment it is sent; a receiver that is
            // already gone would never give it back.
            if (mPeers.find(to.pid) == mPeers.end()) return DEAD_OBJECT;
            auto [id, inserted] = mIdsByObject.try_emplace(local, mNextNode);
            if (inserted) {
                ++mNextNode;
                mLocal[id->second].object = local;
            }
            ++mLocal[id->second].refs[to.pid];
            object.node = id->second;
            object.owner = mSelf;
        } else if (BpBinder* const proxy = held->binder->remoteBinder(); proxy != nullptr) {
            auto* const remote = dynamic_cast<RemoteNode*>(proxy->mTarget.get());
            if (remote == nullptr || flat.type != kTypeHandle ||
                flat.binderOrHandle != remote->handle()) {
                return FAILED_TRANSACTION;
            }
            object.node = remote->id;
            object.owner = remote->peer->pid;
        } else {
            return FAILED_TRANSACTION;
        }
        std::memcpy(entry, &object, sizeof(object));
        entry += sizeof(object);
    }
    return OK;
}

Transport::Outcome Transport::decodeParcel(const wire::DecodedFrame& frame, const Conn& from,
                                           Parcel* out) {
    out->freeData();
    if (frame.dataSize != 0 && out->setData(frame.data, frame.dataSize) != OK)
        return Outcome::kGone;
    if (frame.objectCount == 0) return Outcome::kOk;
    Outcome outcome = Outcome::kOk;
    std::vector<std::shared_ptr<Peer>> watch;                         // owners of new proxies
    std::vector<std::pair<std::shared_ptr<Peer>, uint64_t>> acquire;  // third-party nodes
    {
        std::lock_guard<std::mutex> guard(mLock);
        for (size_t i = 0; i < frame.objectCount && outcome == Outcome::kOk; ++i) {
            wire::WireObject object;
            std::memcpy(&object,
                        reinterpret_cast<const uint8_t*>(frame.objects) + i * sizeof(object),
                        sizeof(object));
            FlatBinderObject flat;
            std::memcpy(&flat, out->mData + object.offset, sizeof(flat));
            sp<IBinder> binder;
            if (object.owner == mSelf) {
                auto it = mLocal.find(object.node);
                if (it == mLocal.end()) {
                    const bool neverGiven =
                            object.node >= mNextNode || (object.node == 0 && mManager == nullptr);
                    outcome = neverGiven ? Outcome::kHostile : Outcome::kGone;
                    break;
                }
                const sp<BBinder>& local = it->second.object;
                binder = local;
                flat.type = kTypeBinder;
                flat.binderOrHandle = reinterpret_cast<uintptr_t>(local->getWeakRefs());
                flat.cookie = reinterpret_cast<uintptr_t>(local.get());
            } else {
                const bool direct = object.owner == from.peer->pid;
                std::shared_ptr<Peer> owner = direct ? from.peer : peerForLocked(object.owner);
                if (owner->dead.load(std::memory_order_acquire))
                    owner = peerForLocked(object.owner);
                bool fresh = false;
                const sp<BpBinder> proxy =
                        proxyForLocked(owner, object.node, /*count=*/object.node != 0, &fresh);
                if (!direct && object.node != 0) {
                    acquire.emplace_back(owner, object.node);
                } else if (fresh) {
                    watch.push_back(owner);
                }
                flat.type = kTypeHandle;
                flat.binderOrHandle = proxy->handle();
                flat.cookie = 0;
                binder = proxy;
            }
            std::memcpy(out->mData + object.offset, &flat, sizeof(flat));
            out->mObjects.push_back({static_cast<size_t>(object.offset), std::move(binder)});
        }
    }
    for (const auto& [owner, node] : acquire) {
        std::vector<uint8_t> message(sizeof(wire::FrameHeader) + sizeof(wire::RefHead));
        const wire::FrameHeader header{sizeof(wire::RefHead), wire::kAcquire};
        const wire::RefHead head{node, 1, 0};
        std::memcpy(message.data(), &header, sizeof(header));
        std::memcpy(message.data() + sizeof(header), &head, sizeof(head));
        sendControl(owner, message);
    }
    for (const auto& owner : watch) ensureControl(owner);
    if (outcome != Outcome::kOk) out->freeData();
    return outcome;
}

Transport::Outcome Transport::readFrame(int fd, std::vector<uint8_t>* buffer,
                                        wire::DecodedFrame* frame) {
    wire::FrameHeader header;
    const int got = readAll(fd, reinterpret_cast<uint8_t*>(&header), sizeof(header));
    if (got == 0) return Outcome::kGone;
    if (got < 0 || header.length > wire::kMaxPayload) return Outcome::kHostile;
    buffer->resize(sizeof(header) + header.length);
    std::memcpy(buffer->data(), &header, sizeof(header));
    if (readAll(fd, buffer->data() + sizeof(header), header.length) != 1) return Outcome::kHostile;
    *frame = wire::decodeFrame(buffer->data(), buffer->size());
    return frame->valid ? Outcome::kOk : Outcome::kHostile;
}

status_t Transport::converse(const Conn& conn, const std::vector<uint8_t>* request, Parcel* reply,
                             bool* broken) {
    *broken = true;
    const pid_t pid = conn.peer->pid;
    bool channel = false;  // the peer's ordered channel: its end is the peer's
    if (request != nullptr && !writeAll(conn.fd, request->data(), request->size())) {
        peerGone(pid, nullptr);
        return DEAD_OBJECT;
    }
    for (;;) {
        wire::DecodedFrame frame;
        Outcome outcome = readFrame(conn.fd, &tReceiveBuffer, &frame);
        if (outcome == Outcome::kOk) {
            switch (frame.command) {
                case wire::kReply: {
                    if (request == nullptr || frame.status > 0) {
                        outcome = Outcome::kHostile;
                        break;
                    }
                    *broken = false;
                    if (frame.status < 0) {
                        if (reply != nullptr) reply->freeData();
                        return frame.status;
                    }
                    Parcel ignored;  // objects in it are still accounted for, then released
                    Parcel* const target = reply != nullptr ? reply : &ignored;
                    outcome = decodeParcel(frame, conn, target);
                    if (outcome == Outcome::kOk) return OK;
                    if (outcome == Outcome::kGone) return FAILED_TRANSACTION;
                    *broken = true;
                    break;
                }
                case wire::kTransaction:
                    outcome = serveTransaction(conn, frame);
                    break;
                case wire::kHello:
                    if (!conn.accepted || channel) outcome = Outcome::kHostile;
                    channel = true;
                    break;
                default:
                    outcome = applyRef(conn, frame);
                    break;
            }
        }
        if (outcome == Outcome::kOk) continue;
        // A pooled connection the peer closed because it had enough idle ones.
        if (outcome == Outcome::kGone && conn.accepted && !channel && request == nullptr) {
            return OK;
        }
        peerGone(pid, outcome == Outcome::kHostile ? "malformed or forged frame" : nullptr);
        if (reply != nullptr) reply->freeData();
        return DEAD_OBJECT;
    }
}

void Transport::serveConnection(const Conn& conn) {
    bool broken = false;
    converse(conn, nullptr, nullptr, &broken);
    std::lock_guard<std::mutex> guard(conn.peer->lock);
    conn.peer->open.erase(conn.fd);
    ::close(conn.fd);
}

Transport::Outcome Transport::serveTransaction(const Conn& conn, const wire::DecodedFrame& frame) {
    const uint32_t code = frame.code;
    const uint32_t flags = frame.flags;
    sp<BBinder> target;
    std::shared_ptr<AsyncQueue> async;
    {
        std::lock_guard<std::mutex> guard(mLock);
        if (auto it = mLocal.find(frame.node); it != mLocal.end()) {
            target = it->second.object;
            async = it->second.async;
        } else if (frame.node >= mNextNode || (frame.node == 0 && mManager == nullptr)) {
            return Outcome::kHostile;  // a node this process never gave out
        }
    }
    auto data = std::make_unique<Parcel>();
    const Outcome decoded = decodeParcel(frame, conn, data.get());
    if (decoded == Outcome::kHostile) return decoded;
    status_t failure = target == nullptr ? DEAD_OBJECT : OK;
    if (decoded == Outcome::kGone) failure = FAILED_TRANSACTION;
    const pid_t pid = conn.peer->pid;
    const uid_t uid = conn.peer->uid.load(std::memory_order_relaxed);

    if ((flags & IBinder::FLAG_ONEWAY) != 0) {
        if (failure != OK) return Outcome::kOk;
        bool schedule = false;
        {
            std::lock_guard<std::mutex> guard(async->lock);
            async->calls.push_back({code, std::move(data), flags, pid, uid});
            schedule = !async->scheduled;
            async->scheduled = true;
        }
        if (schedule) {
            Driver::instance().threads().post(
                    [this, async, target] { deliverNextAsync(async, target); });
        }
        return Outcome::kOk;
    }

    Parcel reply;
    status_t result = failure;
    if (failure == OK) {
        ServingScope scope(&conn, pid, uid, flags);
        result = target->transact(code, *data, &reply, flags);
    }
    data.reset();
    target.clear();
    status_t encoded = result < OK ? result : OK;
    std::vector<uint8_t>& out = tSendBuffer;
    if (encoded == OK) {
        encoded = encodeParcel(wire::kReply, 0, 0, 0, OK, &reply, *conn.peer, &out);
    }
    if (encoded != OK) encodeParcel(wire::kReply, 0, 0, 0, encoded, nullptr, *conn.peer, &out);
    return writeAll(conn.fd, out.data(), out.size()) ? Outcome::kOk : Outcome::kGone;
}

void Transport::deliverNextAsync(const std::shared_ptr<AsyncQueue>& queue,
                                 const sp<BBinder>& target) {
    AsyncCall call;
    {
        std::lock_guard<std::mutex> guard(queue->lock);
        if (queue->calls.empty()) {
            queue->scheduled = false;
            return;
        }
        call = std::move(queue->calls.front());
        queue->calls.pop_front();
    }
    {
        ServingScope scope(nullptr, call.pid, call.uid, call.flags);
        Parcel ignoredReply;
        target->transact(call.code, *call.data, &ignoredReply, call.flags);
    }
    call.data.reset();
    bool more = false;
    {
        std::lock_guard<std::mutex> guard(queue->lock);
        more = !queue->calls.empty();
        if (!more) queue->scheduled = false;
    }
    // One call per node at a time; the next one queues behind other work.
    if (more) {
        Driver::instance().threads().post(
                [this, queue, target] { deliverNextAsync(queue, target); });
    }
}

Transport::Outcome Transport::applyRef(const Conn& conn, const wire::DecodedFrame& frame) {
    sp<BBinder> released;  // dropped after the lock
    std::lock_guard<std::mutex> guard(mLock);
    const pid_t pid = conn.peer->pid;
    auto it = mLocal.find(frame.node);
    if (it == mLocal.end()) {
        const bool neverGiven = frame.node >= mNextNode || (frame.node == 0 && mManager == nullptr);
        return neverGiven ? Outcome::kHostile : Outcome::kOk;
    }
    if (mPeers.find(pid) == mPeers.end() || frame.node == 0) return Outcome::kOk;
    if (frame.command == wire::kAcquire) {
        ++it->second.refs[pid];
        return Outcome::kOk;
    }
    auto ref = it->second.refs.find(pid);
    if (ref == it->second.refs.end() || ref->second < frame.count) return Outcome::kHostile;
    ref->second -= frame.count;
    if (ref->second == 0) it->second.refs.erase(ref);
    if (it->second.refs.empty() && conn.peer->waitingReplies > 0) {
        conn.peer->deferred.push_back(frame.node);
    } else if (it->second.refs.empty()) {
        mIdsByObject.erase(it->second.object.get());
        released = std::move(it->second.object);
        mLocal.erase(it);
    }
    return Outcome::kOk;
}

status_t Transport::transact(RemoteNode& node, uint32_t code, const Parcel& data, Parcel* reply,
                             uint32_t flags) {
    const std::shared_ptr<Peer>& peer = node.peer;
    if (peer->dead.load(std::memory_order_acquire)) return DEAD_OBJECT;
    std::vector<uint8_t>& request = tSendBuffer;
    if (status_t status =
                encodeParcel(wire::kTransaction, node.id, code, flags, 0, &data, *peer, &request);
        status != OK) {
        return status;
    }
    if ((flags & IBinder::FLAG_ONEWAY) != 0) {
        return sendControl(peer, request) ? OK : DEAD_OBJECT;
    }
    bool broken = false;
    if (tServing != nullptr) {
        const Conn& serving = *static_cast<const Conn*>(tServing);
        if (serving.peer == peer) return call(serving, request, reply, &broken);
    }
    const int fd = borrow(peer);
    if (fd < 0) return DEAD_OBJECT;
    const Conn conn{fd, peer};
    const status_t status = call(conn, request, reply, &broken);
    giveBack(peer, fd, !broken);
    return status;
}

status_t Transport::call(const Conn& conn, const std::vector<uint8_t>& request, Parcel* reply,
                         bool* broken) {
    Peer& peer = *conn.peer;
    {
        std::lock_guard<std::mutex> guard(mLock);
        ++peer.waitingReplies;
    }
    const status_t status = converse(conn, &request, reply, broken);
    std::vector<sp<BBinder>> released;  // dropped after the lock
    std::lock_guard<std::mutex> guard(mLock);
    if (--peer.waitingReplies == 0) {
        for (uint64_t id : peer.deferred) {
            auto it = mLocal.find(id);
            if (it == mLocal.end() || !it->second.refs.empty()) continue;
            mIdsByObject.erase(it->second.object.get());
            released.push_back(std::move(it->second.object));
            mLocal.erase(it);
        }
        peer.deferred.clear();
    }
    return status;
}

status_t RemoteNode::transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
    return Transport::get()->transact(*this, code, data, reply, flags);
}

}  // namespace android::hostbinder
