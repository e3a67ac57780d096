#include <wrenlogger/WrenLoggerWrapper.h>

#include "WrenLoggerRecorder.h"

#include <mutex>

namespace telemetry {

using host::recordWrenLoggerCall;
using host::WrenLoggerCall;
using host::wrenLoggerRecorder;

WrenLoggerWrapper& WrenLoggerWrapper::instance() {
    // Never destroyed: callers may still upload from other threads while statics are torn down.
    static WrenLoggerWrapper* wrapper = new WrenLoggerWrapper();
    return *wrapper;
}

WrenLoggerWrapper::WrenLoggerWrapper() = default;

void WrenLoggerWrapper::setLoggingEndpointURLString(const char* url) {
    std::string value = url != nullptr ? url : "";
    auto& state = wrenLoggerRecorder();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.snapshot.endpointUrl = value;
    recordWrenLoggerCall(state, WrenLoggerCall::SetLoggingEndpointURLString, std::move(value));
}

void WrenLoggerWrapper::setSandboxAtodTokenString(const char* token) {
    std::string value = token != nullptr ? token : "";
    auto& state = wrenLoggerRecorder();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.snapshot.token = value;
    recordWrenLoggerCall(state, WrenLoggerCall::SetSandboxAtodTokenString, std::move(value));
}

void WrenLoggerWrapper::restartWrenLogger() {
    auto& state = wrenLoggerRecorder();
    std::lock_guard<std::mutex> lock(state.mutex);
    ++state.snapshot.restartCount;
    recordWrenLoggerCall(state, WrenLoggerCall::RestartWrenLogger);
}

void WrenLoggerWrapper::triggerUpload(void* context, UploadCallback callback) {
    bool result = false;
    {
        auto& state = wrenLoggerRecorder();
        std::lock_guard<std::mutex> lock(state.mutex);
        ++state.snapshot.triggerCount;
        recordWrenLoggerCall(state, WrenLoggerCall::TriggerUpload);
        result = state.uploadResult;
    }
    // Outside the lock, so a callback may call back into the wrapper.
    if (callback != nullptr) callback(context, result);
}

void WrenLoggerWrapper::enableUpload() {
    auto& state = wrenLoggerRecorder();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.snapshot.uploadEnabled = true;
    recordWrenLoggerCall(state, WrenLoggerCall::EnableUpload);
}

void WrenLoggerWrapper::disableUpload() {
    auto& state = wrenLoggerRecorder();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.snapshot.uploadEnabled = false;
    recordWrenLoggerCall(state, WrenLoggerCall::DisableUpload);
}

bool WrenLoggerWrapper::isUploadEnabled() {
    auto& state = wrenLoggerRecorder();
    std::lock_guard<std::mutex> lock(state.mutex);
    recordWrenLoggerCall(state, WrenLoggerCall::IsUploadEnabled);
    return state.snapshot.uploadEnabled;
}

StringWrapper WrenLoggerWrapper::getSessionId() {
    auto& state = wrenLoggerRecorder();
    std::lock_guard<std::mutex> lock(state.mutex);
    recordWrenLoggerCall(state, WrenLoggerCall::GetSessionId);
    return StringWrapper(state.snapshot.sessionId);
}

}  // namespace telemetry
