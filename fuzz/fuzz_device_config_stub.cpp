// IDeviceConfig stub (the host service) on hostile requests. Input: byte 0 picks the code
// (0-4); byte 1 bit 0 prepends a valid interface token, bit 1 marks the call one-way; the
// rest is the request data.
#include <binder/IBinder.h>
#include <binder/Parcel.h>
#include <deviceconfig_host/HostDeviceConfigService.h>

#include <cstdint>

using com::halcyon::deviceconfig::host::HostDeviceConfigService;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    static const android::sp<HostDeviceConfigService> service = [] {
        android::sp<HostDeviceConfigService> s = new HostDeviceConfigService();
        s->setProperty("ns", "a", "1");
        return s;
    }();
    android::Parcel request;
    if ((data[1] & 1) != 0) {
        request.writeInterfaceToken(service->getInterfaceDescriptor());
    }
    request.write(data + 2, size - 2);
    request.setDataPosition(0);
    android::Parcel reply;
    const uint32_t flags = (data[1] & 2) != 0 ? android::IBinder::FLAG_ONEWAY : 0;
    service->onTransact(data[0] % 5, request, &reply, flags);
    return 0;
}
