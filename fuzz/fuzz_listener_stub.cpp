// The library's change listener (IOnPropertiesChangeListener stub) on hostile one-way calls,
// delivering to a user listener that reads every key back. Input: byte 0 picks the code
// (0-2); byte 1 bit 0 prepends a valid interface token; the rest is the request data.
#include <deviceconfig/OnPropertiesChangeListener.h>

#include <memory>

#include "FuzzedRequest.h"

using com::halcyon::deviceconfig::OnPropertiesChangeListener;
using com::halcyon::deviceconfig::Properties;

namespace {

struct ReadingListener : OnPropertiesChangeListener {
    void onPropertiesChanged(const Properties& properties) override {
        for (const std::string& key : properties.getKeys()) {
            properties.getLong(key, 0);
            properties.getBoolean(key, false);
        }
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const android::sp<OnPropertiesChangeListener::OnDeviceConfigChangeListener> stub =
            new OnPropertiesChangeListener::OnDeviceConfigChangeListener(
                    std::make_shared<ReadingListener>());
    transactFuzzedRequest(*stub, data, size, 3, /*alwaysOneway=*/true);
    return 0;
}
