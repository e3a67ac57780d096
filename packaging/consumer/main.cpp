// Uses one piece of each subsystem through the installed headers and library.
#include <deviceconfig/Properties.h>
#include <sysprop/SharedOsServicesProperties.h>
#include <telemetry/historystore/HistoryStoreManager.h>
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>
#include <telemetry/settingsmanager/TelemetryVelaconfigs.h>

#include <chrono>
#include <cstdio>

using namespace Tamar::OS::Telemetry;

int main() {
    HistoryStoreManager histories;
    auto store = histories.createHistoryStore<int>("Consumer", 1);
    store->insert(std::chrono::steady_clock::time_point(std::chrono::seconds(1)), 7);
    if (store->find(std::chrono::steady_clock::time_point(std::chrono::seconds(2)), {}) != 7) {
        std::fprintf(stderr, "history lookup failed\n");
        return 1;
    }

    com::halcyon::deviceconfig::Properties props({});
    if (props.getString("missing", "fallback") != "fallback") return 1;

    auto gate = halcyon::sysprop::SharedOsServicesProperties::telemetry_enable_history_store();
    std::printf("history gate property %s\n", gate ? (*gate ? "on" : "off") : "unset");
    std::printf("statsd verification gate name: %s\n",
                TelemetryVelaconfigs::EnableStatsdVerification);
    std::printf("consumer ok\n");
    return 0;
}
