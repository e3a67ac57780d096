#include "Wire.h"

#include <cstring>

#include "FlatBinder.h"

namespace android::hostbinder::wire {

namespace {

template <typename T>
bool readHead(const uint8_t* payload, size_t length, T* head) {
    if (length < sizeof(T)) return false;
    std::memcpy(head, payload, sizeof(T));
    return true;
}

// The data and object table that follow a transaction or reply head.
bool decodeBody(const uint8_t* body, size_t length, uint32_t dataSize, uint32_t objectCount,
                DecodedFrame* out) {
    if (transactionBytes(dataSize, objectCount) > kMaxTransactionBytes) return false;
    const size_t padded = paddedData(dataSize);
    if (length != padded + static_cast<size_t>(objectCount) * sizeof(WireObject)) return false;
    out->data = body;
    out->dataSize = dataSize;
    out->objects = reinterpret_cast<const WireObject*>(body + padded);
    out->objectCount = objectCount;
    size_t nextFree = 0;
    for (size_t i = 0; i < objectCount; ++i) {
        WireObject object;
        std::memcpy(&object, body + padded + i * sizeof(WireObject), sizeof(object));
        if (object.offset % 4 != 0 || object.offset < nextFree || object.offset > dataSize ||
            sizeof(FlatBinderObject) > dataSize - object.offset || object.owner <= 0) {
            return false;
        }
        uint32_t type;
        std::memcpy(&type, body + object.offset, sizeof(type));
        if (type != kTypeBinder && type != kTypeHandle) return false;
        nextFree = object.offset + sizeof(FlatBinderObject);
    }
    return true;
}

}  // namespace

DecodedFrame decodeFrame(const uint8_t* bytes, size_t size) {
    DecodedFrame out;
    FrameHeader header;
    if (!readHead(bytes, size, &header) || header.length > kMaxPayload ||
        header.length != size - sizeof(header)) {
        return out;
    }
    const uint8_t* const payload = bytes + sizeof(header);
    const size_t length = header.length;
    out.command = header.command;
    switch (header.command) {
        case kTransaction: {
            TransactionHead head;
            if (!readHead(payload, length, &head) ||
                !decodeBody(payload + sizeof(head), length - sizeof(head), head.dataSize,
                            head.objectCount, &out)) {
                return out;
            }
            out.node = head.node;
            out.code = head.code;
            out.flags = head.flags;
            break;
        }
        case kReply: {
            ReplyHead head;
            if (!readHead(payload, length, &head) ||
                !decodeBody(payload + sizeof(head), length - sizeof(head), head.dataSize,
                            head.objectCount, &out)) {
                return out;
            }
            out.status = head.status;
            break;
        }
        case kAcquire:
        case kRelease: {
            RefHead head;
            if (length != sizeof(head) || !readHead(payload, length, &head)) return out;
            if (header.command == kRelease && head.count == 0) return out;
            out.node = head.node;
            out.count = head.count;
            break;
        }
        case kHello:
            if (length != 0) return out;
            break;
        default:
            return out;
    }
    out.valid = true;
    return out;
}

}  // namespace android::hostbinder::wire
