#include <com/halcyon/deviceconfig/aidl/Property.h>

#include <deviceconfig/aidl/PropertyListParcel.h>

#include <cstdint>
#include <limits>

namespace com::halcyon::deviceconfig::aidl {

::android::status_t Property::readFromParcel(const ::android::Parcel* _aidl_parcel) {
    const size_t _aidl_start_pos = _aidl_parcel->dataPosition();
    int32_t _aidl_parcelable_raw_size = 0;
    ::android::status_t _aidl_ret_status = _aidl_parcel->readInt32(&_aidl_parcelable_raw_size);
    if (_aidl_ret_status != ::android::OK) return _aidl_ret_status;
    if (_aidl_parcelable_raw_size < 0) return ::android::BAD_VALUE;
    const size_t _aidl_parcelable_size = static_cast<size_t>(_aidl_parcelable_raw_size);
    // Parcel positions stop at INT32_MAX; a larger end would abort in setDataPosition.
    constexpr size_t kMaxPosition = static_cast<size_t>(std::numeric_limits<int32_t>::max());
    if (_aidl_start_pos > kMaxPosition - _aidl_parcelable_size) return ::android::BAD_VALUE;
    const size_t _aidl_end_pos = _aidl_start_pos + _aidl_parcelable_size;

    if (_aidl_parcel->dataPosition() - _aidl_start_pos >= _aidl_parcelable_size) {
        _aidl_parcel->setDataPosition(_aidl_end_pos);
        return ::android::OK;
    }
    _aidl_ret_status = _aidl_parcel->readUtf8FromUtf16(&key);
    if (_aidl_ret_status != ::android::OK) return _aidl_ret_status;
    if (_aidl_parcel->dataPosition() - _aidl_start_pos >= _aidl_parcelable_size) {
        _aidl_parcel->setDataPosition(_aidl_end_pos);
        return ::android::OK;
    }
    _aidl_ret_status = _aidl_parcel->readUtf8FromUtf16(&value);
    if (_aidl_ret_status != ::android::OK) return _aidl_ret_status;
    // Skips whatever fields a newer writer appended.
    _aidl_parcel->setDataPosition(_aidl_end_pos);
    return ::android::OK;
}

::android::status_t Property::writeToParcel(::android::Parcel* _aidl_parcel) const {
    const size_t _aidl_start_pos = _aidl_parcel->dataPosition();
    ::android::status_t _aidl_ret_status = _aidl_parcel->writeInt32(0);
    if (_aidl_ret_status != ::android::OK) return _aidl_ret_status;
    _aidl_ret_status = _aidl_parcel->writeUtf8AsUtf16(key);
    if (_aidl_ret_status != ::android::OK) return _aidl_ret_status;
    _aidl_ret_status = _aidl_parcel->writeUtf8AsUtf16(value);
    if (_aidl_ret_status != ::android::OK) return _aidl_ret_status;
    const size_t _aidl_end_pos = _aidl_parcel->dataPosition();
    _aidl_parcel->setDataPosition(_aidl_start_pos);
    _aidl_parcel->writeInt32(static_cast<int32_t>(_aidl_end_pos - _aidl_start_pos));
    _aidl_parcel->setDataPosition(_aidl_end_pos);
    return ::android::OK;
}

::android::status_t writePropertyList(::android::Parcel* parcel,
                                      const std::vector<Property>& properties) {
    if (properties.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
        return ::android::BAD_VALUE;
    }
    ::android::status_t status = parcel->writeInt32(static_cast<int32_t>(properties.size()));
    if (status != ::android::OK) return status;
    for (const Property& property : properties) {
        status = parcel->writeInt32(1);  // non-null parcelable marker
        if (status != ::android::OK) return status;
        status = property.writeToParcel(parcel);
        if (status != ::android::OK) return status;
    }
    return ::android::OK;
}

::android::status_t readPropertyList(const ::android::Parcel& parcel,
                                     std::vector<Property>* properties) {
    int32_t count = 0;
    ::android::status_t status = parcel.readInt32(&count);
    if (status != ::android::OK) return status;
    if (count < 0) return ::android::UNEXPECTED_NULL;
    if (static_cast<size_t>(count) > parcel.dataAvail()) return ::android::BAD_VALUE;
    properties->resize(static_cast<size_t>(count));
    for (Property& property : *properties) {
        int32_t marker = 0;
        status = parcel.readInt32(&marker);
        if (status != ::android::OK) return status;
        if (marker != 1) return ::android::UNEXPECTED_NULL;
        status = property.readFromParcel(&parcel);
        if (status != ::android::OK) return status;
    }
    return ::android::OK;
}

}  // namespace com::halcyon::deviceconfig::aidl
