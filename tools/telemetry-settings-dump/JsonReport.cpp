#include "Reports.h"

#include "Utf8Text.h"

#include <nlohmann/json.hpp>

namespace telemetrydump {
namespace {

using nlohmann::json;

json optionalJson(const std::optional<std::string>& value) {
    return value ? json(*value) : json(nullptr);
}

json accountJson(const AccountState& state) {
    return {{"managed_mode", state.managedMode},
            {"local_account_mode", state.localAccountMode},
            {"account_checkpointed", state.accountCheckpointed},
            {"current_user", state.currentUser}};
}

const char* sourceName(RemoteSource source) {
    switch (source) {
        case RemoteSource::kDeviceConfigService:
            return "device-config service";
        case RemoteSource::kKeyValueStore:
            return "key-value store";
        case RemoteSource::kBuiltInDefault:
            break;
    }
    return "built-in default";
}

// A history value as a number when it is one (every account-state history holds numbers).
json historyValue(const std::string& text) {
    json number = json::parse(text, nullptr, false);
    return number.is_number() ? number : json(text);
}

// Strings that are not UTF-8 (settings and device-config values are whatever bytes their
// files held) become one code point per byte, and their pointers are listed, so that every
// original byte can be recovered.
void makeStringsUtf8(json& node, const std::string& pointer, json& latin1Pointers) {
    auto child = [&pointer](const std::string& name) {
        std::string path = pointer;
        path += '/';
        path += name;
        return path;
    };
    if (node.is_string()) {
        const std::string& text = node.get_ref<const std::string&>();
        if (!isValidUtf8(text)) {
            node = latin1ToUtf8(text);
            latin1Pointers.push_back(pointer);
        }
    } else if (node.is_array()) {
        for (size_t i = 0; i < node.size(); ++i) {
            makeStringsUtf8(node[i], child(std::to_string(i)), latin1Pointers);
        }
    } else if (node.is_object()) {
        // Object keys are all fixed names of this report.
        for (auto& [key, value] : node.items()) {
            makeStringsUtf8(value, child(key), latin1Pointers);
        }
    }
}

}  // namespace

std::string renderJson(const SettingsSnapshot& s) {
    json doc;
    doc["telemetry_enabled"] = s.telemetryEnabled;
    doc["telemetry_device_id"] = optionalJson(s.telemetryDeviceId);
    doc["kestrel_device_id"] = optionalJson(s.kestrelDeviceId);
    doc["nux_completed"] = s.nuxCompleted;
    doc["log_level"] = s.logLevel;
    doc["verbose"] = s.verbose;
    doc["user_dev_build"] = s.userDevBuild;
    doc["account_state"]["now"] = accountJson(s.now);
    if (s.earlierSecondsAgo) {
        doc["account_state"]["earlier"] = {
                {"seconds_ago", *s.earlierSecondsAgo},
                {"state", s.earlier ? accountJson(*s.earlier) : json(nullptr)}};
    }
    doc["preferences"] = {{"clock_adjusted", s.clockAdjusted},
                          {"adjusted_cache_time", s.adjustedCacheTime},
                          {"time_distance", s.timeDistance},
                          {"event_name_filter", s.eventNameFilter},
                          {"statsd_collection_frequency_sec", s.statsdCollectionFrequencySec},
                          {"history_cleanup_timeout_sec", s.historyCleanupTimeoutSec}};
    json gates = json::array();
    for (const auto& gate : s.gates) {
        gates.push_back({{"constant", gate.constant}, {"name", gate.name}, {"value", gate.value}});
    }
    doc["feature_gates"] = gates;
    json remote = json::array();
    for (const auto& entry : s.remoteStrings) {
        remote.push_back(
                {{"key", entry.key}, {"value", entry.value}, {"source", sourceName(entry.source)}});
    }
    doc["remote_configuration"] = remote;
    doc["verification"] = {{"enabled", s.verificationEnabled}, {"events", s.verificationEvents}};
    json overrides = json::array();
    for (const auto& [event, lowLatency] : s.lowLatencyOverrides) {
        overrides.push_back({{"event", event}, {"low_latency", lowLatency}});
    }
    doc["low_latency"] = {{"overrides", overrides}, {"allow_list", s.lowLatencyAllowList}};
    doc["upload"] = {{"enabled", s.uploadEnabled}, {"session_id", s.sessionId}};
    json histories = json::array();
    for (const auto& history : s.histories) {
        json entries = json::array();
        for (const auto& entry : history.entries) {
            entries.push_back({{"user", entry.user},
                               {"time_ns", entry.timeNs},
                               {"value", historyValue(entry.value)}});
        }
        histories.push_back({{"name", history.name}, {"entries", entries}});
    }
    doc["histories"] = histories;

    json latin1 = json::array();
    makeStringsUtf8(doc, "", latin1);
    doc["latin1_strings"] = latin1;
    return doc.dump(2) + "\n";
}

}  // namespace telemetrydump
