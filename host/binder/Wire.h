#pragma once

// Frames exchanged between the processes of a host device over a stream socket. Every frame
// is an 8-byte header (payload length, command) and a payload. A transaction or reply
// carries the parcel's bytes unchanged plus one entry per binder object: where its flat
// object sits and which node (owner pid, node id) it names. The receiver rewrites each flat
// object into its own terms (its handle for a proxy, or the object itself for its own node).
//
// All words are little-endian, as on the devices this runtime stands in for.

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace android::hostbinder::wire {

// The device's per-process transaction buffer: 1 MiB minus two pages.
inline constexpr size_t kMaxTransactionBytes = 1024 * 1024 - 2 * 4096;
// No frame a well-behaved peer sends can be longer than this.
inline constexpr size_t kMaxPayload = 2 * kMaxTransactionBytes;

enum Command : uint32_t {
    kTransaction = 1,  // to a node of the receiver
    kReply = 2,        // answers the last transaction sent on this connection
    kAcquire = 3,      // the sender now holds one more reference to a node of the receiver
    kRelease = 4,      // the sender drops `count` references to a node of the receiver
    kHello = 5,        // first frame of the sender's ordered channel: its end is the sender's
};

struct FrameHeader {
    uint32_t length;  // payload bytes after this header
    uint32_t command;
};

// A binder object inside a parcel crossing the wire.
struct WireObject {
    uint64_t offset;  // of the 24-byte flat object in the data
    uint64_t node;    // node id within its owner
    int32_t owner;    // pid of the process that owns the node
    uint32_t reserved;
};
static_assert(sizeof(WireObject) == 24);

struct TransactionHead {
    uint64_t node;
    uint32_t code;
    uint32_t flags;
    uint32_t dataSize;
    uint32_t objectCount;
};
static_assert(sizeof(TransactionHead) == 24);

struct ReplyHead {
    int32_t status;
    uint32_t reserved;
    uint32_t dataSize;
    uint32_t objectCount;
};
static_assert(sizeof(ReplyHead) == 16);

struct RefHead {
    uint64_t node;
    uint32_t count;
    uint32_t reserved;
};
static_assert(sizeof(RefHead) == 16);

// A frame checked against every rule a receiver relies on; pointers refer into the bytes
// that were decoded.
struct DecodedFrame {
    bool valid = false;
    uint32_t command = 0;
    uint64_t node = 0;  // transaction target, or the node of kAcquire/kRelease
    uint32_t code = 0;
    uint32_t flags = 0;
    int32_t status = 0;  // reply
    uint32_t count = 0;  // release
    const uint8_t* data = nullptr;
    size_t dataSize = 0;
    const WireObject* objects = nullptr;  // 8-byte aligned when the frame is
    size_t objectCount = 0;
};

// Decodes one whole frame (header included). Invalid when it is truncated or has trailing
// bytes, names an unknown command, exceeds the transaction limit, or has an object entry
// that is misaligned, overlaps another, runs past the data or does not sit on a flat
// binder or handle object. Pure: reads only [bytes, bytes + size).
DecodedFrame decodeFrame(const uint8_t* bytes, size_t size);

// Bytes a transaction or reply with this much data and these objects takes on the device's
// buffer (data plus one 8-byte offset per object).
inline size_t transactionBytes(size_t dataSize, size_t objectCount) {
    return dataSize + objectCount * sizeof(uint64_t);
}

// Payload length of a transaction/reply frame: head, data padded to 8, objects.
inline size_t paddedData(size_t dataSize) {
    return (dataSize + 7) & ~static_cast<size_t>(7);
}

}  // namespace android::hostbinder::wire
