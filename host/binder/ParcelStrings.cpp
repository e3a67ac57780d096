// Strings on the wire: int32 UTF-16 length, the units, a NUL unit, zero padding; -1 for
// null. UTF-8 text is converted with libutils, as libbinder does.

#define LOG_TAG "Parcel"

#include <binder/Parcel.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include <log/log.h>
#include <utils/Unicode.h>

namespace android {

namespace {

// Largest length whose units plus terminator still fit a parcel.
constexpr size_t kMaxString16Length = static_cast<size_t>(INT32_MAX) / sizeof(char16_t) - 1;

}  // namespace

status_t Parcel::writeString16(const char16_t* str, size_t len) {
    if (str == nullptr) return writeInt32(-1);
    if (len > kMaxString16Length) return BAD_VALUE;
    if (status_t status = writeInt32(static_cast<int32_t>(len)); status != OK) return status;
    const size_t bytes = len * sizeof(char16_t);
    auto* const dest = static_cast<uint8_t*>(writeInplace(bytes + sizeof(char16_t)));
    if (dest == nullptr) return NO_MEMORY;
    if (bytes != 0) std::memcpy(dest, str, bytes);
    std::memset(dest + bytes, 0, sizeof(char16_t));
    return OK;
}

status_t Parcel::writeString16(const String16& str) {
    return writeString16(str.string(), str.size());
}

status_t Parcel::writeString16(const std::optional<String16>& str) {
    if (!str.has_value()) return writeInt32(-1);
    return writeString16(*str);
}

status_t Parcel::writeUtf8AsUtf16(const std::string& str) {
    const auto* const src = reinterpret_cast<const uint8_t*>(str.data());
    const ssize_t utf16Len = utf8_to_utf16_length(src, str.size());
    if (utf16Len < 0 || static_cast<size_t>(utf16Len) > kMaxString16Length) return BAD_VALUE;
    if (status_t status = writeInt32(static_cast<int32_t>(utf16Len)); status != OK) {
        return status;
    }
    const size_t units = static_cast<size_t>(utf16Len) + 1;  // with the terminator
    auto* const dest = static_cast<char16_t*>(writeInplace(units * sizeof(char16_t)));
    if (dest == nullptr) return NO_MEMORY;
    utf8_to_utf16(src, str.size(), dest, units);
    return OK;
}

status_t Parcel::writeUtf8AsUtf16(const std::optional<std::string>& str) {
    if (!str.has_value()) return writeInt32(-1);
    return writeUtf8AsUtf16(*str);
}

status_t Parcel::writeString16Vector(const std::vector<String16>& val) {
    if (val.size() > static_cast<size_t>(INT32_MAX)) return BAD_VALUE;
    if (status_t status = writeInt32(static_cast<int32_t>(val.size())); status != OK) {
        return status;
    }
    for (const String16& element : val) {
        if (status_t status = writeString16(element); status != OK) return status;
    }
    return OK;
}

status_t Parcel::writeUtf8VectorAsUtf16Vector(const std::vector<std::string>& val) {
    if (val.size() > static_cast<size_t>(INT32_MAX)) return BAD_VALUE;
    if (status_t status = writeInt32(static_cast<int32_t>(val.size())); status != OK) {
        return status;
    }
    for (const std::string& element : val) {
        if (status_t status = writeUtf8AsUtf16(element); status != OK) return status;
    }
    return OK;
}

namespace {

// The units of a string that is present and NUL-terminated, as raw bytes: a size word that
// is not a multiple of four can leave the cursor at an odd offset, so the units are only
// ever copied out, never loaded as char16_t where they lie. Null, with the cursor where
// libbinder leaves it, for a null string, a length the data cannot hold or a missing
// terminator.
const uint8_t* readString16Bytes(const Parcel& parcel, size_t* outLen) {
    *outLen = 0;
    const int32_t size = parcel.readInt32();
    if (size < 0 || size == INT32_MAX) return nullptr;
    const size_t units = static_cast<size_t>(size);
    const auto* const bytes =
            static_cast<const uint8_t*>(parcel.readInplace((units + 1) * sizeof(char16_t)));
    if (bytes == nullptr) return nullptr;
    char16_t terminator = 0;
    std::memcpy(&terminator, bytes + units * sizeof(char16_t), sizeof(terminator));
    if (terminator != u'\0') {
        ALOGE("String16 of length %zu is not NUL-terminated", units);
        return nullptr;
    }
    *outLen = units;
    return bytes;
}

bool isUnitAligned(const uint8_t* bytes) {
    return reinterpret_cast<uintptr_t>(bytes) % alignof(char16_t) == 0;
}

// Hands `use` the units at an address fit for char16_t, copying them when they lie at an odd
// offset.
template <typename Use>
auto withAlignedUnits(const uint8_t* bytes, size_t len, Use&& use) {
    if (isUnitAligned(bytes)) return use(reinterpret_cast<const char16_t*>(bytes));
    std::u16string copy(len, u'\0');
    std::memcpy(copy.data(), bytes, len * sizeof(char16_t));
    return use(copy.data());
}

}  // namespace

// A string at an odd offset cannot be handed out as char16_t*: it reads as null here, while
// readString16 and readUtf8FromUtf16 copy it out.
const char16_t* Parcel::readString16Inplace(size_t* outLen) const {
    const uint8_t* const bytes = readString16Bytes(*this, outLen);
    if (bytes == nullptr) return nullptr;
    if (!isUnitAligned(bytes)) {
        ALOGE("String16 at odd offset %zu cannot be read in place",
              static_cast<size_t>(bytes - data()));
        *outLen = 0;
        return nullptr;
    }
    return reinterpret_cast<const char16_t*>(bytes);
}

status_t Parcel::readString16(String16* pArg) const {
    size_t len = 0;
    const uint8_t* const bytes = readString16Bytes(*this, &len);
    if (bytes == nullptr) {
        *pArg = String16();
        return UNEXPECTED_NULL;
    }
    *pArg = withAlignedUnits(bytes, len,
                             [len](const char16_t* units) { return String16(units, len); });
    return OK;
}

String16 Parcel::readString16() const {
    String16 result;
    if (readString16(&result) != OK) ALOGE("Reading a NULL string not supported here.");
    return result;
}

status_t Parcel::readString16(std::optional<String16>* pArg) const {
    const size_t start = dataPosition();
    int32_t peek = 0;
    if (status_t status = readInt32(&peek); status != OK) return status;
    if (peek == -1) {
        pArg->reset();
        return OK;
    }
    setDataPosition(start);
    pArg->emplace();
    return readString16(&**pArg);
}

status_t Parcel::readUtf8FromUtf16(std::string* str) const {
    size_t utf16Len = 0;
    const uint8_t* const bytes = readString16Bytes(*this, &utf16Len);
    if (bytes == nullptr) return UNEXPECTED_NULL;
    if (utf16Len == 0) {
        str->clear();
        return OK;
    }
    return withAlignedUnits(bytes, utf16Len, [str, utf16Len](const char16_t* src) -> status_t {
        // At most three UTF-8 bytes per unit, and the units are already in the parcel, so
        // the allocation is bounded by the data actually present.
        const ssize_t utf8Size = utf16_to_utf8_length(src, utf16Len) + 1;
        if (utf8Size < 1) return BAD_VALUE;
        str->resize(static_cast<size_t>(utf8Size));
        utf16_to_utf8(src, utf16Len, str->data(), static_cast<size_t>(utf8Size));
        str->resize(static_cast<size_t>(utf8Size) - 1);
        return OK;
    });
}

status_t Parcel::readUtf8FromUtf16(std::optional<std::string>* str) const {
    const size_t start = dataPosition();
    int32_t peek = 0;
    if (status_t status = readInt32(&peek); status != OK) return status;
    if (peek == -1) {
        str->reset();
        return OK;
    }
    setDataPosition(start);
    str->emplace();
    return readUtf8FromUtf16(&**str);
}

status_t Parcel::readString16Vector(std::vector<String16>* val) const {
    if (status_t status = readCountForVector(val); status != OK) return status;
    for (String16& element : *val) {
        if (status_t status = readString16(&element); status != OK) return status;
    }
    return OK;
}

status_t Parcel::readUtf8VectorFromUtf16Vector(std::vector<std::string>* val) const {
    if (status_t status = readCountForVector(val); status != OK) return status;
    for (std::string& element : *val) {
        if (status_t status = readUtf8FromUtf16(&element); status != OK) return status;
    }
    return OK;
}

}  // namespace android
