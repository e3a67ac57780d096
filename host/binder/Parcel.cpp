// Parcel storage, cursor and scalar reads/writes.

#define LOG_TAG "Parcel"

#include <binder/Parcel.h>

#include <cstdlib>
#include <cstring>

#include <binder/Status.h>
#include "FlatBinder.h"
#include <log/log.h>

namespace android {

namespace {

constexpr size_t kMaxParcelSize = static_cast<size_t>(INT32_MAX);
constexpr size_t kMinCapacity = 128;

inline size_t padSize(size_t len) {
    return (len + 3) & ~static_cast<size_t>(3);
}

}  // namespace

// Invariant: bytes in [mDataSize, mDataCapacity) are zero, so writes that leave gaps or
// padding never expose stale memory.

Parcel::Parcel() = default;

Parcel::~Parcel() {
    freeData();
}

const uint8_t* Parcel::data() const {
    return mData;
}

size_t Parcel::dataSize() const {
    return mDataSize > mDataPos ? mDataSize : mDataPos;
}

size_t Parcel::dataAvail() const {
    const size_t result = dataSize() - dataPosition();
    LOG_ALWAYS_FATAL_IF(result > kMaxParcelSize, "dataAvail() %zu exceeds INT32_MAX", result);
    return result;
}

size_t Parcel::dataPosition() const {
    return mDataPos;
}

size_t Parcel::dataCapacity() const {
    return mDataCapacity;
}

void Parcel::setDataPosition(size_t pos) const {
    LOG_ALWAYS_FATAL_IF(pos > kMaxParcelSize, "setDataPosition %zu exceeds INT32_MAX", pos);
    mDataPos = pos;
}

status_t Parcel::continueWrite(size_t desired) {
    if (desired > kMaxParcelSize) return BAD_VALUE;
    if (desired <= mDataCapacity) return OK;
    auto* grown = static_cast<uint8_t*>(std::realloc(mData, desired));
    if (grown == nullptr) return NO_MEMORY;
    std::memset(grown + mDataCapacity, 0, desired - mDataCapacity);
    mData = grown;
    mDataCapacity = desired;
    return OK;
}

// Makes room for len bytes at the cursor.
status_t Parcel::growData(size_t len) {
    if (len > kMaxParcelSize || mDataPos > kMaxParcelSize - len) return BAD_VALUE;
    const size_t end = mDataPos + len;
    if (end <= mDataCapacity) return OK;
    size_t wanted = end + end / 2;
    if (wanted > kMaxParcelSize) wanted = kMaxParcelSize;
    if (wanted < kMinCapacity) wanted = kMinCapacity;
    return continueWrite(wanted);
}

status_t Parcel::finishWrite(size_t len) {
    mDataPos += len;
    if (mDataPos > mDataSize) mDataSize = mDataPos;
    return OK;
}

status_t Parcel::setDataSize(size_t size) {
    if (size > kMaxParcelSize) return BAD_VALUE;
    if (status_t status = continueWrite(size); status != OK) return status;
    if (size < mDataSize) {
        std::memset(mData + size, 0, mDataSize - size);
        dropObjectsFrom(size);
    }
    mDataSize = size;
    if (mDataPos > size) mDataPos = size;
    return OK;
}

status_t Parcel::setDataCapacity(size_t size) {
    if (size > kMaxParcelSize) return BAD_VALUE;
    return continueWrite(size);
}

status_t Parcel::setData(const uint8_t* buffer, size_t len) {
    if (len > kMaxParcelSize) return BAD_VALUE;
    freeData();
    if (len == 0) return OK;
    if (status_t status = continueWrite(len); status != OK) return status;
    std::memcpy(mData, buffer, len);
    mDataSize = len;
    return OK;
}

void Parcel::freeData() {
    std::free(mData);
    mData = nullptr;
    mDataSize = 0;
    mDataCapacity = 0;
    mDataPos = 0;
    mObjects.clear();
}

void Parcel::markForBinder(const sp<IBinder>& /*binder*/) {
    // Every host binder speaks the kernel format; the call only has to come first.
    LOG_ALWAYS_FATAL_IF(mDataSize != 0, "markForBinder must be called before writing data");
}

size_t Parcel::objectsCount() const {
    return mObjects.size();
}

void Parcel::dropObjectsFrom(size_t offset) {
    std::erase_if(mObjects, [offset](const HeldObject& object) {
        return object.offset + sizeof(hostbinder::FlatBinderObject) > offset;
    });
}

// --- writes ------------------------------------------------------------------------------

void* Parcel::writeInplace(size_t len) {
    if (len > kMaxParcelSize) return nullptr;
    const size_t padded = padSize(len);
    if (growData(padded) != OK) return nullptr;
    uint8_t* const data = mData + mDataPos;
    if (padded != len) std::memset(data + len, 0, padded - len);
    finishWrite(padded);
    return data;
}

status_t Parcel::write(const void* data, size_t len) {
    if (len > kMaxParcelSize) return BAD_VALUE;
    void* const dest = writeInplace(len);
    if (dest == nullptr) return NO_MEMORY;
    if (len != 0) std::memcpy(dest, data, len);
    return OK;
}

template <typename T>
status_t Parcel::writeAligned(T val) {
    static_assert(sizeof(T) % 4 == 0, "only whole words are written in place");
    if (status_t status = growData(sizeof(T)); status != OK) return status;
    std::memcpy(mData + mDataPos, &val, sizeof(T));
    return finishWrite(sizeof(T));
}

status_t Parcel::writeInt32(int32_t val) {
    return writeAligned(val);
}
status_t Parcel::writeUint32(uint32_t val) {
    return writeAligned(val);
}
status_t Parcel::writeInt64(int64_t val) {
    return writeAligned(val);
}
status_t Parcel::writeUint64(uint64_t val) {
    return writeAligned(val);
}
status_t Parcel::writeFloat(float val) {
    return writeAligned(val);
}
status_t Parcel::writeDouble(double val) {
    return writeAligned(val);
}
status_t Parcel::writeBool(bool val) {
    return writeInt32(static_cast<int32_t>(val));
}
status_t Parcel::writeByte(int8_t val) {
    return writeInt32(static_cast<int32_t>(val));
}
status_t Parcel::writeChar(char16_t val) {
    return writeInt32(static_cast<int32_t>(val));
}

status_t Parcel::writeNoException() {
    return binder::Status::ok().writeToParcel(this);
}

status_t Parcel::writeParcelable(const Parcelable& parcelable) {
    if (status_t status = writeInt32(1); status != OK) return status;
    return parcelable.writeToParcel(this);
}

// --- reads -------------------------------------------------------------------------------

// A read must not expose the bytes of a binder object (its host addresses).
bool Parcel::readOverlapsObject(size_t len) const {
    for (const HeldObject& object : mObjects) {
        if (mDataPos < object.offset + sizeof(hostbinder::FlatBinderObject) &&
            object.offset < mDataPos + len) {
            return true;
        }
    }
    return false;
}

template <typename T>
status_t Parcel::readAligned(T* pArg) const {
    static_assert(sizeof(T) % 4 == 0, "only whole words are read in place");
    if (mDataPos > mDataSize || sizeof(T) > mDataSize - mDataPos) return NOT_ENOUGH_DATA;
    if (!mObjects.empty() && readOverlapsObject(sizeof(T))) {
        mDataPos += sizeof(T);
        return PERMISSION_DENIED;
    }
    std::memcpy(pArg, mData + mDataPos, sizeof(T));
    mDataPos += sizeof(T);
    return OK;
}

template <typename T>
T Parcel::readAligned() const {
    T result{};
    if (readAligned(&result) != OK) result = T{};
    return result;
}

const void* Parcel::readInplace(size_t len) const {
    if (len > kMaxParcelSize) return nullptr;
    const size_t padded = padSize(len);
    if (mDataPos > mDataSize || padded > mDataSize - mDataPos) return nullptr;
    if (!mObjects.empty() && readOverlapsObject(padded)) {
        mDataPos += padded;  // libbinder moves past the refused bytes too
        return nullptr;
    }
    const uint8_t* const data = mData + mDataPos;
    mDataPos += padded;
    return data;
}

status_t Parcel::read(void* outData, size_t len) const {
    if (len > kMaxParcelSize) return BAD_VALUE;
    const size_t padded = padSize(len);
    if (mDataPos > mDataSize || padded > mDataSize - mDataPos) return NOT_ENOUGH_DATA;
    if (!mObjects.empty() && readOverlapsObject(padded)) {
        mDataPos += padded;  // libbinder moves past the refused bytes too
        return PERMISSION_DENIED;
    }
    if (len != 0) std::memcpy(outData, mData + mDataPos, len);
    mDataPos += padded;
    return OK;
}

status_t Parcel::readInt32(int32_t* pArg) const {
    return readAligned(pArg);
}
int32_t Parcel::readInt32() const {
    return readAligned<int32_t>();
}
status_t Parcel::readUint32(uint32_t* pArg) const {
    return readAligned(pArg);
}
uint32_t Parcel::readUint32() const {
    return readAligned<uint32_t>();
}
status_t Parcel::readInt64(int64_t* pArg) const {
    return readAligned(pArg);
}
int64_t Parcel::readInt64() const {
    return readAligned<int64_t>();
}
status_t Parcel::readUint64(uint64_t* pArg) const {
    return readAligned(pArg);
}
uint64_t Parcel::readUint64() const {
    return readAligned<uint64_t>();
}
status_t Parcel::readFloat(float* pArg) const {
    return readAligned(pArg);
}
float Parcel::readFloat() const {
    return readAligned<float>();
}
status_t Parcel::readDouble(double* pArg) const {
    return readAligned(pArg);
}
double Parcel::readDouble() const {
    return readAligned<double>();
}

// The narrow reads store their default even when the word is missing, as libbinder does.
status_t Parcel::readBool(bool* pArg) const {
    int32_t value = 0;
    const status_t status = readInt32(&value);
    *pArg = value != 0;
    return status;
}
bool Parcel::readBool() const {
    return readInt32() != 0;
}

status_t Parcel::readByte(int8_t* pArg) const {
    int32_t value = 0;
    const status_t status = readInt32(&value);
    *pArg = static_cast<int8_t>(value);
    return status;
}
int8_t Parcel::readByte() const {
    return static_cast<int8_t>(readInt32());
}

status_t Parcel::readChar(char16_t* pArg) const {
    int32_t value = 0;
    const status_t status = readInt32(&value);
    *pArg = static_cast<char16_t>(value);
    return status;
}
char16_t Parcel::readChar() const {
    return static_cast<char16_t>(readInt32());
}

status_t Parcel::readParcelable(Parcelable* parcelable) const {
    int32_t marker = 0;
    if (status_t status = readInt32(&marker); status != OK) return status;
    if (marker != 1) return UNEXPECTED_NULL;
    return parcelable->readFromParcel(this);
}

int32_t Parcel::readExceptionCode() const {
    binder::Status status;
    status.readFromParcel(*this);
    return status.exceptionCode();
}

binder::Status Parcel::enforceNoDataAvail() const {
    const size_t unread = dataAvail();
    if (unread == 0) return binder::Status::ok();
    return binder::Status::fromExceptionCode(
            binder::Status::EX_BAD_PARCELABLE,
            String8::format("Parcel data not fully consumed, unread size: %zu", unread));
}

}  // namespace android
