#pragma once

#include <binder/Parcel.h>

#include <cstdint>
#include <cstdio>
#include <string>

namespace testsupport {

// Bytes as lower-case hex text, two digits each, for comparing layouts with fixtures.
inline std::string hexOf(const uint8_t* data, size_t size) {
    std::string hex;
    char byte[3];
    for (size_t i = 0; i < size; ++i) {
        std::snprintf(byte, sizeof(byte), "%02x", data[i]);
        hex += byte;
    }
    return hex;
}

inline std::string hexOf(const android::Parcel& parcel) {
    return hexOf(parcel.data(), parcel.dataSize());
}

}  // namespace testsupport
