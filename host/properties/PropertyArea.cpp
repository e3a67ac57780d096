#include "PropertyArea.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <new>

namespace hostproperties {

struct PropertyArea::Header {
    uint32_t magic;
    uint32_t version;
    std::atomic<uint32_t> serial;  // area serial, also the futex word of whole-area waiters
    std::atomic<uint32_t> stale;   // 1 once replaced by a newer area
    std::atomic<uint32_t> used;    // arena bytes handed out (writer only)
    uint32_t reserved[3];
    std::atomic<uint64_t> dirtyBackup[kValueWords];  // old value while an update is under way
};

namespace {

constexpr uint32_t kMagic = 0x504f5250;  // "PROP"
constexpr uint32_t kVersion = 1;
constexpr size_t kSlotsOffset = 256;
constexpr size_t kArenaOffset = kSlotsOffset + PropertyArea::kSlots * sizeof(uint64_t);
static_assert(PropertyArea::kSlots != 0 && (PropertyArea::kSlots & (PropertyArea::kSlots - 1)) == 0);
static_assert(std::atomic<uint64_t>::is_always_lock_free &&
                      std::atomic<uint32_t>::is_always_lock_free,
              "area words are shared between processes");

// Word-at-a-time hash: names are long and share prefixes, so a byte loop would dominate
// the lookup. Never 0, so a slot's hash half never reads as empty.
uint32_t hashName(std::string_view name) {
    uint64_t h = 0x9e3779b97f4a7c15ull ^ name.size();
    size_t i = 0;
    for (; i + 8 <= name.size(); i += 8) {
        uint64_t chunk;
        std::memcpy(&chunk, name.data() + i, 8);
        h = (h ^ chunk) * 0xff51afd7ed558ccdull;
        h ^= h >> 32;
    }
    if (i < name.size()) {
        uint64_t chunk = 0;
        std::memcpy(&chunk, name.data() + i, name.size() - i);
        h = (h ^ chunk) * 0xff51afd7ed558ccdull;
    }
    h ^= h >> 29;
    h *= 0xc4ceb9fe1a85ec53ull;
    const auto folded = static_cast<uint32_t>(h ^ (h >> 32));
    return folded == 0 ? 1 : folded;
}

// Copies `bytes` bytes of value text through the atomic words: acquire, so a later serial
// load cannot be satisfied before these reads.
void loadWords(const std::atomic<uint64_t>* words, size_t bytes, char* out) {
    const size_t count = (bytes + 7) / 8;
    for (size_t i = 0; i < count; ++i) {
        const uint64_t word = words[i].load(std::memory_order_acquire);
        std::memcpy(out + i * 8, &word, 8);
    }
}

// Release, so a reader that sees any of these bytes also sees every store before them.
void storeWords(std::atomic<uint64_t>* words, const char* text, size_t bytes) {
    const size_t count = (bytes + 7) / 8;
    for (size_t i = 0; i < count; ++i) {
        uint64_t word = 0;
        std::memcpy(&word, text + i * 8, std::min<size_t>(8, bytes - i * 8));
        words[i].store(word, std::memory_order_release);
    }
}

void futexWake(std::atomic<uint32_t>* word) {
    syscall(SYS_futex, reinterpret_cast<uint32_t*>(word), FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

}  // namespace

PropertyArea* PropertyArea::format(void* memory) {
    static_assert(sizeof(Header) <= kSlotsOffset);
    auto* area = static_cast<PropertyArea*>(memory);
    Header* header = new (memory) Header{};
    header->magic = kMagic;
    header->version = kVersion;
    header->used.store(kArenaOffset, std::memory_order_relaxed);
    for (uint32_t i = 0; i < kSlots; ++i) new (&area->slots()[i]) std::atomic<uint64_t>(0);
    return area;
}

const PropertyArea* PropertyArea::attach(const void* memory, size_t size) {
    if (memory == nullptr || size != kSize) return nullptr;
    const auto* header = static_cast<const Header*>(memory);
    if (header->magic != kMagic || header->version != kVersion) return nullptr;
    return static_cast<const PropertyArea*>(memory);
}

PropertyArea::Header* PropertyArea::header() const {
    return reinterpret_cast<Header*>(const_cast<PropertyArea*>(this));
}

std::atomic<uint64_t>* PropertyArea::slots() const {
    return reinterpret_cast<std::atomic<uint64_t>*>(reinterpret_cast<char*>(header()) +
                                                    kSlotsOffset);
}

const prop_info* PropertyArea::recordAt(uint32_t offset) const {
    return reinterpret_cast<const prop_info*>(reinterpret_cast<const char*>(this) + offset);
}

const prop_info* PropertyArea::find(std::string_view name) const {
    const uint32_t hash = hashName(name);
    const std::atomic<uint64_t>* table = slots();
    for (uint32_t i = hash & (kSlots - 1);; i = (i + 1) & (kSlots - 1)) {
        const uint64_t slot = table[i].load(std::memory_order_acquire);
        if (slot == 0) return nullptr;
        if (static_cast<uint32_t>(slot >> 32) != hash) continue;
        const prop_info* info = recordAt(static_cast<uint32_t>(slot));
        if (info->nameLength == name.size() &&
            std::memcmp(info->name, name.data(), name.size()) == 0) {
            return info;
        }
    }
}

uint32_t PropertyArea::readInline(const prop_info* info, char* out) const {
    for (;;) {
        const uint32_t serial = info->serial.load(std::memory_order_acquire);
        const uint32_t length = serialValueLength(serial);
        const std::atomic<uint64_t>* source =
                serialDirty(serial) ? header()->dirtyBackup : info->value;
        char buffer[kValueWords * 8];
        loadWords(source, length + 1, buffer);
        if (info->serial.load(std::memory_order_relaxed) == serial) {
            std::memcpy(out, buffer, length);
            out[length] = '\0';
            return serial;
        }
    }
}

const char* PropertyArea::readWhole(const prop_info* info, char* buffer, uint32_t* serial) const {
    if (info->isLong()) {
        // Long values belong to read-only properties: written once, before publication.
        *serial = info->serial.load(std::memory_order_relaxed);
        return reinterpret_cast<const char*>(this) + info->longValueOffset;
    }
    *serial = readInline(info, buffer);
    return buffer;
}

std::atomic<uint32_t>& PropertyArea::serialWord() const {
    return header()->serial;
}

bool PropertyArea::stale() const {
    return header()->stale.load(std::memory_order_relaxed) != 0;
}

void PropertyArea::markStale() {
    header()->stale.store(1, std::memory_order_relaxed);
    // Waiters on a record of this area would never hear of the new one: move every serial on
    // so that they wake and read again (through the new area). A dirty bit left by a writer
    // that died mid-update stays, so readers keep the intact backup copy.
    forEach([](const prop_info* constInfo) {
        auto* info = const_cast<prop_info*>(constInfo);
        const uint32_t serial = info->serial.load(std::memory_order_relaxed);
        if ((serial & kLongFlag) != 0) return;
        info->serial.store((serial & 0xff000001u) | ((serial + 2) & 0x00fffffeu),
                           std::memory_order_release);
        futexWake(&info->serial);
    });
    notifyChange(nullptr);
}

void* PropertyArea::allocate(size_t bytes) {
    bytes = (bytes + 7) & ~size_t{7};
    const uint32_t used = header()->used.load(std::memory_order_relaxed);
    if (bytes > kSize - used) return nullptr;
    header()->used.store(static_cast<uint32_t>(used + bytes), std::memory_order_relaxed);
    return reinterpret_cast<char*>(this) + used;
}

const prop_info* PropertyArea::add(std::string_view name, std::string_view value) {
    const uint32_t hash = hashName(name);
    std::atomic<uint64_t>* table = slots();
    uint32_t index = hash & (kSlots - 1);
    for (uint32_t probes = 0;; ++probes, index = (index + 1) & (kSlots - 1)) {
        // Keep the table at most half full so that misses stay short.
        if (probes >= kSlots / 2) return nullptr;
        if (table[index].load(std::memory_order_relaxed) == 0) break;
    }
    const uint32_t usedBefore = header()->used.load(std::memory_order_relaxed);
    const bool isLong = value.size() >= PROP_VALUE_MAX;
    void* memory = allocate(sizeof(prop_info) + name.size() + 1);
    char* longValue = isLong ? static_cast<char*>(allocate(value.size() + 1)) : nullptr;
    if (memory == nullptr || (isLong && longValue == nullptr)) {
        header()->used.store(usedBefore, std::memory_order_relaxed);
        return nullptr;
    }
    auto* info = static_cast<prop_info*>(memory);
    info->nameLength = static_cast<uint32_t>(name.size());
    std::memcpy(info->name, name.data(), name.size());
    info->name[name.size()] = '\0';
    info->recordOffset =
            static_cast<uint32_t>(reinterpret_cast<char*>(info) - reinterpret_cast<char*>(this));
    const std::string_view inlineText = isLong ? std::string_view(kLongLegacyError) : value;
    for (auto& word : info->value) new (&word) std::atomic<uint64_t>(0);
    storeWords(info->value, inlineText.data(), inlineText.size());
    uint32_t serial = static_cast<uint32_t>(inlineText.size()) << 24;
    if (isLong) {
        std::memcpy(longValue, value.data(), value.size());
        longValue[value.size()] = '\0';
        info->longValueOffset = static_cast<uint32_t>(longValue - reinterpret_cast<char*>(this));
        serial |= kLongFlag;
    } else {
        info->longValueOffset = 0;
    }
    new (&info->serial) std::atomic<uint32_t>(serial);
    table[index].store(uint64_t{hash} << 32 | info->recordOffset, std::memory_order_release);
    notifyChange(nullptr);
    return info;
}

void PropertyArea::update(const prop_info* constInfo, std::string_view value) {
    auto* info = const_cast<prop_info*>(constInfo);
    uint32_t serial = info->serial.load(std::memory_order_relaxed);
    // Readers that see the dirty bit copy the backup, so it must hold the old value first.
    char old[kValueWords * 8];
    loadWords(info->value, serialValueLength(serial) + 1, old);
    storeWords(header()->dirtyBackup, old, serialValueLength(serial) + 1);
    serial |= 1;
    info->serial.store(serial, std::memory_order_release);
    char text[kValueWords * 8] = {};
    std::memcpy(text, value.data(), value.size());
    storeWords(info->value, text, value.size() + 1);
    // Every write changes the serial, even to the same value: length and a counter.
    const uint32_t next = static_cast<uint32_t>(value.size()) << 24 | ((serial + 1) & 0xffffff);
    info->serial.store(next, std::memory_order_release);
    notifyChange(info);
}

void PropertyArea::notifyChange(const prop_info* info) {
    if (info != nullptr) futexWake(const_cast<std::atomic<uint32_t>*>(&info->serial));
    std::atomic<uint32_t>& word = header()->serial;
    word.store(word.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    futexWake(&word);
}

}  // namespace hostproperties
