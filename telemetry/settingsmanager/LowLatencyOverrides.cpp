#include <telemetry/settingsmanager/ListItems.h>
#include <telemetry/settingsmanager/RemoteConfigKeys.h>
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>

#include <functional>

namespace Tamar {
namespace OS {
namespace Telemetry {

const char kDefaultTravelModeOverrides[] =
        "iot_lost_tracking,true;hybrid_tracking_periodic,true;halcyon_time_spent_event,true;"
        "vehicle_motion_detected,true;travel_mode_state_changed,true;"
        "headset_tracking_lost,true;controller_tracking_lost,true;"
        "hand_tracking_lost,true;slam_relocalization_failed,true;"
        "map_anchor_lost,true;boundary_recenter,true;guardian_boundary_paused,true;"
        "imu_only_tracking_entered,true;imu_only_tracking_exited,true;"
        "passthrough_toggled,true;display_reprojection_fallback,true;"
        "thermal_throttling_state,true;battery_critical_state,true";

namespace {

// The parse cache and the travel-mode snapshot are shared by every instance of the
// manager, while the lock named for them is a member. Each guards its shared state with a
// process-wide mutex that is taken last (after the remote data lock and the member parse
// cache lock), so two instances on different threads cannot race and the lock order holds.
struct SharedLowLatencyState {
    Mutex parseLock;
    std::optional<LowLatencyOverrideMap> lastParse GUARDED_BY(parseLock);
    size_t lastTextHash GUARDED_BY(parseLock) = 0;
    bool hashValid GUARDED_BY(parseLock) = false;
    size_t parseCount GUARDED_BY(parseLock) = 0;

    Mutex travelLock;
    std::optional<LowLatencyOverrideMap> travelSnapshot GUARDED_BY(travelLock);
};

SharedLowLatencyState& sharedState() {
    // Never destroyed: threads may still ask for overrides while the process exits.
    static SharedLowLatencyState* const state = new SharedLowLatencyState();
    return *state;
}

const std::string& qosOverrideKey() {
    static const std::string* const key = new std::string(kQosOverrideKey);
    return *key;
}

const std::string& travelModeOverrideKey() {
    static const std::string* const key = new std::string(kTravelModeOverrideKey);
    return *key;
}

const std::unordered_set<std::string> kLowLatencyAllowList = {"$session_transition",
                                                              "halcyon_time_spent_event"};

LowLatencyOverrideMap emptyOverrideMap() {
    LowLatencyOverrideMap map;
    map.max_load_factor(1.0f);
    return map;
}

LowLatencyOverrideMap parseOverrides(const std::string& text) {
    LowLatencyOverrideMap overrides = emptyOverrideMap();
    forEachListItem(text, [&overrides](const std::string& item) {
        const size_t comma = item.find(',');
        if (comma == std::string::npos) return;
        overrides[item.substr(0, comma)] = item.compare(comma + 1, std::string::npos, "true") == 0;
    });
    return overrides;
}

}  // namespace

size_t lowLatencyParseCount() {
    SharedLowLatencyState& state = sharedState();
    LockGuard<Mutex> shared(state.parseLock);
    return state.parseCount;
}

void resetLowLatencyStateForTesting() {
    SharedLowLatencyState& state = sharedState();
    {
        LockGuard<Mutex> shared(state.parseLock);
        state.lastParse.reset();
        state.hashValid = false;
    }
    LockGuard<Mutex> travel(state.travelLock);
    state.travelSnapshot.reset();
}

void TelemetrySettingsManager::buildLowLatencyMaps() {
    lowLatencyMaps.max_load_factor(1.0f);
    lowLatencyMaps.emplace(qosOverrideKey(), emptyOverrideMap());
    lowLatencyMaps.emplace(travelModeOverrideKey(), emptyOverrideMap());
}

LowLatencyOverrideMap TelemetrySettingsManager::parseLowLatencyMapFromString(const std::string& text) {
    LockGuard<Mutex> member(parseCacheLock);
    SharedLowLatencyState& state = sharedState();
    LockGuard<Mutex> shared(state.parseLock);

    // Only the hashes are compared: the texts are small, and a collision merely hands back
    // the previous parse.
    const size_t textHash = std::hash<std::string>{}(text);
    if (!state.hashValid || state.lastTextHash != textHash) {
        state.lastParse = parseOverrides(text);
        state.lastTextHash = textHash;
        state.hashValid = true;
        ++state.parseCount;
    }
    if (!state.lastParse) return emptyOverrideMap();
    return *state.lastParse;
}

void TelemetrySettingsManager::setLowLatencyOverrideSettings(const std::string& key,
                                                             const std::string& value) {
    LockGuard<Mutex> data(mcDataLock);
    lowLatencyMaps[key] = parseLowLatencyMapFromString(value);
}

LowLatencyOverrideMap TelemetrySettingsManager::getLowLatencyOverrideList() {
    // Only the QoS overrides follow remote changes; the travel-mode ones are frozen below.
    getLatestMcStrings(kQosOverrideKey);

    LockGuard<Mutex> data(mcDataLock);
    LowLatencyOverrideMap overrides = lowLatencyMaps[qosOverrideKey()];
    if (!travelModeEnabled.load(std::memory_order_acquire)) return overrides;

    const LowLatencyOverrideMap& travelEntry = lowLatencyMaps[travelModeOverrideKey()];
    SharedLowLatencyState& state = sharedState();
    LockGuard<Mutex> shared(state.travelLock);
    if (!state.travelSnapshot) state.travelSnapshot = travelEntry;
    // insert() keeps an existing name, so a QoS override wins over the travel-mode one.
    overrides.insert(state.travelSnapshot->begin(), state.travelSnapshot->end());
    return overrides;
}

std::unordered_set<std::string> TelemetrySettingsManager::getLowLatencyAllowList() {
    return kLowLatencyAllowList;
}

void TelemetrySettingsManager::setTravelModeEnabled(bool enabled) {
    travelModeEnabled.store(enabled, std::memory_order_release);
}

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
