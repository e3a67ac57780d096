#pragma once

// The host device transport: binder calls between the processes of one host device.
//
// Peer-to-peer over Unix stream sockets. Every member process listens on
// DIR/binder/<pid>; the process serving the service manager also links
// DIR/binder/servicemanager to its socket. A node is named on the wire by its owner's pid and
// an id the owner gave it; each process keeps its own table of proxies (handles) and of its
// own nodes with, per peer, how many references that peer holds.
//
// Each process opens one ordered channel to every peer it holds proxies of (announced by a
// kHello frame); the end of that channel, or of any connection we opened, means the peer is
// gone: its nodes die here and the references it held are dropped. Extra pooled connections
// may close on their own. A peer that breaks the protocol is cut off the same way.
//
// A binder passed on to a third process is acquired from its owner by the receiver; if the
// sender drops the last other reference before that acquire arrives, the receiver's proxy
// answers DEAD_OBJECT. The service manager holds what it registers, so lookups are not
// affected.
//
// Threads: an accept thread; one thread per connection a peer opened to us (serves its
// two-way calls inline, queues one-way calls per node, applies reference counts); one
// watcher per peer we hold proxies of (its control connection carries our one-way calls and
// reference counts in order, and its end is the peer's death). Two-way calls go out on a
// pooled connection of the calling thread's own; a call back into a process that is waiting
// for us travels on the connection it waits on, so it is served on the waiting thread.

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include <binder/Binder.h>
#include <binder/BpBinder.h>
#include <binder/Parcel.h>

#include "ProxyTarget.h"
#include "Wire.h"

namespace android::hostbinder {

struct Peer {
    Peer(pid_t pid, std::string path) : pid(pid), path(std::move(path)) {}

    const pid_t pid;
    const std::string path;         // its listening socket
    std::atomic<uid_t> uid{0};      // known once a connection with it exists
    std::atomic<bool> dead{false};  // set under Transport::mLock
    uint64_t started = 0;           // its start time, when it could be read; set before shared

    // Both guarded by Transport::mLock. A reply may name one of our nodes that the peer
    // releases right after sending it, and the release travels on another connection; so
    // while we wait for replies from the peer, nodes it releases entirely are kept.
    int waitingReplies = 0;
    std::vector<uint64_t> deferred;

    std::mutex lock;            // guards the fields below; taken after Transport::mLock
    int control = -1;           // our ordered channel to it; closed by its watcher
    bool controlTried = false;  // a connect was attempted
    std::vector<int> idle;      // pooled connections for two-way calls (kMaxIdle at most)
    std::set<int> open;         // every connection with it, shut down when it is cut off
};

// A node owned by another process, as this process knows it.
class RemoteNode final : public ProxyTarget {
public:
    RemoteNode(std::shared_ptr<Peer> peer, uint64_t id, uint32_t handle)
        : peer(std::move(peer)), id(id), mHandle(handle) {}
    ~RemoteNode() override;

    uint32_t handle() const override { return mHandle; }
    bool isDead() override { return peer->dead.load(std::memory_order_acquire); }
    status_t transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) override;

    const std::shared_ptr<Peer> peer;
    const uint64_t id;
    // Both guarded by Transport::mLock.
    uint32_t received = 0;  // references the owner counted for us, released when we drop it
    wp<BpBinder> proxy;

private:
    const uint32_t mHandle;
};

class Transport {
public:
    // The transport of this process, or null in in-process mode. The mode is settled on the
    // first call: host device mode when HALCYON_HOST_DEVICE is set.
    static Transport* get();

    // Settles host device mode on `dir` with this process serving the service manager.
    static status_t startServiceManager(const char* dir, const sp<BBinder>& manager);

    // The service manager: the local object in its own process, else a proxy (null when it
    // cannot be reached). Reconnects after the serving process died and came back.
    sp<IBinder> contextManager();

    status_t transact(RemoteNode& node, uint32_t code, const Parcel& data, Parcel* reply,
                      uint32_t flags);

    // Local objects another process holds (or may hold) a reference to.
    size_t nodeCount();

