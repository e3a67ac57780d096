// telemetry-settings-dump: prints everything the telemetry settings manager answers in this
// process, as aligned text or as one JSON document.

#include "DumpOptions.h"
#include "HostEnvironment.h"
#include "Reports.h"
#include "SettingsSnapshot.h"

#include <android/log.h>
#include <telemetry/historystore/HistoryStoreManager.h>
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>

#include <cstdio>
#include <memory>
#include <string>

using namespace telemetrydump;

int main(int argc, char** argv) {
    DumpOptions options;
    std::string error;
    if (!parseOptions(argc, argv, &options, &error)) {
        std::fprintf(stderr, "telemetry-settings-dump: %s\n%s", error.c_str(),
                     usageText(argv[0]).c_str());
        return kExitUsage;
    }
    if (options.help) {
        std::fputs(usageText(argv[0]).c_str(), stdout);
        return kExitOk;
    }
    if (!options.verbose) {
        // The library reports missing services at error priority; the dump shows the result.
        __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
    }

#ifndef __ANDROID__
    if (ExitCode code = prepareHostEnvironment(options, &error); code != kExitOk) {
        std::fprintf(stderr, "telemetry-settings-dump: %s\n", error.c_str());
        return code;
    }
#endif

    auto manager = Tamar::OS::Telemetry::TelemetrySettingsManager::instance();
    auto histories = std::make_shared<Tamar::OS::Telemetry::HistoryStoreManager>();
    manager->setHistoryStoreManager(histories);

    SettingsSnapshot snapshot = collectSnapshot(*manager, *histories, options);
    const std::string report =
            options.json ? renderJson(snapshot) : renderText(snapshot, options.full);
    std::fputs(report.c_str(), stdout);
    return kExitOk;
}
