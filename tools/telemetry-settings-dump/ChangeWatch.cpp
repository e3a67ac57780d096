#include "ChangeWatch.h"

#include "ChangeQueue.h"
#include "ChangeSources.h"
#include "HistoryDump.h"
#include "Reports.h"
#include "Utf8Text.h"

#include <deviceconfig/DeviceConfig.h>
#include <telemetry/settingsmanager/RemoteConfigKeys.h>
#include <telemetry/settingsmanager/SettingsKeys.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <ctime>
#include <map>

namespace telemetrydump {
namespace {

using Tamar::OS::Telemetry::HistoryStoreManager;
using Tamar::OS::Telemetry::kDeviceConfigNamespace;

constexpr int64_t kNanosPerHour = 3'600'000'000'000;

int64_t steadyNanos() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
}

// Local wall-clock time of day with milliseconds.
std::string clockText(std::chrono::system_clock::time_point t) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(t);
    std::tm local{};
    localtime_r(&seconds, &local);
    const auto millis =
            std::chrono::duration_cast<std::chrono::milliseconds>(t.time_since_epoch()).count() %
            1000;
    char text[32];
    std::snprintf(text, sizeof(text), "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min,
                  local.tm_sec, static_cast<int>(millis));
    return text;
}

// A history time as the histories print it: hh:mm:ss.mmm.nnnnnnnnn on the steady clock.
std::string steadyText(int64_t nanos) {
    char text[48];
    std::snprintf(text, sizeof(text),
                  "%02" PRId64 ":%02" PRId64 ":%02" PRId64 ".%03" PRId64 ".%09" PRId64,
                  nanos / kNanosPerHour, nanos / 60'000'000'000 % 60, nanos / 1'000'000'000 % 60,
                  nanos / 1'000'000 % 1000, nanos % 1'000'000);
    return text;
}

std::string valueText(const std::optional<std::string>& value, bool full) {
    if (!value) return "(unset)";
    return value->empty() ? "\"\"" : shortenedText(*value, full);
}

// The history that a setting's change makes the settings manager add to; null for others.
const char* historyOf(const std::string& key) {
    namespace keys = Tamar::OS::Telemetry;
    if (key == keys::kKeyManagedDevice) return HistoryStoreManager::MANAGED_MODE;
    if (key == keys::kKeyLocalAccountModeEnabled) return HistoryStoreManager::LOCAL_ACCOUNT_MODE;
    if (key == keys::kKeyAccountCheckpointed) return HistoryStoreManager::ACCOUNT_CHECKPOINTED;
    if (key == keys::kKeyCurrentUser) return HistoryStoreManager::CURRENT_USER;
    return nullptr;
}

// Per history, the entries recorded since the previous look at it.
class HistoryFollower {
public:
    explicit HistoryFollower(const HistoryStoreManager& histories) : histories_(histories) {
        for (History& history : read()) seen_[history.name] = std::move(history.entries);
    }

    std::vector<HistoryEntry> newEntries(const std::string& name) {
        std::vector<HistoryEntry> out;
        for (History& history : read()) {
            if (history.name != name) continue;
            const std::vector<HistoryEntry>& before = seen_[name];
            for (const HistoryEntry& entry : history.entries) {
                const bool known = std::any_of(before.begin(), before.end(), [&](const auto& e) {
                    return e.user == entry.user && e.timeNs == entry.timeNs;
                });
                if (!known) out.push_back(entry);
            }
            seen_[name] = std::move(history.entries);
        }
        return out;
    }

private:
    std::vector<History> read() const {
        return parseHistoryDump(histories_.dump(), steadyNanos() / kNanosPerHour + 1);
    }

    const HistoryStoreManager& histories_;
    std::map<std::string, std::vector<HistoryEntry>> seen_;
};

