#include <com/halcyon/deviceconfig/aidl/BnDeviceConfig.h>
#include <com/halcyon/deviceconfig/aidl/BpDeviceConfig.h>
#include <com/halcyon/deviceconfig/aidl/IDeviceConfig.h>

#include <binder/Parcel.h>
#include <deviceconfig/aidl/PropertyListParcel.h>

namespace com::halcyon::deviceconfig::aidl {

static const ::android::StaticString16 IDeviceConfig_descriptor_static_str16(
        u"com.halcyon.deviceconfig.aidl.IDeviceConfig");
const ::android::String16 IDeviceConfig::descriptor(IDeviceConfig_descriptor_static_str16);

std::unique_ptr<IDeviceConfig> IDeviceConfig::default_impl;

const ::android::String16& IDeviceConfig::getInterfaceDescriptor() const {
    return IDeviceConfig::descriptor;
}

::android::sp<IDeviceConfig> IDeviceConfig::asInterface(const ::android::sp<::android::IBinder>& obj) {
    ::android::sp<IDeviceConfig> intr;
    if (obj != nullptr) {
        intr = static_cast<IDeviceConfig*>(
                obj->queryLocalInterface(IDeviceConfig::descriptor).get());
        if (intr == nullptr) {
            intr = new BpDeviceConfig(obj);
        }
    }
    return intr;
}

IDeviceConfig::IDeviceConfig() {}
IDeviceConfig::~IDeviceConfig() {}

bool IDeviceConfig::setDefaultImpl(std::unique_ptr<IDeviceConfig> impl) {
    if (!impl) return false;
    IDeviceConfig::default_impl = std::move(impl);
    return true;
}

const std::unique_ptr<IDeviceConfig>& IDeviceConfig::getDefaultImpl() {
    return IDeviceConfig::default_impl;
}

// ---- Proxy -----------------------------------------------------------------------------------

BpDeviceConfig::BpDeviceConfig(const ::android::sp<::android::IBinder>& _aidl_impl)
    : BpInterface<IDeviceConfig>(_aidl_impl) {}

::android::binder::Status BpDeviceConfig::getProperties(const std::string& ns,
                                                        const std::vector<std::string>& keys,
                                                        std::vector<Property>* _aidl_return) {
    ::android::Parcel _aidl_data;
    _aidl_data.markForBinder(remoteStrong());
    ::android::Parcel _aidl_reply;
    ::android::binder::Status _aidl_status;
    ::android::status_t _aidl_ret_status = _aidl_data.writeInterfaceToken(getInterfaceDescriptor());
    if (_aidl_ret_status == ::android::OK) _aidl_ret_status = _aidl_data.writeUtf8AsUtf16(ns);
    if (_aidl_ret_status == ::android::OK)
        _aidl_ret_status = _aidl_data.writeUtf8VectorAsUtf16Vector(keys);
    if (_aidl_ret_status == ::android::OK) {
        _aidl_ret_status = remote()->transact(BnDeviceConfig::TRANSACTION_getProperties, _aidl_data,
                                              &_aidl_reply, 0);
        if (_aidl_ret_status == ::android::UNKNOWN_TRANSACTION && IDeviceConfig::getDefaultImpl()) {
            return IDeviceConfig::getDefaultImpl()->getProperties(ns, keys, _aidl_return);
        }
    }
    if (_aidl_ret_status == ::android::OK)
        _aidl_ret_status = _aidl_status.readFromParcel(_aidl_reply);
    if (_aidl_ret_status == ::android::OK) {
        if (!_aidl_status.isOk()) return _aidl_status;
        _aidl_ret_status = readPropertyList(_aidl_reply, _aidl_return);
    }
    _aidl_status.setFromStatusT(_aidl_ret_status);
    return _aidl_status;
}

::android::binder::Status BpDeviceConfig::addOnPropertiesChangeListener(
        const std::string& ns, const ::android::sp<IOnPropertiesChangeListener>& listener) {
    ::android::Parcel _aidl_data;
    _aidl_data.markForBinder(remoteStrong());
    ::android::Parcel _aidl_reply;
    ::android::binder::Status _aidl_status;
    ::android::status_t _aidl_ret_status = _aidl_data.writeInterfaceToken(getInterfaceDescriptor());
    if (_aidl_ret_status == ::android::OK) _aidl_ret_status = _aidl_data.writeUtf8AsUtf16(ns);
    if (_aidl_ret_status == ::android::OK) {
        _aidl_ret_status =
                _aidl_data.writeStrongBinder(IOnPropertiesChangeListener::asBinder(listener));
    }
    if (_aidl_ret_status == ::android::OK) {
        _aidl_ret_status =
                remote()->transact(BnDeviceConfig::TRANSACTION_addOnPropertiesChangeListener,
                                   _aidl_data, &_aidl_reply, 0);
        if (_aidl_ret_status == ::android::UNKNOWN_TRANSACTION && IDeviceConfig::getDefaultImpl()) {
            return IDeviceConfig::getDefaultImpl()->addOnPropertiesChangeListener(ns, listener);
        }
    }
    if (_aidl_ret_status == ::android::OK) {
        _aidl_ret_status = _aidl_status.readFromParcel(_aidl_reply);
        if (_aidl_ret_status == ::android::OK) return _aidl_status;
    }
    _aidl_status.setFromStatusT(_aidl_ret_status);
    return _aidl_status;
}

::android::binder::Status BpDeviceConfig::removeOnPropertiesChangeListener(
        const ::android::sp<IOnPropertiesChangeListener>& listener) {
    ::android::Parcel _aidl_data;
    _aidl_data.markForBinder(remoteStrong());
    ::android::Parcel _aidl_reply;
    ::android::binder::Status _aidl_status;
    ::android::status_t _aidl_ret_status = _aidl_data.writeInterfaceToken(getInterfaceDescriptor());
    if (_aidl_ret_status == ::android::OK) {
        _aidl_ret_status =
                _aidl_data.writeStrongBinder(IOnPropertiesChangeListener::asBinder(listener));
    }
    if (_aidl_ret_status == ::android::OK) {
        _aidl_ret_status =
                remote()->transact(BnDeviceConfig::TRANSACTION_removeOnPropertiesChangeListener,
                                   _aidl_data, &_aidl_reply, 0);
        if (_aidl_ret_status == ::android::UNKNOWN_TRANSACTION && IDeviceConfig::getDefaultImpl()) {
            return IDeviceConfig::getDefaultImpl()->removeOnPropertiesChangeListener(listener);
        }
    }
    if (_aidl_ret_status == ::android::OK) {
        _aidl_ret_status = _aidl_status.readFromParcel(_aidl_reply);
        if (_aidl_ret_status == ::android::OK) return _aidl_status;
    }
    _aidl_status.setFromStatusT(_aidl_ret_status);
    return _aidl_status;
}

// ---- Stub ------------------------------------------------------------------------------------

BnDeviceConfig::BnDeviceConfig() {}

::android::status_t BnDeviceConfig::onTransact(uint32_t _aidl_code,
                                               const ::android::Parcel& _aidl_data,
                                               ::android::Parcel* _aidl_reply,
                                               uint32_t _aidl_flags) {
    ::android::status_t _aidl_ret_status = ::android::OK;
    switch (_aidl_code) {
        case BnDeviceConfig::TRANSACTION_getProperties: {
            std::string in_ns;
            std::vector<std::string> in_keys;
            std::vector<Property> _aidl_return;
            if (!(_aidl_data.checkInterface(this))) {
                _aidl_ret_status = ::android::BAD_TYPE;
                break;
            }
            _aidl_ret_status = _aidl_data.readUtf8FromUtf16(&in_ns);
            if (_aidl_ret_status != ::android::OK) break;
            _aidl_ret_status = _aidl_data.readUtf8VectorFromUtf16Vector(&in_keys);
            if (_aidl_ret_status != ::android::OK) break;
            ::android::binder::Status _aidl_status(getProperties(in_ns, in_keys, &_aidl_return));
            _aidl_ret_status = _aidl_status.writeToParcel(_aidl_reply);
            if (_aidl_ret_status != ::android::OK) break;
            if (!_aidl_status.isOk()) break;
            _aidl_ret_status = writePropertyList(_aidl_reply, _aidl_return);
        } break;
        case BnDeviceConfig::TRANSACTION_addOnPropertiesChangeListener: {
            std::string in_ns;
            ::android::sp<IOnPropertiesChangeListener> in_listener;
            if (!(_aidl_data.checkInterface(this))) {
                _aidl_ret_status = ::android::BAD_TYPE;
                break;
            }
            _aidl_ret_status = _aidl_data.readUtf8FromUtf16(&in_ns);
            if (_aidl_ret_status != ::android::OK) break;
            _aidl_ret_status = _aidl_data.readStrongBinder(&in_listener);
            if (_aidl_ret_status != ::android::OK) break;
            ::android::binder::Status _aidl_status(
                    addOnPropertiesChangeListener(in_ns, in_listener));
            _aidl_ret_status = _aidl_status.writeToParcel(_aidl_reply);
        } break;
        case BnDeviceConfig::TRANSACTION_removeOnPropertiesChangeListener: {
            ::android::sp<IOnPropertiesChangeListener> in_listener;
            if (!(_aidl_data.checkInterface(this))) {
                _aidl_ret_status = ::android::BAD_TYPE;
                break;
            }
            _aidl_ret_status = _aidl_data.readStrongBinder(&in_listener);
            if (_aidl_ret_status != ::android::OK) break;
            ::android::binder::Status _aidl_status(removeOnPropertiesChangeListener(in_listener));
            _aidl_ret_status = _aidl_status.writeToParcel(_aidl_reply);
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
