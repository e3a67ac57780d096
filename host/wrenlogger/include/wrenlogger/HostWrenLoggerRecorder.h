#pragma once

// Host-only view into the event logger wrapper stand-in: what the process asked of it, in
// order, and control over what it answers. Never included by code that runs on a device.

#include <chrono>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace telemetry::host {

enum class WrenLoggerCall : int {
    SetLoggingEndpointURLString,
    SetSandboxAtodTokenString,
    RestartWrenLogger,
    TriggerUpload,
    EnableUpload,
    DisableUpload,
    IsUploadEnabled,
    GetSessionId,
};

struct WrenLoggerCallRecord {
    WrenLoggerCall call;
    // The URL or token for the two setters; empty for every other call.
    std::string argument;
    std::chrono::steady_clock::time_point at;
};

struct WrenLoggerSnapshot {
    // Every call since the process started or the last reset, oldest first.
    std::vector<WrenLoggerCallRecord> calls;
    // The last URL and token set; empty optionals when never set since the last reset.
    std::optional<std::string> endpointUrl;
    std::optional<std::string> token;
    int restartCount = 0;
    int triggerCount = 0;
    bool uploadEnabled = true;
    std::string sessionId;
};

WrenLoggerSnapshot snapshotWrenLogger();

// Just the kinds of the calls, oldest first; convenient for asserting an order.
std::vector<WrenLoggerCall> wrenLoggerCallSequence();

// What getSessionId answers from now on. The default is a random UUID made once per process.
void setWrenLoggerSessionId(std::string sessionId);

// What triggerUpload hands to the upload callback from now on (default true). The callback
// runs synchronously on the caller's thread before triggerUpload returns.
void setWrenLoggerUploadResult(bool result);

// Forgets the calls and restores every default: no endpoint or token, counts zero, upload
// enabled, upload result true, the process's default session id.
void resetWrenLogger();

const char* wrenLoggerCallName(WrenLoggerCall call);
std::ostream& operator<<(std::ostream& out, WrenLoggerCall call);

}  // namespace telemetry::host
