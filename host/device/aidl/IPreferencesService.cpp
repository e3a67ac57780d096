#include <com/halcyon/preferences/BnPreferencesService.h>
#include <com/halcyon/preferences/BpPreferencesService.h>

#include <binder/Parcel.h>

namespace com::halcyon::preferences {

static const ::android::StaticString16 IPreferencesService_descriptor_static_str16(
        u"com.halcyon.preferences.IPreferencesService");
const ::android::String16 IPreferencesService::descriptor(
        IPreferencesService_descriptor_static_str16);

const ::android::String16& IPreferencesService::getInterfaceDescriptor() const {
    return IPreferencesService::descriptor;
}

::android::sp<IPreferencesService> IPreferencesService::asInterface(
        const ::android::sp<::android::IBinder>& obj) {
    ::android::sp<IPreferencesService> intr;
    if (obj != nullptr) {
        intr = static_cast<IPreferencesService*>(
                obj->queryLocalInterface(IPreferencesService::descriptor).get());
        if (intr == nullptr) intr = new BpPreferencesService(obj);
    }
    return intr;
}

IPreferencesService::IPreferencesService() {}
IPreferencesService::~IPreferencesService() {}

// ---- Proxy -----------------------------------------------------------------------------------

namespace {

// The steps every two-way call shares: token, arguments, transact, Status, then the result.
template <typename WriteArgs, typename ReadResult>
::android::binder::Status callRemote(::android::IBinder* remote,
                                     const ::android::sp<::android::IBinder>& remoteStrong,
                                     uint32_t code, WriteArgs writeArgs, ReadResult readResult) {
    ::android::Parcel _aidl_data;
    _aidl_data.markForBinder(remoteStrong);
    ::android::Parcel _aidl_reply;
    ::android::binder::Status _aidl_status;
    ::android::status_t _aidl_ret_status =
            _aidl_data.writeInterfaceToken(IPreferencesService::descriptor);
    if (_aidl_ret_status == ::android::OK) _aidl_ret_status = writeArgs(_aidl_data);
    if (_aidl_ret_status == ::android::OK)
        _aidl_ret_status = remote->transact(code, _aidl_data, &_aidl_reply, 0);
    if (_aidl_ret_status == ::android::OK)
        _aidl_ret_status = _aidl_status.readFromParcel(_aidl_reply);
    if (_aidl_ret_status == ::android::OK) {
        if (!_aidl_status.isOk()) return _aidl_status;
        _aidl_ret_status = readResult(_aidl_reply);
    }
    _aidl_status.setFromStatusT(_aidl_ret_status);
    return _aidl_status;
}

::android::status_t nothing(const ::android::Parcel&) {
    return ::android::OK;
}

}  // namespace

BpPreferencesService::BpPreferencesService(const ::android::sp<::android::IBinder>& _aidl_impl)
    : BpInterface<IPreferencesService>(_aidl_impl) {}

::android::binder::Status BpPreferencesService::get(const std::string& key, Setting* _aidl_return) {
    return callRemote(
            remote(), remoteStrong(), BnPreferencesService::TRANSACTION_get,
            [&](::android::Parcel& data) { return data.writeUtf8AsUtf16(key); },
            [&](const ::android::Parcel& reply) { return reply.readParcelable(_aidl_return); });
}

::android::binder::Status BpPreferencesService::put(const Setting& setting, bool* _aidl_return) {
    return callRemote(
            remote(), remoteStrong(), BnPreferencesService::TRANSACTION_put,
            [&](::android::Parcel& data) { return data.writeParcelable(setting); },
            [&](const ::android::Parcel& reply) { return reply.readBool(_aidl_return); });
}

::android::binder::Status BpPreferencesService::remove(const std::string& key, bool* _aidl_return) {
    return callRemote(
            remote(), remoteStrong(), BnPreferencesService::TRANSACTION_remove,
            [&](::android::Parcel& data) { return data.writeUtf8AsUtf16(key); },
            [&](const ::android::Parcel& reply) { return reply.readBool(_aidl_return); });
}

::android::binder::Status BpPreferencesService::list(std::vector<Setting>* _aidl_return) {
    return callRemote(
            remote(), remoteStrong(), BnPreferencesService::TRANSACTION_list,
            [](::android::Parcel&) { return ::android::OK; },
            [&](const ::android::Parcel& reply) {
                return reply.readParcelableVector(_aidl_return);
            });
}

::android::binder::Status BpPreferencesService::addListener(
        const std::string& key, const ::android::sp<IPreferencesListener>& listener) {
    return callRemote(
            remote(), remoteStrong(), BnPreferencesService::TRANSACTION_addListener,
            [&](::android::Parcel& data) {
                ::android::status_t status = data.writeUtf8AsUtf16(key);
                if (status != ::android::OK) return status;
                return data.writeStrongBinder(IPreferencesListener::asBinder(listener));
            },
            nothing);
}

::android::binder::Status BpPreferencesService::removeListener(
        const std::string& key, const ::android::sp<IPreferencesListener>& listener) {
    return callRemote(
            remote(), remoteStrong(), BnPreferencesService::TRANSACTION_removeListener,
            [&](::android::Parcel& data) {
                ::android::status_t status = data.writeUtf8AsUtf16(key);
                if (status != ::android::OK) return status;
                return data.writeStrongBinder(IPreferencesListener::asBinder(listener));
            },
            nothing);
}

// ---- Stub ------------------------------------------------------------------------------------

BnPreferencesService::BnPreferencesService() {}

::android::status_t BnPreferencesService::onTransact(uint32_t _aidl_code,
                                                     const ::android::Parcel& _aidl_data,
                                                     ::android::Parcel* _aidl_reply,
                                                     uint32_t _aidl_flags) {
    if (_aidl_code < TRANSACTION_get || _aidl_code > TRANSACTION_removeListener) {
        return ::android::BBinder::onTransact(_aidl_code, _aidl_data, _aidl_reply, _aidl_flags);
    }
    if (!(_aidl_data.checkInterface(this))) return ::android::BAD_TYPE;
    ::android::status_t _aidl_ret_status = ::android::OK;
    switch (_aidl_code) {
        case TRANSACTION_get: {
            std::string in_key;
            Setting _aidl_return;
            _aidl_ret_status = _aidl_data.readUtf8FromUtf16(&in_key);
            if (_aidl_ret_status != ::android::OK) break;
            ::android::binder::Status _aidl_status(get(in_key, &_aidl_return));
            _aidl_ret_status = _aidl_status.writeToParcel(_aidl_reply);
            if (_aidl_ret_status != ::android::OK || !_aidl_status.isOk()) break;
            _aidl_ret_status = _aidl_reply->writeParcelable(_aidl_return);
        } break;
        case TRANSACTION_put: {
            Setting in_setting;
            bool _aidl_return = false;
            _aidl_ret_status = _aidl_data.readParcelable(&in_setting);
            if (_aidl_ret_status != ::android::OK) break;
            ::android::binder::Status _aidl_status(put(in_setting, &_aidl_return));
            _aidl_ret_status = _aidl_status.writeToParcel(_aidl_reply);
            if (_aidl_ret_status != ::android::OK || !_aidl_status.isOk()) break;
            _aidl_ret_status = _aidl_reply->writeBool(_aidl_return);
        } break;
        case TRANSACTION_remove: {
            std::string in_key;
            bool _aidl_return = false;
            _aidl_ret_status = _aidl_data.readUtf8FromUtf16(&in_key);
            if (_aidl_ret_status != ::android::OK) break;
            ::android::binder::Status _aidl_status(remove(in_key, &_aidl_return));
            _aidl_ret_status = _aidl_status.writeToParcel(_aidl_reply);
            if (_aidl_ret_status != ::android::OK || !_aidl_status.isOk()) break;
            _aidl_ret_status = _aidl_reply->writeBool(_aidl_return);
        } break;
        case TRANSACTION_list: {
            std::vector<Setting> _aidl_return;
            ::android::binder::Status _aidl_status(list(&_aidl_return));
            _aidl_ret_status = _aidl_status.writeToParcel(_aidl_reply);
            if (_aidl_ret_status != ::android::OK || !_aidl_status.isOk()) break;
            _aidl_ret_status = _aidl_reply->writeParcelableVector(_aidl_return);
        } break;
        case TRANSACTION_addListener:
        case TRANSACTION_removeListener: {
            std::string in_key;
            ::android::sp<IPreferencesListener> in_listener;
            _aidl_ret_status = _aidl_data.readUtf8FromUtf16(&in_key);
            if (_aidl_ret_status != ::android::OK) break;
            _aidl_ret_status = _aidl_data.readStrongBinder(&in_listener);
            if (_aidl_ret_status != ::android::OK) break;
            ::android::binder::Status _aidl_status(_aidl_code == TRANSACTION_addListener
                                                           ? addListener(in_key, in_listener)
                                                           : removeListener(in_key, in_listener));
            _aidl_ret_status = _aidl_status.writeToParcel(_aidl_reply);
        } break;
    }
    if (_aidl_ret_status == ::android::UNEXPECTED_NULL) {
        _aidl_ret_status = ::android::binder::Status::fromExceptionCode(
                                   ::android::binder::Status::EX_NULL_POINTER)
                                   .writeOverParcel(_aidl_reply);
    }
    return _aidl_ret_status;
}

}  // namespace com::halcyon::preferences
