// IDeviceConfig proxy reading hostile replies. Input: byte 0 picks the call (getProperties,
// add or remove a listener) and bit 7 makes the remote fail the transaction instead; the
// rest is the reply the remote answers with.
#include <binder/Binder.h>
#include <binder/Parcel.h>
#include <com/halcyon/deviceconfig/aidl/BnOnPropertiesChangeListener.h>
#include <com/halcyon/deviceconfig/aidl/BpDeviceConfig.h>

#include <cstdint>
#include <vector>

using namespace com::halcyon::deviceconfig::aidl;

namespace {

struct ScriptedRemote : android::BBinder {
    android::status_t onTransact(uint32_t, const android::Parcel&, android::Parcel* reply,
                                 uint32_t) override {
        if (reply != nullptr) reply->setData(replyBytes, replySize);
        return answer;
    }
    const uint8_t* replyBytes = nullptr;
    size_t replySize = 0;
    android::status_t answer = android::OK;
};

struct NoListener : BnOnPropertiesChangeListener {
    android::binder::Status onPropertiesChanged(const std::vector<Property>&) override {
        return android::binder::Status::ok();
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    static const android::sp<ScriptedRemote> remote = new ScriptedRemote();
    static const android::sp<IDeviceConfig> proxy = new BpDeviceConfig(remote);
    static const android::sp<IOnPropertiesChangeListener> listener = new NoListener();
    remote->replyBytes = data + 1;
    remote->replySize = size - 1;
    remote->answer = (data[0] & 0x80) != 0 ? android::UNKNOWN_TRANSACTION : android::OK;
    std::vector<Property> result;
    switch (data[0] % 3) {
        case 0:
            proxy->getProperties("ns", {"a", "b"}, &result);
            break;
        case 1:
            proxy->addOnPropertiesChangeListener("ns", listener);
            break;
        default:
            proxy->removeOnPropertiesChangeListener(listener);
            break;
    }
    return 0;
}
