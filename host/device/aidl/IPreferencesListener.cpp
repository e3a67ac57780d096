#include <com/halcyon/preferences/BnPreferencesListener.h>
#include <com/halcyon/preferences/BpPreferencesListener.h>

#include <binder/Parcel.h>

namespace com::halcyon::preferences {

static const ::android::StaticString16 IPreferencesListener_descriptor_static_str16(
        u"com.halcyon.preferences.IPreferencesListener");
const ::android::String16 IPreferencesListener::descriptor(
        IPreferencesListener_descriptor_static_str16);

const ::android::String16& IPreferencesListener::getInterfaceDescriptor() const {
    return IPreferencesListener::descriptor;
}

::android::sp<IPreferencesListener> IPreferencesListener::asInterface(
        const ::android::sp<::android::IBinder>& obj) {
    ::android::sp<IPreferencesListener> intr;
    if (obj != nullptr) {
        intr = static_cast<IPreferencesListener*>(
                obj->queryLocalInterface(IPreferencesListener::descriptor).get());
        if (intr == nullptr) intr = new BpPreferencesListener(obj);
    }
    return intr;
}

IPreferencesListener::IPreferencesListener() {}
IPreferencesListener::~IPreferencesListener() {}

BpPreferencesListener::BpPreferencesListener(const ::android::sp<::android::IBinder>& _aidl_impl)
    : BpInterface<IPreferencesListener>(_aidl_impl) {}

::android::binder::Status BpPreferencesListener::onSettingChange(const std::string& key) {
    ::android::Parcel _aidl_data;
    _aidl_data.markForBinder(remoteStrong());
    ::android::Parcel _aidl_reply;
    ::android::status_t _aidl_ret_status = _aidl_data.writeInterfaceToken(getInterfaceDescriptor());
    if (_aidl_ret_status == ::android::OK) _aidl_ret_status = _aidl_data.writeUtf8AsUtf16(key);
    if (_aidl_ret_status == ::android::OK) {
        _aidl_ret_status =
                remote()->transact(BnPreferencesListener::TRANSACTION_onSettingChange, _aidl_data,
                                   &_aidl_reply, ::android::IBinder::FLAG_ONEWAY);
    }
    return ::android::binder::Status::fromStatusT(_aidl_ret_status);
}

BnPreferencesListener::BnPreferencesListener() {}

::android::status_t BnPreferencesListener::onTransact(uint32_t _aidl_code,
                                                      const ::android::Parcel& _aidl_data,
                                                      ::android::Parcel* _aidl_reply,
                                                      uint32_t _aidl_flags) {
    ::android::status_t _aidl_ret_status = ::android::OK;
    switch (_aidl_code) {
        case TRANSACTION_onSettingChange: {
            std::string in_key;
            if (!(_aidl_data.checkInterface(this))) {
                _aidl_ret_status = ::android::BAD_TYPE;
                break;
            }
            _aidl_ret_status = _aidl_data.readUtf8FromUtf16(&in_key);
            if (_aidl_ret_status != ::android::OK) break;
            // One-way: the implementation's status goes nowhere.
            (void)onSettingChange(in_key);
        } break;
        default:
            _aidl_ret_status = ::android::BBinder::onTransact(_aidl_code, _aidl_data, _aidl_reply,
                                                              _aidl_flags);
            break;
    }
    if (_aidl_ret_status == ::android::UNEXPECTED_NULL) {
        _aidl_ret_status = ::android::binder::Status::fromExceptionCode(
                                   ::android::binder::Status::EX_NULL_POINTER)
                                   .writeOverParcel(_aidl_reply);
    }
    return _aidl_ret_status;
}

}  // namespace com::halcyon::preferences
