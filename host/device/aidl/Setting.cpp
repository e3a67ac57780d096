#include <com/halcyon/preferences/Setting.h>

#include <cstdint>
#include <limits>

namespace com::halcyon::preferences {

::android::status_t Setting::readFromParcel(const ::android::Parcel* _aidl_parcel) {
    const size_t _aidl_start_pos = _aidl_parcel->dataPosition();
    int32_t _aidl_parcelable_raw_size = 0;
    ::android::status_t _aidl_ret_status = _aidl_parcel->readInt32(&_aidl_parcelable_raw_size);
    if (_aidl_ret_status != ::android::OK) return _aidl_ret_status;
    if (_aidl_parcelable_raw_size < 0) return ::android::BAD_VALUE;
    const size_t _aidl_parcelable_size = static_cast<size_t>(_aidl_parcelable_raw_size);
    constexpr size_t kMaxPosition = static_cast<size_t>(std::numeric_limits<int32_t>::max());
    if (_aidl_start_pos > kMaxPosition - _aidl_parcelable_size) return ::android::BAD_VALUE;
    const size_t _aidl_end_pos = _aidl_start_pos + _aidl_parcelable_size;
    auto done = [&] {
        return _aidl_parcel->dataPosition() - _aidl_start_pos >= _aidl_parcelable_size;
    };

    if (!done()) {
        _aidl_ret_status = _aidl_parcel->readUtf8FromUtf16(&key);
        if (_aidl_ret_status != ::android::OK) return _aidl_ret_status;
    }
    if (!done()) {
        _aidl_ret_status = _aidl_parcel->readInt32(&type);
        if (_aidl_ret_status != ::android::OK) return _aidl_ret_status;
    }
    if (!done()) {
        _aidl_ret_status = _aidl_parcel->readUtf8FromUtf16(&value);
        if (_aidl_ret_status != ::android::OK) return _aidl_ret_status;
    }
    // Skips whatever fields a newer writer appended.
    _aidl_parcel->setDataPosition(_aidl_end_pos);
    return ::android::OK;
}

::android::status_t Setting::writeToParcel(::android::Parcel* _aidl_parcel) const {
    const size_t _aidl_start_pos = _aidl_parcel->dataPosition();
    ::android::status_t _aidl_ret_status = _aidl_parcel->writeInt32(0);
    if (_aidl_ret_status == ::android::OK) _aidl_ret_status = _aidl_parcel->writeUtf8AsUtf16(key);
    if (_aidl_ret_status == ::android::OK) _aidl_ret_status = _aidl_parcel->writeInt32(type);
    if (_aidl_ret_status == ::android::OK) _aidl_ret_status = _aidl_parcel->writeUtf8AsUtf16(value);
    if (_aidl_ret_status != ::android::OK) return _aidl_ret_status;
    const size_t _aidl_end_pos = _aidl_parcel->dataPosition();
    _aidl_parcel->setDataPosition(_aidl_start_pos);
    _aidl_parcel->writeInt32(static_cast<int32_t>(_aidl_end_pos - _aidl_start_pos));
    _aidl_parcel->setDataPosition(_aidl_end_pos);
    return ::android::OK;
}

}  // namespace com::halcyon::preferences
