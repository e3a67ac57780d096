#pragma once

#include <binder/Parcel.h>
#include <binder/Parcelable.h>
#include <utils/Errors.h>

#include <cstdint>
#include <string>
#include <tuple>

namespace com::halcyon::preferences {

// One typed setting; `value` holds the text form of every type.
class Setting : public ::android::Parcelable {
public:
    enum Type : int32_t { kNone = 0, kString = 1, kBool = 2, kInt = 3 };

    std::string key;
    int32_t type = kNone;
    std::string value;

    inline bool operator==(const Setting& rhs) const {
        return std::tie(key, type, value) == std::tie(rhs.key, rhs.type, rhs.value);
    }

    ::android::status_t readFromParcel(const ::android::Parcel* _aidl_parcel) final;
    ::android::status_t writeToParcel(::android::Parcel* _aidl_parcel) const final;
};

}  // namespace com::halcyon::preferences
