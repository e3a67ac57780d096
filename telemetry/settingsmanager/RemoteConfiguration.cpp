#include <telemetry/settingsmanager/ListItems.h>
#include <telemetry/settingsmanager/LockContention.h>
#include <telemetry/settingsmanager/RemoteConfigKeys.h>
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>
#include <telemetry/settingsmanager/TelemetryVelaconfigs.h>

#include <android/log.h>
#include <deviceconfig/DeviceConfig.h>

#include <cstdlib>

namespace Tamar {
namespace OS {
namespace Telemetry {

namespace {
constexpr char kLogTag[] = "telemetry";
}  // namespace

const char kDefaultAllowedSdkEventsList[] =
        "physical_keyboard_heartbeat;virtual_keyboard_opened;controller_input_press_periodic;"
        "virtual_keyboard_closed;virtual_keyboard_layout_changed;physical_keyboard_connected;"
        "physical_keyboard_disconnected;controller_connected;controller_disconnected;"
        "controller_battery_low;controller_firmware_update;hand_tracking_session;"
        "hand_tracking_gesture_detected;eye_tracking_calibration;eye_tracking_session;"
        "face_tracking_session;body_tracking_session;passthrough_session;"
        "passthrough_camera_access;spatial_anchor_created;spatial_anchor_shared;"
        "scene_model_loaded;scene_capture_completed;boundary_setup_completed;"
        "boundary_breach;guardian_recenter;app_launch_latency;app_frame_timing_periodic;"
        "app_memory_warning;app_thermal_throttle;audio_spatializer_session;"
        "audio_capture_session;haptics_playback;voice_command_recognized;"
        "voice_dictation_session;media_player_session;media_cast_session;"
        "avatar_loaded;avatar_edit_session;social_presence_update;party_call_session;"
        "store_purchase_flow;store_entitlement_check;platform_sdk_init;"
        "platform_sdk_user_login;platform_sdk_achievement_unlocked;"
        "platform_sdk_leaderboard_write;multiplayer_session_joined;"
        "multiplayer_session_left;cloud_backup_sync;mixed_reality_capture_started;"
        "mixed_reality_capture_stopped";

const std::array<RemoteStringKey, 5> kRemoteStringKeys = {{
        {TelemetryVelaconfigs::TelemetryAllowedSDKEventsList, kDefaultAllowedSdkEventsList},
        {TelemetryVelaconfigs::StatsdEventVerificationList, ""},
        {TelemetryVelaconfigs::RateLimiterConfig, ""},
        {kQosOverrideKey, ""},
        {kTravelModeOverrideKey, kDefaultTravelModeOverrides},
}};

// The caller holds the remote configuration lock, which also makes the unlocked comparison
// with the cached string safe.
void TelemetrySettingsManager::updateMcStrings(const char* key, const std::string& defaultValue) {
    if (key == nullptr) return;
    std::string value;
    {
        com::halcyon::deviceconfig::DeviceConfig deviceConfig;
        value = deviceConfig.getProperties(kDeviceConfigNamespace, {key})
                        .getString(key, defaultValue);
    }

    const auto cached = mcStringCache.find(key);
    if (cached != mcStringCache.end() ? cached->second == value : value.empty()) {
        if (cached == mcStringCache.end()) {
            LockGuard<Mutex> data(mcDataLock);
            mcStringCache.try_emplace(key);
        }
        return;
    }

    if (!kvStore->setValue(key, value)) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "Failed to cache %s value to kvstore", key);
    }

    LockGuard<Mutex> data(mcDataLock);
    std::string& stored = mcStringCache[key];
    const auto overrides = lowLatencyMaps.find(key);
    if (overrides != lowLatencyMaps.end() && value != stored) {
        overrides->second = parseLowLatencyMapFromString(value);
    }
    stored = std::move(value);
}

void TelemetrySettingsManager::getLatestMcStrings(const char* key) {
    if (!initialized.load()) {
        initializeGKs();
        return;
    }
    if (key == nullptr || !isServiceRunning(kDeviceConfigServiceName)) return;

    if (!lockWithinContentionLimit(mcStringsLock)) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                            "Max contention period limit (60 sec.) is reached. Update MC strings "
                            "is failed.");
        std::abort();
    }
    LockGuard<OwnerCheckedTimedMutex> hold(mcStringsLock, std::adopt_lock);
    // An absent remote value keeps the cached one.
    const auto cached = mcStringCache.find(key);
    const std::string current = cached != mcStringCache.end() ? cached->second : std::string();
    updateMcStrings(key, current);
}

namespace {

// Copies the cached string of `key`; the caller holds the remote configuration lock.
std::string cachedString(const std::unordered_map<std::string, std::string>& cache,
                         const char* key) {
    const auto found = cache.find(key);
    return found != cache.end() ? found->second : std::string();
}

}  // namespace

std::string TelemetrySettingsManager::getTelemetryAllowedSDKEventsList() {
    getLatestMcStrings(TelemetryVelaconfigs::TelemetryAllowedSDKEventsList);
    LockGuard<OwnerCheckedTimedMutex> remote(mcStringsLock);
    return cachedString(mcStringCache, TelemetryVelaconfigs::TelemetryAllowedSDKEventsList);
}

std::string TelemetrySettingsManager::getRateLimiterConfig() {
    getLatestMcStrings(TelemetryVelaconfigs::RateLimiterConfig);
    LockGuard<OwnerCheckedTimedMutex> remote(mcStringsLock);
    return cachedString(mcStringCache, TelemetryVelaconfigs::RateLimiterConfig);
}

std::unordered_set<std::string> TelemetrySettingsManager::getStatsdVerificationEventsList() {
    getLatestMcStrings(TelemetryVelaconfigs::StatsdEventVerificationList);
    std::string list;
    {
        LockGuard<OwnerCheckedTimedMutex> remote(mcStringsLock);
        list = cachedString(mcStringCache, TelemetryVelaconfigs::StatsdEventVerificationList);
    }
    std::unordered_set<std::string> events = parseListFromString(list);
    // This operation has always released the lock a second time. The lock ignores a release
    // by a thread that does not hold it, so this call leaves another reader's hold intact.
    mcStringsLock.unlock();
    return events;
}

std::pair<bool, std::unordered_set<std::string>> TelemetrySettingsManager::getVerificationStatus() {
    if (!getGKFlag(TelemetryVelaconfigs::EnableStatsdVerification)) return {false, {}};
    return {true, getStatsdVerificationEventsList()};
}

bool TelemetrySettingsManager::isEventInVerification(const std::string& eventName) {
    if (!getGKFlag(TelemetryVelaconfigs::EnableStatsdVerification)) return false;
    return getStatsdVerificationEventsList().contains(eventName);
}

std::unordered_set<std::string> TelemetrySettingsManager::parseListFromString(
        const std::string& text) {
    std::unordered_set<std::string> items;
    items.max_load_factor(1.0f);
    forEachListItem(text, [&items](const std::string& item) { items.insert(item); });
    return items;
}

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
