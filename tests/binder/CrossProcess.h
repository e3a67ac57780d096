#pragma once

// Shared by the cross-process tests and their helper programs: the echo service's codes and
// hand-built frames.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include <binder/IBinder.h>

#include "Wire.h"

namespace crossprocess {

namespace wire = android::hostbinder::wire;

inline constexpr const char* kEchoName = "test.echo";

enum : uint32_t {
    kWhoCalls = android::IBinder::FIRST_CALL_TRANSACTION,  // -> calling pid, uid, own pid
    kEchoBinder,                                           // binder -> the same binder
    kCallBack,  // binder -> calls it (kCallBack) while the caller waits, answers its int
    kRecord,    // one-way: int appended to the records
    kRecords,   // -> count, the records, then how many kSize calls arrived
    kHold,      // binder (or null) kept until replaced
    kSize,      // -> the request's data size
};

// A transaction frame to `node` as a sender builds it, with any data and object table.
inline std::vector<uint8_t> transactionFrame(std::vector<uint8_t> data,
                                             std::vector<wire::WireObject> objects,
                                             uint64_t node = 7) {
    constexpr size_t kHead = 8 + sizeof(wire::TransactionHead);
    const size_t padded = wire::paddedData(data.size());
    std::vector<uint8_t> frame(kHead + padded + objects.size() * sizeof(wire::WireObject));
    const wire::FrameHeader header{static_cast<uint32_t>(frame.size() - 8), wire::kTransaction};
    const wire::TransactionHead head{node, 1, 0, static_cast<uint32_t>(data.size()),
                                     static_cast<uint32_t>(objects.size())};
    std::memcpy(frame.data(), &header, 8);
    std::memcpy(frame.data() + 8, &head, sizeof(head));
    std::copy(data.begin(), data.end(), frame.begin() + kHead);
    if (!objects.empty()) {
        std::memcpy(frame.data() + kHead + padded, objects.data(),
                    objects.size() * sizeof(wire::WireObject));
    }
    return frame;
}

// `bytes` with `word` at `offset`, grown with zeros to hold it.
inline std::vector<uint8_t> withWordAt(std::vector<uint8_t> bytes, size_t offset, uint32_t word) {
    bytes.resize(std::max(bytes.size(), offset + sizeof(word)));
    std::memcpy(bytes.data() + offset, &word, sizeof(word));
    return bytes;
}

}  // namespace crossprocess