    void releaseRemote(RemoteNode& node);
    // Whether the owner of `proxy` is still there; an end of its ordered channel that the
    // watcher has not handled yet cuts the owner off at once. Never called with the proxy's
    // own lock held (cutting off takes it to collect the death notices).
    bool checkAlive(BpBinder& proxy);

private:
    struct Conn {
        int fd;
        std::shared_ptr<Peer> peer;
        bool accepted = false;  // the peer opened it
    };
    struct AsyncCall {
        uint32_t code;
        std::unique_ptr<Parcel> data;
        uint32_t flags;
        pid_t pid;
        uid_t uid;
    };
    struct AsyncQueue {
        std::mutex lock;
        std::deque<AsyncCall> calls;  // guarded by lock
        bool scheduled = false;       // guarded by lock: a delivery task is posted
    };
    struct LocalNode {
        sp<BBinder> object;
        std::map<pid_t, uint64_t> refs;  // references each peer holds
        std::shared_ptr<AsyncQueue> async = std::make_shared<AsyncQueue>();
    };
    enum class Outcome { kOk, kGone, kHostile };

    Transport(std::string dir, sp<BBinder> manager);
    status_t listen();
    status_t linkServiceManager();
    void acceptLoop();
    void serveConnection(const Conn& conn);
    void watchControl(const std::shared_ptr<Peer>& peer, int fd);

    std::shared_ptr<Peer> peerForLocked(pid_t pid);
    // Connects the ordered channel to the peer on first use; -1 when it is gone.
    int controlLocked(const std::shared_ptr<Peer>& peer, bool* failed);
    bool sendControl(const std::shared_ptr<Peer>& peer, const std::vector<uint8_t>& frame);
    void ensureControl(const std::shared_ptr<Peer>& peer);
    void peerGone(pid_t pid, const char* why);
    int connectTo(const std::string& path, pid_t* pid, uid_t* uid);
    int borrow(const std::shared_ptr<Peer>& peer);
    void giveBack(const std::shared_ptr<Peer>& peer, int fd, bool healthy);

    // Frame building and reading.
    status_t encodeParcel(uint32_t command, uint64_t node, uint32_t code, uint32_t flags,
                          int32_t status, const Parcel* parcel, const Peer& to,
                          std::vector<uint8_t>* frame);
    Outcome decodeParcel(const wire::DecodedFrame& frame, const Conn& from, Parcel* out);
    Outcome readFrame(int fd, std::vector<uint8_t>* buffer, wire::DecodedFrame* frame);
    // Sends a transaction frame (or nothing) and serves the connection until the reply (or,
    // when `request` is null, until the peer goes away). Answers the reply's status;
    // `broken` tells whether the connection can be used again.
    status_t converse(const Conn& conn, const std::vector<uint8_t>* request, Parcel* reply,
                      bool* broken);
    Outcome serveTransaction(const Conn& conn, const wire::DecodedFrame& frame);
    void deliverNextAsync(const std::shared_ptr<AsyncQueue>& queue, const sp<BBinder>& target);
    Outcome applyRef(const Conn& conn, const wire::DecodedFrame& frame);
    status_t call(const Conn& conn, const std::vector<uint8_t>& request, Parcel* reply,
                  bool* broken);
    sp<BpBinder> proxyForLocked(const std::shared_ptr<Peer>& peer, uint64_t id, bool count,
                                bool* fresh);

    const std::string mDir;  // DIR/binder
    const pid_t mSelf;
    int mListen = -1;

    // Guards the tables below. Never held while calling into binder objects, destroying a
    // proxy or object, or blocking on a socket; Peer::lock is taken after it.
    std::mutex mLock;
    std::unordered_map<pid_t, std::shared_ptr<Peer>> mPeers;
    // Start times of processes seen to end, by pid: a binder of one of them that still
    // arrives (from a process that has not noticed yet) is dead on arrival.
    std::unordered_map<pid_t, uint64_t> mEnded;
    std::map<std::pair<pid_t, uint64_t>, std::weak_ptr<RemoteNode>> mRemotes;
    std::unordered_map<uint64_t, LocalNode> mLocal;
    std::unordered_map<const BBinder*, uint64_t> mIdsByObject;
    uint64_t mNextNode = 1;  // 0 is the service manager's
    uint32_t mNextHandle = 1;
    const sp<BBinder> mManager;  // set in the process serving the service manager
    sp<IBinder> mManagerProxy;   // elsewhere: the cached proxy
};

}  // namespace android::hostbinder
