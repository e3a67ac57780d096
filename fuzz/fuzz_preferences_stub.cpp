// The host device's settings service stub on hostile requests. Input: byte 0 picks the code
// (0-6); byte 1 bit 0 prepends a valid interface token, bit 1 marks the call one-way; the rest
// is the request data. The service keeps its settings in an in-memory database.
#include <hostdevice/PreferencesService.h>

#include "FuzzedRequest.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const android::sp<hostdevice::PreferencesService> service =
            hostdevice::PreferencesService::open(":memory:");
    if (service == nullptr) __builtin_trap();
    transactFuzzedRequest(*service, data, size, 7);
    return 0;
}
