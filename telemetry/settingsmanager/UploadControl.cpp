#include <telemetry/settingsmanager/LoggingEndpoints.h>
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>

#include <android-base/properties.h>
#include <android/log.h>
#include <wrenlogger/WrenLoggerWrapper.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace Tamar {
namespace OS {
namespace Telemetry {

namespace {
constexpr char kLogTag[] = "telemetry";
constexpr char kOnDemandTokenProperty[] = "diagnostics.debug.ondemand_token";
// Gives the restarted logger time to come up before it is asked to upload.
constexpr std::chrono::nanoseconds kRestartSettleTime{1'000'000'000};
std::atomic<RestartSettleWait> gRestartSettleWait{nullptr};
}  // namespace

void setRestartSettleWaitForTesting(RestartSettleWait wait) {
    gRestartSettleWait.store(wait);
}

// Callers serialise uploads, so the token and the triggered flag need no lock.
void TelemetrySettingsManager::triggerUpload(void* context, UploadCallback callback) {
    telemetry::WrenLoggerWrapper& logger = telemetry::WrenLoggerWrapper::instance();
    const std::string token = android::base::GetProperty(kOnDemandTokenProperty, "");
    if (token != lastOnDemandToken) {
        logger.setLoggingEndpointURLString(token.empty() ? kProductionLoggingEndpoint
                                                         : kOnDemandLoggingEndpoint);
        logger.setSandboxAtodTokenString(token.c_str());
        if (uploadTriggered) {
            logger.restartWrenLogger();
            if (RestartSettleWait wait = gRestartSettleWait.load()) {
                wait(kRestartSettleTime);
            } else {
                std::this_thread::sleep_for(kRestartSettleTime);
            }
        }
        lastOnDemandToken = token;
    }
    logger.triggerUpload(context, callback);
    uploadTriggered = true;
}

bool TelemetrySettingsManager::enableUpload() {
    if (uploadStateLocked.load(std::memory_order_acquire)) {
        __android_log_print(ANDROID_LOG_DEBUG, kLogTag, "Upload state locked, not enabling upload");
        return false;
    }
    telemetry::WrenLoggerWrapper::instance().enableUpload();
    return true;
}

bool TelemetrySettingsManager::disableUpload() {
    if (uploadStateLocked.load(std::memory_order_acquire)) {
        __android_log_print(ANDROID_LOG_DEBUG, kLogTag, "Upload state locked, not disabling upload");
        return false;
    }
    telemetry::WrenLoggerWrapper::instance().disableUpload();
    return true;
}

bool TelemetrySettingsManager::isUploadEnabled() {
    return telemetry::WrenLoggerWrapper::instance().isUploadEnabled();
}

void TelemetrySettingsManager::lockUploadState() {
    uploadStateLocked.store(true, std::memory_order_release);
}

void TelemetrySettingsManager::unlockUploadState() {
    uploadStateLocked.store(false, std::memory_order_release);
}

std::string TelemetrySettingsManager::getNTSessionId() {
    // Fetched once: the logger's session of the first call stays the answer.
    static const std::string sessionId = [] {
        const telemetry::StringWrapper session =
                telemetry::WrenLoggerWrapper::instance().getSessionId();
        const char* text = session.data();
        return std::string(text != nullptr ? text : "");
    }();
    return sessionId;
}

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
