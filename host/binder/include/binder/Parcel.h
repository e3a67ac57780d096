#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include <binder/IBinder.h>
#include <binder/IInterface.h>
#include <binder/Parcelable.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>
#include <utils/String16.h>
#include <utils/String8.h>

namespace android {

namespace binder {
class Status;
}
namespace hostbinder {
class Driver;
class Transport;
}  // namespace hostbinder

// A transaction's data in libbinder's kernel wire format: little-endian words on a 4-byte
// grid, zero padding, strings as UTF-16, binders as flat objects plus a stability word.
// Reads never trust a length from the data: everything is bounds-checked and answers
// libbinder's error codes.
class Parcel {
public:
    Parcel();
    ~Parcel();

    Parcel(const Parcel&) = delete;
    Parcel& operator=(const Parcel&) = delete;

    const uint8_t* data() const;
    size_t dataSize() const;
    size_t dataAvail() const;
    size_t dataPosition() const;
    size_t dataCapacity() const;

    status_t setDataSize(size_t size);
    // Positions beyond INT32_MAX abort, as in libbinder.
    void setDataPosition(size_t pos) const;
    status_t setDataCapacity(size_t size);
    // Replaces the contents with raw bytes; the result carries no binder objects.
    status_t setData(const uint8_t* buffer, size_t len);

    void freeData();

    // Switches the parcel to the transport of the binder; kernel-style on the host.
    void markForBinder(const sp<IBinder>& binder);

    // Objects (binders) recorded in this parcel.
    size_t objectsCount() const;

    status_t writeInterfaceToken(const String16& interface);
    status_t writeInterfaceToken(const char16_t* str, size_t len);
    bool enforceInterface(const String16& interface) const;
    bool enforceInterface(const char16_t* interface, size_t len) const;
    bool checkInterface(IBinder* binder) const;

    // Answers EX_BAD_PARCELABLE when unread data remains.
    binder::Status enforceNoDataAvail() const;

    status_t write(const void* data, size_t len);
    void* writeInplace(size_t len);
    status_t writeInt32(int32_t val);
    status_t writeUint32(uint32_t val);
    status_t writeInt64(int64_t val);
    status_t writeUint64(uint64_t val);
    status_t writeFloat(float val);
    status_t writeDouble(double val);
    status_t writeBool(bool val);
    status_t writeByte(int8_t val);
    status_t writeChar(char16_t val);

    status_t writeString16(const String16& str);
    status_t writeString16(const std::optional<String16>& str);
    status_t writeString16(const char16_t* str, size_t len);
    status_t writeUtf8AsUtf16(const std::string& str);
    status_t writeUtf8AsUtf16(const std::optional<std::string>& str);
    status_t writeString16Vector(const std::vector<String16>& val);
    status_t writeUtf8VectorAsUtf16Vector(const std::vector<std::string>& val);

    status_t writeStrongBinder(const sp<IBinder>& val);

    status_t writeParcelable(const Parcelable& parcelable);
    template <typename T>
    status_t writeParcelableVector(const std::vector<T>& val);

    // The reply header of a successful call (EX_NONE).
    status_t writeNoException();

    status_t read(void* outData, size_t len) const;
    const void* readInplace(size_t len) const;
    status_t readInt32(int32_t* pArg) const;
    int32_t readInt32() const;
    status_t readUint32(uint32_t* pArg) const;
    uint32_t readUint32() const;
    status_t readInt64(int64_t* pArg) const;
    int64_t readInt64() const;
    status_t readUint64(uint64_t* pArg) const;
    uint64_t readUint64() const;
    status_t readFloat(float* pArg) const;
    float readFloat() const;
    status_t readDouble(double* pArg) const;
    double readDouble() const;
    status_t readBool(bool* pArg) const;
    bool readBool() const;
    status_t readByte(int8_t* pArg) const;
    int8_t readByte() const;
    status_t readChar(char16_t* pArg) const;
    char16_t readChar() const;

