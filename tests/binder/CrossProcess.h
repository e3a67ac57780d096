#pragma once

// Shared by the cross-process tests and their helper programs: the echo service's codes, and
// (tests only) helper processes driven through pipes plus a host device for the test process.

#include <cstdint>

#include <binder/IBinder.h>

namespace crossprocess {

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

}  // namespace crossprocess
