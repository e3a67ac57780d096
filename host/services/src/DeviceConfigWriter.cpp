// The host-only write transactions of HostDeviceConfigService and their client side.

#include <deviceconfig_host/HostDeviceConfigService.h>

#include <binder/Parcel.h>
#include <utils/String16.h>

namespace com::halcyon::deviceconfig::host {
namespace {

using ::android::Parcel;
using ::android::status_t;

const ::android::String16& writerDescriptor() {
    static const ::android::String16 descriptor(kDeviceConfigWriterDescriptor);
    return descriptor;
}

status_t writeResult(Parcel* reply, status_t status, bool changed) {
    status_t written = reply->writeInt32(status);
    if (written == ::android::OK && status == ::android::OK) written = reply->writeInt32(changed);
    return written;
}

status_t callWriter(const ::android::sp<::android::IBinder>& service, uint32_t code,
                    const std::vector<std::string>& args, bool* changed) {
    if (service == nullptr) return ::android::DEAD_OBJECT;
    Parcel data;
    Parcel reply;
    data.markForBinder(service);
    status_t status = data.writeInterfaceToken(writerDescriptor());
    for (const std::string& arg : args) {
        if (status == ::android::OK) status = data.writeUtf8AsUtf16(arg);
    }
    if (status == ::android::OK) status = service->transact(code, data, &reply, 0);
    int32_t remote = ::android::OK;
    if (status == ::android::OK) status = reply.readInt32(&remote);
    if (status == ::android::OK) status = remote;
    int32_t changedFlag = 0;
    if (status == ::android::OK) status = reply.readInt32(&changedFlag);
    *changed = changedFlag != 0;
    return status;
}

}  // namespace

status_t HostDeviceConfigService::onTransact(uint32_t code, const Parcel& data, Parcel* reply,
                                             uint32_t flags) {
    if (code != kTransactionWriterSet && code != kTransactionWriterDelete) {
        return BnDeviceConfig::onTransact(code, data, reply, flags);
    }
    if (!data.enforceInterface(writerDescriptor())) return ::android::BAD_TYPE;
    std::string ns;
    std::string key;
    std::string value;
    status_t status = data.readUtf8FromUtf16(&ns);
    if (status == ::android::OK) status = data.readUtf8FromUtf16(&key);
    if (status == ::android::OK && code == kTransactionWriterSet)
        status = data.readUtf8FromUtf16(&value);
    if (status != ::android::OK) return status;
    if (ns.empty() || key.empty() || ns.find('/') != std::string::npos)
        return writeResult(reply, ::android::BAD_VALUE, false);
    if (code == kTransactionWriterSet) {
        const bool stored = setProperty(ns, key, value);
        return writeResult(reply, stored ? ::android::OK : ::android::INVALID_OPERATION, stored);
    }
    const bool existed = getProperty(ns, key).has_value();
    const bool removed = removeProperty(ns, key);
    return writeResult(reply, existed && !removed ? ::android::INVALID_OPERATION : ::android::OK,
                       removed);
}

status_t writeDeviceConfigProperty(const ::android::sp<::android::IBinder>& service,
                                   const std::string& ns, const std::string& key,
                                   const std::string& value, bool* changed) {
    return callWriter(service, kTransactionWriterSet, {ns, key, value}, changed);
}

status_t deleteDeviceConfigProperty(const ::android::sp<::android::IBinder>& service,
                                    const std::string& ns, const std::string& key, bool* changed) {
    return callWriter(service, kTransactionWriterDelete, {ns, key}, changed);
}

}  // namespace com::halcyon::deviceconfig::host