    status_t readString16(String16* pArg) const;
    status_t readString16(std::optional<String16>* pArg) const;
    String16 readString16() const;
    const char16_t* readString16Inplace(size_t* outLen) const;
    status_t readUtf8FromUtf16(std::string* str) const;
    status_t readUtf8FromUtf16(std::optional<std::string>* str) const;
    status_t readString16Vector(std::vector<String16>* val) const;
    status_t readUtf8VectorFromUtf16Vector(std::vector<std::string>* val) const;

    status_t readStrongBinder(sp<IBinder>* val) const;
    status_t readNullableStrongBinder(sp<IBinder>* val) const;
    sp<IBinder> readStrongBinder() const;
    template <typename T>
    status_t readStrongBinder(sp<T>* val) const;
    template <typename T>
    status_t readNullableStrongBinder(sp<T>* val) const;

    status_t readParcelable(Parcelable* parcelable) const;
    template <typename T>
    status_t readParcelableVector(std::vector<T>* val) const;

    // Reads a Status header and answers its exception code (EX_TRANSACTION_FAILED when
    // the header cannot be read).
    int32_t readExceptionCode() const;

private:
    friend class hostbinder::Driver;
    friend class hostbinder::Transport;

    // A binder written into this parcel: where its flat object sits and the reference that
    // keeps the object alive while the parcel holds it.
    struct HeldObject {
        size_t offset;
        sp<IBinder> binder;
    };

    status_t growData(size_t len);
    status_t continueWrite(size_t desired);
    status_t finishWrite(size_t len);
    template <typename T>
    status_t writeAligned(T val);
    template <typename T>
    status_t readAligned(T* pArg) const;
    template <typename T>
    T readAligned() const;
    bool readOverlapsObject(size_t len) const;
    template <typename T>
    status_t readCountForVector(std::vector<T>* val) const;

    status_t flattenBinder(const sp<IBinder>& binder);
    status_t unflattenBinder(sp<IBinder>* out) const;
    const HeldObject* objectAt(size_t offset) const;
    void dropObjectsFrom(size_t offset);

    uint8_t* mData = nullptr;
    size_t mDataSize = 0;
    size_t mDataCapacity = 0;
    mutable size_t mDataPos = 0;
    std::vector<HeldObject> mObjects;
};

// ---------------------------------------------------------------------------------------

template <typename T>
status_t Parcel::readCountForVector(std::vector<T>* val) const {
    int32_t count = 0;
    if (status_t status = readInt32(&count); status != OK) return status;
    if (count < 0) return UNEXPECTED_NULL;
    // A rough bound (bytes, not elements) that keeps a hostile count from allocating.
    if (static_cast<size_t>(count) > dataAvail()) return BAD_VALUE;
    val->clear();
    val->resize(static_cast<size_t>(count));
    return OK;
}

template <typename T>
status_t Parcel::writeParcelableVector(const std::vector<T>& val) {
    if (val.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max())) return BAD_VALUE;
    if (status_t status = writeInt32(static_cast<int32_t>(val.size())); status != OK) {
        return status;
    }
    for (const auto& element : val) {
        if (status_t status = writeParcelable(element); status != OK) return status;
    }
    return OK;
}

template <typename T>
status_t Parcel::readParcelableVector(std::vector<T>* val) const {
    if (status_t status = readCountForVector(val); status != OK) return status;
    for (auto& element : *val) {
        if (status_t status = readParcelable(&element); status != OK) return status;
    }
    return OK;
}

template <typename T>
status_t Parcel::readStrongBinder(sp<T>* val) const {
    sp<IBinder> binder;
    status_t status = readStrongBinder(&binder);
    if (status == OK) {
        *val = interface_cast<T>(binder);
        if (*val == nullptr) return UNKNOWN_ERROR;
    }
    return status;
}

template <typename T>
status_t Parcel::readNullableStrongBinder(sp<T>* val) const {
    sp<IBinder> binder;
    status_t status = readNullableStrongBinder(&binder);
    if (status == OK) {
        *val = interface_cast<T>(binder);
        if (*val == nullptr && binder != nullptr) return UNKNOWN_ERROR;
    }
    return status;
}

}  // namespace android
