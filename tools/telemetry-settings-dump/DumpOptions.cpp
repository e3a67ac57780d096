#include "DumpOptions.h"

#include "InputFile.h"

#include <cstdlib>
#include <string_view>

namespace telemetrydump {
namespace {

// How far back an answer can be asked for: the steady clock counts nanoseconds in 64 bits,
// and anything further back would overflow the conversion.
long long maxSecondsBack() {
    using std::chrono::steady_clock;
    return std::chrono::duration_cast<std::chrono::seconds>(steady_clock::duration::max()).count();
}

// Digits only: no sign, no blanks, no suffix.
bool parseSeconds(std::string_view text, std::chrono::seconds* out) {
    if (text.empty() || text.size() > 19) return false;
    long long value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
        value = value * 10 + (c - '0');
    }
    if (value > maxSecondsBack()) return false;
    *out = std::chrono::seconds(value);
    return true;
}

}  // namespace

std::string defaultStateDir() {
    // A relative XDG_STATE_HOME is invalid and ignored.
    if (const char* state = std::getenv("XDG_STATE_HOME"); state != nullptr && state[0] == '/') {
        return std::string(state) + "/telemetry-settings-dump";
    }
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
        return std::string(home) + "/.local/state/telemetry-settings-dump";
    }
    return "/tmp/telemetry-settings-dump";
}

std::string usageText(const char* program) {
    std::string text = "usage: ";
    text += program;
    text += R"( [options]

Prints everything the telemetry settings manager answers in this process: on a host device
(HALCYON_HOST_DEVICE names its directory) the device's state, otherwise a private device
seeded from files.

Options (a value may also be given as --option=value):
  --json                 print one JSON document instead of aligned text
  --full                 print remote configuration strings whole (default: shortened)
  --at SECONDS           also answer the account state SECONDS (digits only) before now;
                         when no history reaches back that far the report says so (JSON null)
  --verbose              show the library's own log lines (debug and above) on stderr
  --watch                keep running and print each change of settings, device-config
                         namespace halcyon_shared_os_services and system properties as it
                         arrives (time, source, key, old -> new, the history entry recorded);
                         on SIGINT or SIGTERM print the account-state histories and exit 0.
                         Without a host device only this process's own changes could appear.
                         Not with --json or --at
  --help                 print this text and exit

Private host device only (on a device the real services are used; with a host device these
flags are a usage error, since the device's own state is read and its key-value store used):
  --settings FILE        seed the host settings module from FILE (key=value lines)
  --properties FILE      load system properties from FILE (key=value lines, or
                         [key]: [value] lines as getprop prints them)
  --device-config FILE   seed the in-process device-config service (namespace/key=value)
  --state-dir DIR        keep the key-value store in DIR (default:
                         $XDG_STATE_HOME/telemetry-settings-dump if XDG_STATE_HOME is an
                         absolute path, else ~/.local/state/telemetry-settings-dump)

Without file flags the example files installed with the tool are used.
)";
    text += kInputRulesText;
    text += R"(
Account-state histories list one entry per change: row, user and time (printed without a
separator between them), value. The time is when the entry was recorded, on the steady clock
since boot, as hh:mm:ss.mmm.nnnnnnnnn: hours (two or more digits), minutes, seconds,
milliseconds, then the nanoseconds within that millisecond. In JSON each entry is
{"user", "time_ns", "value"} with time_ns in nanoseconds since boot.

Text report: bytes that are not printable UTF-8 are shown as \xHH, a backslash as \\.
JSON: a string that is not valid UTF-8 holds one character U+00XX per byte (decode it as
Latin-1 to get the bytes back) and its JSON pointer is listed in "latin1_strings".

Exit codes:
  0  success (--watch: stopped by SIGINT or SIGTERM)
  1  set-up failed (library, host service, key-value store, no host device answering) or
     stdout could not be written
  2  bad command line, or a private-device flag while HALCYON_HOST_DEVICE is set
  3  an input file is missing or malformed (the message names the file and line)
)";
    return text;
}

bool parseOptions(int argc, char** argv, DumpOptions* options, std::string* error) {
    struct ValueFlag {
        const char* name;
        std::string* into;
    };
    std::string atText;
    const ValueFlag valueFlags[] = {
            {"--settings", &options->settingsFile},
            {"--properties", &options->propertiesFile},
            {"--device-config", &options->deviceConfigFile},
            {"--state-dir", &options->stateDir},
            {"--at", &atText},
    };
    struct SwitchFlag {
        const char* name;
        bool* into;
    };
    const SwitchFlag switches[] = {
            {"--json", &options->json},       {"--full", &options->full},
            {"--verbose", &options->verbose}, {"--watch", &options->watch},
            {"--help", &options->help},       {"-h", &options->help},
    };

    bool atGiven = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        const size_t equals = arg.starts_with("--") ? arg.find('=') : std::string_view::npos;
        const std::string_view name = arg.substr(0, equals);
        bool known = false;
        for (const auto& flag : switches) {
            if (name != flag.name) continue;
            if (equals != std::string_view::npos) {
                *error = std::string(name) + " takes no value";
                return false;
            }
            *flag.into = known = true;
        }
        for (const auto& flag : valueFlags) {
            if (name != flag.name) continue;
            known = true;
            if (equals != std::string_view::npos) {
                *flag.into = arg.substr(equals + 1);
            } else if (i + 1 < argc) {
                *flag.into = argv[++i];
            } else {
                *error = std::string(name) + " needs a value";
                return false;
            }
            if (flag.into->empty()) {
                *error = std::string(name) + " needs a non-empty value";
                return false;
            }
            atGiven = atGiven || flag.into == &atText;
            if (flag.into != &atText && options->privateDeviceFlag.empty()) {
                options->privateDeviceFlag = name;
            }
        }
        if (!known) {
            *error = "unknown option '" + std::string(arg) + "'";
            return false;
        }
    }
    if (atGiven) {
        std::chrono::seconds seconds{};
        if (!parseSeconds(atText, &seconds)) {
            *error = "--at needs a whole number of seconds, digits only (0 to " +
                     std::to_string(maxSecondsBack()) + "), got '" + atText + "'";
            return false;
        }
        options->at = seconds;
    }
    if (options->watch && (options->json || atGiven)) {
        *error = "--watch prints text as changes arrive; it takes neither --json nor --at";
        return false;
    }
    if (options->stateDir.empty()) options->stateDir = defaultStateDir();
    return true;
}

}  // namespace telemetrydump
