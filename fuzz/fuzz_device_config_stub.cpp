// IDeviceConfig stub (the host service) on hostile requests. Input: byte 0 picks the code
// (0-4); byte 1 bit 0 prepends a valid interface token, bit 1 marks the call one-way; the
// rest is the request data.
#include <deviceconfig_host/HostDeviceConfigService.h>

#include "FuzzedRequest.h"

using com::halcyon::deviceconfig::host::HostDeviceConfigService;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const android::sp<HostDeviceConfigService> service = [] {
        android::sp<HostDeviceConfigService> s = new HostDeviceConfigService();
        s->setProperty("ns", "a", "1");
        return s;
    }();
    transactFuzzedRequest(*service, data, size, 5);
    return 0;
}
