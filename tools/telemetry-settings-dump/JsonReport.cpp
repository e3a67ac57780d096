#include "Reports.h"

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
    if (s.earlier) {
        doc["account_state"]["earlier"] = accountJson(*s.earlier);
        doc["account_state"]["earlier"]["seconds_ago"] = *s.earlierSecondsAgo;
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
        remote.push_back({{"key", entry.key}, {"value", entry.value}, {"source", entry.source}});
    }
    doc["remote_configuration"] = remote;
    doc["verification"] = {{"enabled", s.verificationEnabled}, {"events", s.verificationEvents}};
    json overrides = json::object();
    for (const auto& [event, lowLatency] : s.lowLatencyOverrides) overrides[event] = lowLatency;
    doc["low_latency"] = {{"overrides", overrides}, {"allow_list", s.lowLatencyAllowList}};
    doc["upload"] = {{"enabled", s.uploadEnabled}, {"session_id", s.sessionId}};
    doc["histories"] = s.histories;
    // Settings and device-config values are whatever bytes their files held; invalid UTF-8
    // becomes U+FFFD instead of aborting the whole report.
    return doc.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

}  // namespace telemetrydump
