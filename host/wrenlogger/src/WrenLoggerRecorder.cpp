#include "WrenLoggerRecorder.h"

#include <uuid/uuid.h>

#include <ostream>
#include <utility>

namespace telemetry::host {
namespace {

const std::string& defaultSessionId() {
    static const std::string id = [] {
        uuid_t uuid;
        uuid_generate(uuid);
        char text[37];
        uuid_unparse_lower(uuid, text);
        return std::string(text);
    }();
    return id;
}

void restoreDefaults(WrenLoggerRecorderState& state) {
    state.snapshot = WrenLoggerSnapshot{};
    state.snapshot.sessionId = defaultSessionId();
    state.uploadResult = true;
}

}  // namespace

WrenLoggerRecorderState& wrenLoggerRecorder() {
    static WrenLoggerRecorderState* state = [] {
        auto* created = new WrenLoggerRecorderState;
        restoreDefaults(*created);
        return created;
    }();
    return *state;
}

void recordWrenLoggerCall(WrenLoggerRecorderState& state, WrenLoggerCall call,
                          std::string argument) {
    state.snapshot.calls.push_back({call, std::move(argument), std::chrono::steady_clock::now()});
}

WrenLoggerSnapshot snapshotWrenLogger() {
    auto& state = wrenLoggerRecorder();
    std::lock_guard<std::mutex> lock(state.mutex);
    return state.snapshot;
}

std::vector<WrenLoggerCall> wrenLoggerCallSequence() {
    auto& state = wrenLoggerRecorder();
    std::lock_guard<std::mutex> lock(state.mutex);
    std::vector<WrenLoggerCall> sequence;
    sequence.reserve(state.snapshot.calls.size());
    for (const auto& record : state.snapshot.calls) sequence.push_back(record.call);
    return sequence;
}

void setWrenLoggerSessionId(std::string sessionId) {
    auto& state = wrenLoggerRecorder();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.snapshot.sessionId = std::move(sessionId);
}

void setWrenLoggerUploadResult(bool result) {
    auto& state = wrenLoggerRecorder();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.uploadResult = result;
}

void resetWrenLogger() {
    auto& state = wrenLoggerRecorder();
    std::lock_guard<std::mutex> lock(state.mutex);
    restoreDefaults(state);
}

const char* wrenLoggerCallName(WrenLoggerCall call) {
    switch (call) {
        case WrenLoggerCall::SetLoggingEndpointURLString:
            return "setLoggingEndpointURLString";
        case WrenLoggerCall::SetSandboxAtodTokenString:
            return "setSandboxAtodTokenString";
        case WrenLoggerCall::RestartWrenLogger:
            return "restartWrenLogger";
        case WrenLoggerCall::TriggerUpload:
            return "triggerUpload";
        case WrenLoggerCall::EnableUpload:
            return "enableUpload";
        case WrenLoggerCall::DisableUpload:
            return "disableUpload";
        case WrenLoggerCall::IsUploadEnabled:
            return "isUploadEnabled";
        case WrenLoggerCall::GetSessionId:
            return "getSessionId";
    }
    return "unknown";
}

std::ostream& operator<<(std::ostream& out, WrenLoggerCall call) {
    return out << wrenLoggerCallName(call);
}

}  // namespace telemetry::host
