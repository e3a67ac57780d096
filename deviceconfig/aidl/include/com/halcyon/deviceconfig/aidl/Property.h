#pragma once

#include <halcyon/TelemetryExport.h>

#include <binder/Parcel.h>
#include <binder/Parcelable.h>
#include <utils/Errors.h>
#include <utils/String16.h>

#include <string>
#include <tuple>

namespace com::halcyon::deviceconfig::aidl {

// One device-config property: its key within the namespace and its value as text.
class TELEMETRY_EXPORT Property : public ::android::Parcelable {
public:
    std::string key;
    std::string value;

    inline bool operator==(const Property& rhs) const {
        return std::tie(key, value) == std::tie(rhs.key, rhs.value);
    }
    inline bool operator!=(const Property& rhs) const { return !(*this == rhs); }

    ::android::status_t readFromParcel(const ::android::Parcel* _aidl_parcel) final;
    ::android::status_t writeToParcel(::android::Parcel* _aidl_parcel) const final;

    static const ::android::String16& getParcelableDescriptor() {
        static const ::android::StaticString16 DESCRIPTOR(
                u"com.halcyon.deviceconfig.aidl.Property");
        return DESCRIPTOR;
    }
};

}  // namespace com::halcyon::deviceconfig::aidl
