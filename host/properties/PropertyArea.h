#pragma once

// The property area: one fixed-size block of memory holding every property of a device,
// laid out so that it can be mapped read-only by many processes and written by one.
//
//   [AreaHeader][slot index: kSlots x atomic<uint64_t>][record arena ...............]
//
// A slot holds (name hash << 32 | record offset), 0 when empty; lookups probe linearly from
// the name's hash. Records (`prop_info`) are appended to the arena and never move or go
// away; a record is filled in before its slot is published with a release store, so a
// reader that finds the slot sees the whole record. Values are read seqlock-style: the
// writer copies the old value to the header's backup, marks the serial dirty, writes the new
// value and publishes the new serial; readers copy whichever copy the serial points at and
// retry when the serial moved. Every value byte is accessed through atomics, so readers
// never race a writer in the memory model, never take a lock and never enter the kernel.
//
// Serial of a property, as on a device: value length << 24 | counter, bit 0 set while an
// update is in progress, kLongFlag for a read-only value longer than PROP_VALUE_MAX - 1
// (kept whole in the arena; the inline value then holds kLongLegacyError).
//
// Only one writer at a time (the caller serialises add/update); any number of readers.

#include <sys/system_properties.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace hostproperties {

inline constexpr size_t kValueWords = 12;  // 96 bytes of inline value room >= PROP_VALUE_MAX
inline constexpr uint32_t kLongFlag = 1u << 16;
inline constexpr char kLongLegacyError[] = "Must use __system_property_read_callback() to read";

inline uint32_t serialValueLength(uint32_t serial) {
    return serial >> 24;
}
inline bool serialDirty(uint32_t serial) {
    return (serial & 1u) != 0;
}

}  // namespace hostproperties

// One property record inside an area.
struct prop_info {
    std::atomic<uint32_t> serial;
    uint32_t nameLength;
    uint32_t longValueOffset;  // area offset of the whole NUL-terminated long value, or 0
    uint32_t recordOffset;     // offset of this record in its area
    std::atomic<uint64_t> value[hostproperties::kValueWords];
    char name[];  // NUL-terminated, immutable once published

    bool isLong() const {
        return (serial.load(std::memory_order_relaxed) & hostproperties::kLongFlag) != 0;
    }
};

namespace hostproperties {

// Where an area comes from is up to the caller (anonymous memory or a shared file mapping).
class PropertyArea {
public:
    static constexpr size_t kSize = 1024 * 1024;
    static constexpr uint32_t kSlots = 8192;  // power of two; at most kSlots / 2 properties

    // Formats zeroed memory of kSize bytes as an empty area.
    static PropertyArea* format(void* memory);
    // The area in mapped memory of `size` bytes, or null when it is not a valid area.
    static const PropertyArea* attach(const void* memory, size_t size);

    // The area a record lives in.
    static const PropertyArea* owning(const prop_info* info) {
        return reinterpret_cast<const PropertyArea*>(reinterpret_cast<const char*>(info) -
                                                     info->recordOffset);
    }

    // Lock-free lookup; null when the property was never set.
    const prop_info* find(std::string_view name) const;

    // Copies the current value into `out` (room for PROP_VALUE_MAX bytes, NUL-terminated)
    // and returns the serial it belongs to. Long values copy kLongLegacyError.
    uint32_t readInline(const prop_info* info, char* out) const;
    // The whole value: the long value of a long property, else readInline into `buffer`.
    const char* readWhole(const prop_info* info, char* buffer, uint32_t* serial) const;

    // Calls `fn(info)` for every property, in no particular order.
    template <typename Fn>
    void forEach(Fn&& fn) const {
        for (uint32_t i = 0; i < kSlots; ++i) {
            const uint64_t slot = slots()[i].load(std::memory_order_acquire);
            if (slot != 0) fn(recordAt(static_cast<uint32_t>(slot)));
        }
    }

    // Number of completed changes (adds and updates); a futex word for waiters.
    std::atomic<uint32_t>& serialWord() const;
    // Set once a newer area replaced this one (the host device restarted).
    bool stale() const;
    void markStale();

    // Writer side. Callers validate names and values; add fails (null) when the area is full.
    const prop_info* add(std::string_view name, std::string_view value);
    void update(const prop_info* info, std::string_view value);

private:
    PropertyArea() = default;
    struct Header;
    Header* header() const;
    std::atomic<uint64_t>* slots() const;
    const prop_info* recordAt(uint32_t offset) const;
    void* allocate(size_t bytes);
    void notifyChange(const prop_info* info);
};

}  // namespace hostproperties
