// telemetry-settings-dump: prints everything the telemetry settings manager answers in this
// process, as aligned text or as one JSON document, or watches the changes as they arrive.

#include "ChangeWatch.h"
#include "DumpOptions.h"
#include "HostEnvironment.h"
#include "LibraryLog.h"
#include "Reports.h"
#include "SettingsSnapshot.h"

#include <telemetry/historystore/HistoryStoreManager.h>
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
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
bool writeStdout(const std::string& text, std::string* error) {
    errno = 0;
    const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    if (!written || std::fflush(stdout) != 0 || std::ferror(stdout)) {
        *error = std::string("cannot write to stdout: ") +
                 (errno != 0 ? std::strerror(errno) : "write error");
        return false;
    }
    return true;
}

int report(const std::string& text) {
    std::string error;
    return writeStdout(text, &error) ? kExitOk : fail(kExitRuntimeError, error);
}

// The directory of the host device this process joined, or null.
const char* hostDeviceDir() {
    const char* dir = std::getenv("HALCYON_HOST_DEVICE");
    return dir != nullptr && *dir != '\0' ? dir : nullptr;
}

// What a watch follows: the host device this process joined, or this process alone.
std::string watchedDevice() {
    if (const char* dir = hostDeviceDir()) return std::string("the host device in ") + dir;
    return "this process (no host device: only the tool's own changes can appear)";
}

}  // namespace

int main(int argc, char** argv) {
    DumpOptions options;
    std::string error;
    if (!parseOptions(argc, argv, &options, &error)) {
        std::fprintf(stderr, "%s: %s\ntry '%s --help'\n", kToolName, error.c_str(), argv[0]);
        return kExitUsage;
    }
    if (options.help) return report(usageText(argv[0]));
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
    SettingsSnapshot snapshot;
    if (options.watch) {
        // The first reading operation synchronises the manager and registers its listeners.
        manager->isTelemetryEnabled();
    } else {
        snapshot = collectSnapshot(*manager, *histories, deviceConfig, options);
    }

    // The store answers failures with defaults; a report made of those would look like state.
    if (auto storeError = firstKeyValueStoreError()) {
        const std::string store = hostDeviceDir() != nullptr
                                          ? std::string("of the host device in ") + hostDeviceDir()
                                          : "in " + options.stateDir;
        return fail(kExitRuntimeError,
                    "the key-value store " + store + " cannot be used: " + *storeError);
    }
    if (options.watch) {
        const ExitCode code =
                watchChanges(*histories, watchedDevice(), options.full, writeStdout, &error);
        return code == kExitOk ? kExitOk : fail(code, error);
    }
    return report(options.json ? renderJson(snapshot) : renderText(snapshot, options.full));
}
