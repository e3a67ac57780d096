// The host device's settings service stub on hostile requests. Input: byte 0 picks the code
// (0-6); byte 1 bit 0 prepends a valid interface token, bit 1 marks the call one-way; the rest
// is the request data. The service keeps its settings in an in-memory database.
#include <binder/IBinder.h>
#include <binder/Parcel.h>
#include <hostdevice/PreferencesService.h>

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    static const android::sp<hostdevice::PreferencesService> service =
            hostdevice::PreferencesService::open(":memory:");
    if (service == nullptr) __builtin_trap();
    android::Parcel request;
    if ((data[1] & 1) != 0) request.writeInterfaceToken(service->getInterfaceDescriptor());
    request.write(data + 2, size - 2);
    request.setDataPosition(0);
    android::Parcel reply;
    const uint32_t flags = (data[1] & 2) != 0 ? android::IBinder::FLAG_ONEWAY : 0;
    service->onTransact(data[0] % 7, request, &reply, flags);
    return 0;
}
