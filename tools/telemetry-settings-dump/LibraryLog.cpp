#include "LibraryLog.h"

#include <android/log.h>

#include <cstring>
#include <mutex>

namespace telemetrydump {
namespace {

// The tag of the host key-value store's own log lines.
constexpr char kKeyValueStoreTag[] = "KeyValueStore";

std::mutex storeErrorMutex;
std::optional<std::string> storeError;  // guarded by storeErrorMutex
bool forwardToStderr = false;           // set before the logger is installed, then only read

void logLine(const struct __android_logger_data* data, const char* message) {
    if (data->priority >= ANDROID_LOG_ERROR && data->tag != nullptr &&
        std::strcmp(data->tag, kKeyValueStoreTag) == 0) {
        std::lock_guard<std::mutex> lock(storeErrorMutex);
        if (!storeError) storeError = message != nullptr ? message : "";
    }
    if (forwardToStderr) __android_log_stderr_logger(data, message);
}

}  // namespace

void routeLibraryLog(bool verbose) {
    forwardToStderr = verbose;
    __android_log_set_minimum_priority(verbose ? ANDROID_LOG_DEBUG : ANDROID_LOG_ERROR);
    __android_log_set_logger(&logLine);
}

std::optional<std::string> firstKeyValueStoreError() {
    std::lock_guard<std::mutex> lock(storeErrorMutex);
    return storeError;
}

}  // namespace telemetrydump
