// telemetry-settings-dump: prints everything the telemetry settings manager answers in this
// process, as aligned text or as one JSON document.

#include "DumpOptions.h"
#include "HostEnvironment.h"
#include "LibraryLog.h"
#include "Reports.h"
#include "SettingsSnapshot.h"

#include <telemetry/historystore/HistoryStoreManager.h>
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

using namespace telemetrydump;

namespace {

constexpr char kToolName[] = "telemetry-settings-dump";

int fail(ExitCode code, const std::string& message) {
    std::fprintf(stderr, "%s: %s\n", kToolName, message.c_str());
    return code;
}

// Writes all of `text` to stdout; a full disk or closed pipe is an error, not a short report.
int writeStdout(const std::string& text) {
    errno = 0;
    const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    if (!written || std::fflush(stdout) != 0 || std::ferror(stdout)) {
        return fail(kExitRuntimeError, std::string("cannot write to stdout: ") +
                                               (errno != 0 ? std::strerror(errno) : "write error"));
    }
    return kExitOk;
}

}  // namespace

int main(int argc, char** argv) {
    DumpOptions options;
    std::string error;
    if (!parseOptions(argc, argv, &options, &error)) {
        std::fprintf(stderr, "%s: %s\ntry '%s --help'\n", kToolName, error.c_str(), argv[0]);
        return kExitUsage;
    }
    if (options.help) return writeStdout(usageText(argv[0]));
    routeLibraryLog(options.verbose);

    DeviceConfigLookup deviceConfig;
#ifndef __ANDROID__
    if (ExitCode code = prepareHostEnvironment(options, &deviceConfig, &error); code != kExitOk) {
        return fail(code, error);
    }
#endif

    auto manager = Tamar::OS::Telemetry::TelemetrySettingsManager::instance();
    auto histories = std::make_shared<Tamar::OS::Telemetry::HistoryStoreManager>();
    manager->setHistoryStoreManager(histories);
    const SettingsSnapshot snapshot = collectSnapshot(*manager, *histories, deviceConfig, options);

    // The store answers failures with defaults; a report made of those would look like state.
    if (auto storeError = firstKeyValueStoreError()) {
        return fail(kExitRuntimeError, "the key-value store in " + options.stateDir +
                                               " cannot be used: " + *storeError);
    }
    return writeStdout(options.json ? renderJson(snapshot) : renderText(snapshot, options.full));
}
