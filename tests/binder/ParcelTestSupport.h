#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <binder/Parcel.h>
#include <binder/Parcelable.h>

namespace binder_test {

inline std::string hexOf(const android::Parcel& parcel) {
    std::string hex;
    char byte[3];
    for (size_t i = 0; i < parcel.dataSize(); ++i) {
        std::snprintf(byte, sizeof(byte), "%02x", parcel.data()[i]);
        hex += byte;
    }
    return hex;
}

inline std::vector<uint8_t> bytesOf(const std::string& hex) {
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

inline void loadHex(android::Parcel* parcel, const std::string& hex) {
    const std::vector<uint8_t> bytes = bytesOf(hex);
    parcel->setData(bytes.data(), bytes.size());
}

// A structured parcelable of two strings, read with the size-word rules of current AIDL
// generators (size counts itself, unknown trailing fields skipped).
struct KeyValue : public android::Parcelable {
    std::string key;
    std::string value;

    android::status_t writeToParcel(android::Parcel* parcel) const override {
        const size_t start = parcel->dataPosition();
        parcel->writeInt32(0);
        if (auto status = parcel->writeUtf8AsUtf16(key); status != android::OK) return status;
        if (auto status = parcel->writeUtf8AsUtf16(value); status != android::OK) return status;
        const size_t end = parcel->dataPosition();
        parcel->setDataPosition(start);
        parcel->writeInt32(static_cast<int32_t>(end - start));
        parcel->setDataPosition(end);
        return android::OK;
    }

    android::status_t readFromParcel(const android::Parcel* parcel) override {
        const size_t start = parcel->dataPosition();
        int32_t size = 0;
        if (auto status = parcel->readInt32(&size); status != android::OK) return status;
        if (size < 4 || start > static_cast<size_t>(INT32_MAX - size)) return android::BAD_VALUE;
        const size_t end = start + static_cast<size_t>(size);
        if (parcel->dataPosition() < end) {
            if (auto status = parcel->readUtf8FromUtf16(&key); status != android::OK) return status;
        }
        if (parcel->dataPosition() < end) {
            if (auto status = parcel->readUtf8FromUtf16(&value); status != android::OK)
                return status;
        }
        parcel->setDataPosition(end);
        return android::OK;
    }
};

}  // namespace binder_test
