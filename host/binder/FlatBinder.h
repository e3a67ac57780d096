#pragma once

// The kernel's flat_binder_object as libbinder writes it into parcel data (64-bit binder
// ABI), and the stability levels that follow it. Shared by the parcel and the driver.

#include <cstdint>

namespace android::hostbinder {

struct FlatBinderObject {
    uint32_t type;
    uint32_t flags;
    uint64_t binderOrHandle;  // local: address of the weak-reference block; proxy: handle
    uint64_t cookie;          // local: address of the BBinder; proxy: 0
};
static_assert(sizeof(FlatBinderObject) == 24, "flat_binder_object is 24 bytes");

constexpr uint32_t kTypeBinder = 0x73622A85;  // 's','b','*',0x85
constexpr uint32_t kTypeHandle = 0x73682A85;  // 's','h','*',0x85

// Scheduling bits: SCHED_NORMAL with minimum priority 19; local objects accept FDs.
constexpr uint32_t kFlagsSchedDefault = 0x13;
constexpr uint32_t kFlagAcceptsFds = 0x100;

constexpr int32_t kStabilityUndeclared = 0;
constexpr int32_t kStabilityVendor = 0x03;
constexpr int32_t kStabilitySystem = 0x0C;
constexpr int32_t kStabilityVintf = 0x3F;

inline bool isDeclaredStability(int32_t level) {
    return level == kStabilityVendor || level == kStabilitySystem || level == kStabilityVintf;
}

}  // namespace android::hostbinder
