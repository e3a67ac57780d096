#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

namespace Tamar {
namespace OS {
namespace Telemetry {

using GateAccessor = std::function<std::optional<bool>()>;

// Reaches a gate's cached value, and a live gate's accessor, from the address of its name
// constant without reading the name's text. Filled before any reader can run and never changed
// afterwards, so readers take no lock.
class GateAddressIndex {
public:
    struct Entry {
        const char* name = nullptr;
        std::atomic<bool>* value = nullptr;
        const GateAccessor* liveAccessor = nullptr;  // null for a gate answered from the cache
    };

    // Adds a gate; false when the name is null or already present, or the index is full.
    bool add(const Entry& entry) {
        if (entry.name == nullptr || find(entry.name) != nullptr || size_ + 1 >= kSlots) {
            return false;
        }
        size_t slot = slotOf(entry.name);
        while (slots_[slot].name != nullptr) slot = (slot + 1) & kMask;
        slots_[slot] = entry;
        ++size_;
        return true;
    }

    // The gate added under exactly this address, or null (a copy of a name is not found).
    const Entry* find(const char* name) const noexcept {
        for (size_t slot = slotOf(name);; slot = (slot + 1) & kMask) {
            const Entry& entry = slots_[slot];
            if (entry.name == nullptr) return nullptr;  // one slot always stays empty
            if (entry.name == name) return &entry;
        }
    }

private:
    static constexpr size_t kBits = 6;
    static constexpr size_t kSlots = size_t{1} << kBits;
    static constexpr size_t kMask = kSlots - 1;

    // Fibonacci hashing: the top bits of the product depend on every bit of the address.
    static size_t slotOf(const char* name) noexcept {
        const uint64_t address = reinterpret_cast<uintptr_t>(name);
        return static_cast<size_t>((address * 0x9E3779B97F4A7C15ull) >> (64 - kBits));
    }

    std::array<Entry, kSlots> slots_{};
    size_t size_ = 0;
};

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
