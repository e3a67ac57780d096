#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace telemetrydump {

// Exit codes of telemetry-settings-dump.
enum ExitCode : int {
    kExitOk = 0,
    kExitRuntimeError = 1,  // set-up failed (library, host service, key-value store) or stdout
    kExitUsage = 2,         // unknown flag, bad flag value, or a flag the run cannot use
    kExitBadInput = 3,      // a settings, property or device-config file is missing or malformed
};

struct DumpOptions {
    std::string settingsFile;                // host: seeds the host settings module
    std::string propertiesFile;              // host: system properties
    std::string deviceConfigFile;            // host: seeds the in-process device-config service
    std::string stateDir;                    // host: where the key-value store lives
    std::optional<std::chrono::seconds> at;  // also answer for this long before now
    bool full = false;                       // print remote configuration strings whole
    bool json = false;                       // one JSON document instead of aligned text
    bool verbose = false;                    // let the library's own log lines through
    bool watch = false;                      // print changes as they arrive until a signal
    std::string privateDeviceFlag;           // the first of the four host flags above given
    bool help = false;
};

// Parses the command line; file flags not given stay empty. Returns false with a one-line
// message on a bad command line.
bool parseOptions(int argc, char** argv, DumpOptions* options, std::string* error);

// $XDG_STATE_HOME/telemetry-settings-dump when XDG_STATE_HOME is absolute, else
// $HOME/.local/state/telemetry-settings-dump, else /tmp/telemetry-settings-dump.
std::string defaultStateDir();

std::string usageText(const char* program);

}  // namespace telemetrydump
