#pragma once

#include <binder/Parcel.h>
#include <com/halcyon/deviceconfig/aidl/Property.h>

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <vector>

namespace deviceconfigtest {

inline constexpr const char* kDeviceConfigDescriptor =
        "com.halcyon.deviceconfig.aidl.IDeviceConfig";
inline constexpr const char* kListenerDescriptor =
        "com.halcyon.deviceconfig.aidl.IOnPropertiesChangeListener";

inline com::halcyon::deviceconfig::aidl::Property prop(const std::string& key,
                                                       const std::string& value) {
    com::halcyon::deviceconfig::aidl::Property p;
    p.key = key;
    p.value = value;
    return p;
}

inline std::string toHex(const uint8_t* data, size_t size) {
    std::string out;
    char buf[3];
    for (size_t i = 0; i < size; ++i) {
        snprintf(buf, sizeof(buf), "%02x", data[i]);
        out += buf;
    }
    return out;
}
inline std::string hexOf(const std::vector<uint8_t>& bytes) {
    return toHex(bytes.data(), bytes.size());
}
inline std::string hexOf(const android::Parcel& parcel) {
    return toHex(parcel.data(), parcel.dataSize());
}

// Builds parcel bytes by hand, independently of Parcel's writers, so tests pin the wire layout.
class Bytes {
public:
    Bytes& i32(int32_t v) {
        for (int i = 0; i < 4; ++i)
            mBytes.push_back(static_cast<uint8_t>(static_cast<uint32_t>(v) >> (8 * i)));
        return *this;
    }
    // Bytes as they are, with no padding: for layouts that leave the 4-byte grid.
    Bytes& raw(std::initializer_list<uint8_t> bytes) {
        mBytes.insert(mBytes.end(), bytes);
        return *this;
    }
    // ASCII text as a length-prefixed, NUL-terminated, zero-padded UTF-16 string.
    Bytes& str(const std::string& s) {
        i32(static_cast<int32_t>(s.size()));
        for (char c : s) mBytes.insert(mBytes.end(), {static_cast<uint8_t>(c), 0});
        mBytes.insert(mBytes.end(), {0, 0});
        while (mBytes.size() % 4 != 0) mBytes.push_back(0);
        return *this;
    }
    // The interface token of a caller; the header word tells system from vendor builds.
    Bytes& token(const std::string& descriptor, int32_t header = 0x53595354) {
        return i32(static_cast<int32_t>(0x80000000u)).i32(-1).i32(header).str(descriptor);
    }
    // A Property body: size word counting itself, key, value, then optional extra words.
    Bytes& property(const std::string& key, const std::string& value, int extraWords = 0) {
        Bytes body;
        body.str(key).str(value);
        for (int i = 0; i < extraWords; ++i) body.i32(0x7777);
        i32(static_cast<int32_t>(4 + body.mBytes.size()));
        mBytes.insert(mBytes.end(), body.mBytes.begin(), body.mBytes.end());
        return *this;
    }

    const std::vector<uint8_t>& bytes() const { return mBytes; }
    std::string hex() const { return hexOf(mBytes); }
    // Loads the bytes into a parcel positioned at its start.
    void into(android::Parcel* parcel) const {
        parcel->setData(mBytes.data(), mBytes.size());
        parcel->setDataPosition(0);
    }

private:
    std::vector<uint8_t> mBytes;
};

}  // namespace deviceconfigtest