// What the watch knows of the settings and device-config values, to show each change's old
// value; property changes come with theirs.
class ChangePrinter {
public:
    ChangePrinter(SettingsSource& settings, com::halcyon::deviceconfig::DeviceConfig& deviceConfig,
                  const HistoryStoreManager& histories, bool full)
        : histories_(histories), full_(full) {
        for (const char* key : SettingsSource::kKeys) settings_[key] = settings.value(key);
        const auto all = deviceConfig.getProperties(kDeviceConfigNamespace, {});
        for (const std::string& key : all.getKeys()) deviceConfig_[key] = all.getString(key, "");
    }

    // The lines for one change, with its old value filled in; empty when the value is the
    // one already known.
    std::string describe(Change& change) {
        const char* source = "property";
        if (change.source == Change::Source::kSetting) {
            source = "setting";
            change.previous = std::exchange(settings_[change.key], change.value);
        } else if (change.source == Change::Source::kDeviceConfig) {
            source = "device_config";
            change.previous = std::exchange(deviceConfig_[change.key], change.value);
            change.key = std::string(kDeviceConfigNamespace) + "/" + change.key;
        }
        const char* history = historyOf(change.key);
        // A settings object announces every watched key again when it reconnects to a
        // restarted device; the manager then records its state anew, which is no change.
        if (change.previous == change.value) {
            if (change.source == Change::Source::kSetting && history != nullptr) {
                histories_.newEntries(history);
            }
            return {};
        }
        const std::string time = clockText(change.arrived);
        std::string text = time + " " + source + " " + escapeForTerminal(change.key) + ": " +
                           valueText(change.previous, full_) + " -> " +
                           valueText(change.value, full_) + "\n";
        if (change.source != Change::Source::kSetting || history == nullptr) return text;
        for (const HistoryEntry& entry : histories_.newEntries(history)) {
            text += time + "   history entry " + history + ": user " + std::to_string(entry.user) +
                    ", time " + steadyText(entry.timeNs) + ", value " +
                    shortenedText(entry.value, full_) + "\n";
        }
        return text;
    }

private:
    HistoryFollower histories_;
    const bool full_;
    std::map<std::string, std::optional<std::string>> settings_;
    std::map<std::string, std::optional<std::string>> deviceConfig_;
};

}  // namespace

ExitCode watchChanges(const HistoryStoreManager& histories, const std::string& where, bool full,
                      ReportWriter write, std::string* error) {
    ChangeQueue* queue = ChangeQueue::open(error);
    if (queue == nullptr) return kExitRuntimeError;
    SettingsSource settings(*queue);
    if (!settings.start()) {
        *error = "the settings module hands out no settings object to listen with";
        return kExitRuntimeError;
    }
    com::halcyon::deviceconfig::DeviceConfig deviceConfig;
    // A registered listener and its binder-side object keep each other alive for the rest of
    // the process; held from here they stay reachable rather than leaked.
    static const auto& deviceConfigSource =
            *new std::shared_ptr<DeviceConfigSource>(std::make_shared<DeviceConfigSource>(*queue));
    deviceConfig.addOnPropertiesChangeListener(kDeviceConfigNamespace, deviceConfigSource);
    PropertyFollower properties(*queue);
    properties.start();
    // Known values are read after registering: a change in between is shown, not lost.
    ChangePrinter printer(settings, deviceConfig, histories, full);

    bool ok = write("watching " + where + ": settings, device-config namespace " +
                            kDeviceConfigNamespace +
                            ", system properties; stop with Ctrl-C or SIGTERM\n",
                    error);
    for (bool stop = false; ok && !stop;) {
        for (Change& change : queue->take(&stop)) {
            const std::string text = printer.describe(change);
            if (ok && !text.empty()) ok = write(text, error);
        }
    }
    properties.stop();
    deviceConfig.removeOnPropertiesChangeListener(deviceConfigSource);
    settings.stop();
    if (ok) ok = write("Account-state histories\n" + histories.dump(), error);
    return ok ? kExitOk : kExitRuntimeError;
}

}  // namespace telemetrydump
