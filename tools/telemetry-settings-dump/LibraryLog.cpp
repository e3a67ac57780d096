#include "LibraryLog.h"

#include <android/log.h>

#include <cstring>
#include <mutex>

namespace telemetrydump {
namespace {

// The tag of the host key-value store's own log lines.
constexpr char kKeyValueStoreTag[] = "KeyValueStore";

struct StoreErrors {
    std::mutex mutex;
    std::optional<std::string> first;  // guarded by mutex
};

// Never destroyed: library threads may still log while the process exits.
StoreErrors& storeErrors() {
    static auto* errors = new StoreErrors();
    return *errors;
}

bool forwardToStderr = false;  // set before the logger is installed and threads start

void logLine(const struct __android_logger_data* data, const char* message) {
    if (data->priority >= ANDROID_LOG_ERROR && data->tag != nullptr &&
        std::strcmp(data->tag, kKeyValueStoreTag) == 0) {
        StoreErrors& errors = storeErrors();
        std::lock_guard<std::mutex> lock(errors.mutex);
        if (!errors.first) errors.first = message != nullptr ? message : "";
    }
    if (forwardToStderr) __android_log_stderr_logger(data, message);
}

}  // namespace

void routeLibraryLog(bool verbose) {
    forwardToStderr = verbose;
    storeErrors();
    __android_log_set_minimum_priority(verbose ? ANDROID_LOG_DEBUG : ANDROID_LOG_ERROR);
    __android_log_set_logger(&logLine);
}

std::optional<std::string> firstKeyValueStoreError() {
    StoreErrors& errors = storeErrors();
    std::lock_guard<std::mutex> lock(errors.mutex);
    return errors.first;
}

}  // namespace telemetrydump
