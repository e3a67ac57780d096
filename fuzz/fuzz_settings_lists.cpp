// Remote-configuration list and low-latency override parsers of the settings manager.
// Input: the configuration text, given to both.
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>

#include <cstdint>
#include <string>

using Tamar::OS::Telemetry::TelemetrySettingsManager;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // No settings service and no store: the parsers touch neither.
    static TelemetrySettingsManager manager(nullptr, nullptr);
    const std::string text(reinterpret_cast<const char*>(data), size);
    TelemetrySettingsManager::parseListFromString(text);
    manager.parseLowLatencyMapFromString(text);
    return 0;
}
