// Device-config seed parser of the host service. Input: the bytes of a seeding file.
#include <deviceconfig_host/HostDeviceConfigService.h>

#include <cstdint>
#include <sstream>
#include <string>

using com::halcyon::deviceconfig::host::HostDeviceConfigService;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    android::sp<HostDeviceConfigService> service = new HostDeviceConfigService();
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    service->loadFromStream(in, "fuzz");
    return 0;
}
