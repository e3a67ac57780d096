#pragma once

#include <binder/Parcel.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace deviceconfigtest {

// Builds parcel bytes by hand, independently of Parcel's writers, so tests pin the wire layout.
class Bytes {
public:
    Bytes& i32(int32_t v) {
        for (int i = 0; i < 4; ++i)
            mBytes.push_back(static_cast<uint8_t>(static_cast<uint32_t>(v) >> (8 * i)));
        return *this;
    }
    // ASCII text as a length-prefixed, NUL-terminated, zero-padded UTF-16 string.
    Bytes& str(const std::string& s) {
        i32(static_cast<int32_t>(s.size()));
        for (char c : s) {
            mBytes.push_back(static_cast<uint8_t>(c));
            mBytes.push_back(0);
        }
        mBytes.push_back(0);
        mBytes.push_back(0);
        while (mBytes.size() % 4 != 0) mBytes.push_back(0);
        return *this;
    }
    // The interface token of a native system-partition caller.
    Bytes& token(const std::string& descriptor) {
        return i32(static_cast<int32_t>(0x80000000u)).i32(-1).i32(0x53595354).str(descriptor);
    }
    // A Property body: size word counting itself, key, value, then optional extra words.
    Bytes& property(const std::string& key, const std::string& value, int extraWords = 0) {
        Bytes body;
        body.str(key).str(value);
        for (int i = 0; i < extraWords; ++i) body.i32(0x7777);
        i32(static_cast<int32_t>(4 + body.size()));
        mBytes.insert(mBytes.end(), body.mBytes.begin(), body.mBytes.end());
        return *this;
    }
    Bytes& append(const Bytes& other) {
        mBytes.insert(mBytes.end(), other.mBytes.begin(), other.mBytes.end());
        return *this;
    }

    size_t size() const { return mBytes.size(); }
    const std::vector<uint8_t>& bytes() const { return mBytes; }
    std::string hex() const { return toHex(mBytes.data(), mBytes.size()); }

    // Loads the bytes into a parcel positioned at its start.
    void into(android::Parcel* parcel) const {
        parcel->setData(mBytes.data(), mBytes.size());
        parcel->setDataPosition(0);
    }

    static std::string toHex(const uint8_t* data, size_t size) {
        std::string out;
        char buf[3];
        for (size_t i = 0; i < size; ++i) {
            snprintf(buf, sizeof(buf), "%02x", data[i]);
            out += buf;
        }
        return out;
    }

private:
    std::vector<uint8_t> mBytes;
};

inline std::string hexOf(const android::Parcel& parcel) {
    return Bytes::toHex(parcel.data(), parcel.dataSize());
}

inline constexpr const char* kDeviceConfigDescriptor =
        "com.halcyon.deviceconfig.aidl.IDeviceConfig";
inline constexpr const char* kListenerDescriptor =
        "com.halcyon.deviceconfig.aidl.IOnPropertiesChangeListener";

}  // namespace deviceconfigtest
