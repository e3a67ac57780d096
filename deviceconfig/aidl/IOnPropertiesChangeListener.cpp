#include <com/halcyon/deviceconfig/aidl/BnOnPropertiesChangeListener.h>
#include <com/halcyon/deviceconfig/aidl/BpOnPropertiesChangeListener.h>
#include <com/halcyon/deviceconfig/aidl/IOnPropertiesChangeListener.h>

#include <binder/Parcel.h>
#include <deviceconfig/aidl/PropertyListParcel.h>

namespace com::halcyon::deviceconfig::aidl {

static const ::android::StaticString16 IOnPropertiesChangeListener_descriptor_static_str16(
        u"com.halcyon.deviceconfig.aidl.IOnPropertiesChangeListener");
const ::android::String16 IOnPropertiesChangeListener::descriptor(
        IOnPropertiesChangeListener_descriptor_static_str16);

std::unique_ptr<IOnPropertiesChangeListener> IOnPropertiesChangeListener::default_impl;

const ::android::String16& IOnPropertiesChangeListener::getInterfaceDescriptor() const {
    return IOnPropertiesChangeListener::descriptor;
}

::android::sp<IOnPropertiesChangeListener> IOnPropertiesChangeListener::asInterface(
        const ::android::sp<::android::IBinder>& obj) {
    ::android::sp<IOnPropertiesChangeListener> intr;
    if (obj != nullptr) {
        intr = static_cast<IOnPropertiesChangeListener*>(
                obj->queryLocalInterface(IOnPropertiesChangeListener::descriptor).get());
        if (intr == nullptr) {
            intr = new BpOnPropertiesChangeListener(obj);
        }
    }
    return intr;
}

IOnPropertiesChangeListener::IOnPropertiesChangeListener() {}
IOnPropertiesChangeListener::~IOnPropertiesChangeListener() {}

bool IOnPropertiesChangeListener::setDefaultImpl(std::unique_ptr<IOnPropertiesChangeListener> impl) {
    if (!impl) return false;
    IOnPropertiesChangeListener::default_impl = std::move(impl);
    return true;
}

const std::unique_ptr<IOnPropertiesChangeListener>& IOnPropertiesChangeListener::getDefaultImpl() {
    return IOnPropertiesChangeListener::default_impl;
}

// ---- Proxy -----------------------------------------------------------------------------------

BpOnPropertiesChangeListener::BpOnPropertiesChangeListener(
        const ::android::sp<::android::IBinder>& _aidl_impl)
    : BpInterface<IOnPropertiesChangeListener>(_aidl_impl) {}

::android::binder::Status BpOnPropertiesChangeListener::onPropertiesChanged(
        const std::vector<Property>& properties) {
    ::android::Parcel _aidl_data;
    _aidl_data.markForBinder(remoteStrong());
    ::android::Parcel _aidl_reply;
    ::android::binder::Status _aidl_status;
    ::android::status_t _aidl_ret_status = _aidl_data.writeInterfaceToken(getInterfaceDescriptor());
    if (_aidl_ret_status == ::android::OK)
        _aidl_ret_status = writePropertyList(&_aidl_data, properties);
    if (_aidl_ret_status == ::android::OK) {
        _aidl_ret_status =
                remote()->transact(BnOnPropertiesChangeListener::TRANSACTION_onPropertiesChanged,
                                   _aidl_data, &_aidl_reply, ::android::IBinder::FLAG_ONEWAY);
        if (_aidl_ret_status == ::android::UNKNOWN_TRANSACTION &&
            IOnPropertiesChangeListener::getDefaultImpl()) {
            return IOnPropertiesChangeListener::getDefaultImpl()->onPropertiesChanged(properties);
        }
    }
    _aidl_status.setFromStatusT(_aidl_ret_status);
    return _aidl_status;
}

// ---- Stub ------------------------------------------------------------------------------------

BnOnPropertiesChangeListener::BnOnPropertiesChangeListener() {}

::android::status_t BnOnPropertiesChangeListener::onTransact(uint32_t _aidl_code,
                                                             const ::android::Parcel& _aidl_data,
                                                             ::android::Parcel* _aidl_reply,
                                                             uint32_t _aidl_flags) {
    ::android::status_t _aidl_ret_status = ::android::OK;
    switch (_aidl_code) {
        case BnOnPropertiesChangeListener::TRANSACTION_onPropertiesChanged: {
            std::vector<Property> in_properties;
            if (!(_aidl_data.checkInterface(this))) {
                _aidl_ret_status = ::android::BAD_TYPE;
                break;
            }
            _aidl_ret_status = readPropertyList(_aidl_data, &in_properties);
            if (_aidl_ret_status != ::android::OK) break;
            // One-way: nobody waits for the outcome.
            ::android::binder::Status _aidl_status(onPropertiesChanged(in_properties));
        } break;
        default: {
            _aidl_ret_status = ::android::BBinder::onTransact(_aidl_code, _aidl_data, _aidl_reply,
                                                              _aidl_flags);
        } break;
    }
    if (_aidl_ret_status == ::android::UNEXPECTED_NULL) {
        _aidl_ret_status = ::android::binder::Status::fromExceptionCode(
                                   ::android::binder::Status::EX_NULL_POINTER)
                                   .writeOverParcel(_aidl_reply);
    }
    return _aidl_ret_status;
}

}  // namespace com::halcyon::deviceconfig::aidl
