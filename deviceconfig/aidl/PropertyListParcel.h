#pragma once

#include <binder/Parcel.h>
#include <com/halcyon/deviceconfig/aidl/Property.h>
#include <utils/Errors.h>

#include <vector>

namespace com::halcyon::deviceconfig::aidl {

// A non-nullable List<Property> on the wire: an int32 count, then per element the non-null
// marker 1 and the parcelable body. Shared by the proxies and the stubs of both interfaces.
::android::status_t writePropertyList(::android::Parcel* parcel,
                                      const std::vector<Property>& properties);

// Refuses a null list (UNEXPECTED_NULL) and a count that the remaining bytes cannot hold
// (BAD_VALUE) before touching the vector, so a hostile count cannot force a huge allocation.
::android::status_t readPropertyList(const ::android::Parcel& parcel,
                                     std::vector<Property>* properties);

}  // namespace com::halcyon::deviceconfig::aidl
