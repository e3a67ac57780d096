#include "DumpOptions.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#ifndef TELEMETRY_DUMP_DEFAULTS_DIR
#define TELEMETRY_DUMP_DEFAULTS_DIR "."
#endif

namespace telemetrydump {
namespace {

std::string defaultStateDir() {
    if (const char* state = std::getenv("XDG_STATE_HOME"); state != nullptr && *state != '\0') {
        return std::string(state) + "/telemetry-settings-dump";
    }
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
        return std::string(home) + "/.local/state/telemetry-settings-dump";
    }
    return "/tmp/telemetry-settings-dump";
}

// How far back an answer can be asked for: the steady clock counts nanoseconds in 64 bits,
// and anything further back would overflow the conversion.
long long maxSecondsBack() {
    using std::chrono::steady_clock;
    return std::chrono::duration_cast<std::chrono::seconds>(steady_clock::duration::max()).count();
}

bool parseSeconds(const char* text, std::chrono::seconds* out) {
    if (text == nullptr || *text == '\0') return false;
    char* end = nullptr;
    errno = 0;
    long long value = std::strtoll(text, &end, 10);
    if (errno != 0 || *end != '\0' || value < 0) return false;
    if (value > maxSecondsBack()) return false;
    *out = std::chrono::seconds(value);
    return true;
}

}  // namespace

std::string usageText(const char* program) {
    std::string text = "usage: ";
    text += program;
    text += R"( [options]

Prints everything the telemetry settings manager answers in this process.

Options:
  --json                 print one JSON document instead of aligned text
  --full                 print remote configuration strings whole (default: shortened)
  --at SECONDS           also answer the time-indexed account state for SECONDS before now
  --verbose              let the library's own log lines through to stderr
  --help                 print this text and exit

Host runs only (on a device the real services are used):
  --settings FILE        seed the host settings module from FILE (key=value lines)
  --properties FILE      load system properties from FILE (key=value lines)
  --device-config FILE   seed the in-process device-config service (namespace/key=value)
  --state-dir DIR        keep the key-value store in DIR
                         (default: $XDG_STATE_HOME or ~/.local/state, /telemetry-settings-dump)

Without file flags the shipped example files are used.

Exit codes:
  0  success
  1  the library or a host service could not be set up
  2  bad command line
  3  an input file is missing or malformed (the message names the file and line)
)";
    return text;
}

bool parseOptions(int argc, char** argv, DumpOptions* options, std::string* error) {
    const std::string defaults = TELEMETRY_DUMP_DEFAULTS_DIR;
    options->settingsFile = defaults + "/settings.conf";
    options->propertiesFile = defaults + "/properties.conf";
    options->deviceConfigFile = defaults + "/deviceconfig.conf";
    options->stateDir = defaultStateDir();

    for (int i = 1; i < argc; ++i) {
        const char* arg = argv[i];
        auto takeValue = [&](std::string* into) {
            if (i + 1 >= argc) {
                *error = std::string(arg) + " needs a value";
                return false;
            }
            *into = argv[++i];
            if (into->empty()) {
                *error = std::string(arg) + " needs a non-empty value";
                return false;
            }
            return true;
        };
        if (std::strcmp(arg, "--json") == 0) {
            options->json = true;
        } else if (std::strcmp(arg, "--full") == 0) {
            options->full = true;
        } else if (std::strcmp(arg, "--verbose") == 0) {
            options->verbose = true;
        } else if (std::strcmp(arg, "--help") == 0 || std::strcmp(arg, "-h") == 0) {
            options->help = true;
        } else if (std::strcmp(arg, "--settings") == 0) {
            if (!takeValue(&options->settingsFile)) return false;
        } else if (std::strcmp(arg, "--properties") == 0) {
            if (!takeValue(&options->propertiesFile)) return false;
        } else if (std::strcmp(arg, "--device-config") == 0) {
            if (!takeValue(&options->deviceConfigFile)) return false;
        } else if (std::strcmp(arg, "--state-dir") == 0) {
            if (!takeValue(&options->stateDir)) return false;
        } else if (std::strcmp(arg, "--at") == 0) {
            std::string value;
            if (!takeValue(&value)) return false;
            std::chrono::seconds seconds{};
            if (!parseSeconds(value.c_str(), &seconds)) {
                *error = "--at needs a whole number of seconds (0 to " +
                         std::to_string(maxSecondsBack()) + "), got '" + value + "'";
                return false;
            }
            options->at = seconds;
        } else {
            *error = std::string("unknown option '") + arg + "'";
            return false;
        }
    }
    return true;
}

}  // namespace telemetrydump
