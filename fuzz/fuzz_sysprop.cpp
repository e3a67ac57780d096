// System-property accessors on hostile values. Input: the value every accessor kind reads.
#include <hostproperties/PropertyStore.h>
#include <sysprop/SharedOsServicesProperties.h>

#include <cstdint>
#include <string>

namespace props = halcyon::sysprop::SharedOsServicesProperties;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string value(reinterpret_cast<const char*>(data), size);
    const std::string prefix = "persist.device_config.halcyon_shared_os_services.";
    hostproperties::setProperty(prefix + "halcyon_enable_flashswap", value);
    hostproperties::setProperty(prefix + "bracken_reserve_mb", value);
    hostproperties::setProperty(prefix + "halcyon_telemetry_choice", value);
    props::enable_flashswap();
    props::bracken_reserve_mb();
    props::halcyon_telemetry_choice();
    return 0;
}
