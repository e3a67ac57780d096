#pragma once

// Shared between the wrapper stand-in and its host-only recorder interface.

#include <wrenlogger/HostWrenLoggerRecorder.h>

#include <mutex>
#include <string>

namespace telemetry::host {

struct WrenLoggerRecorderState {
    std::mutex mutex;
    WrenLoggerSnapshot snapshot;  // guarded by mutex
    bool uploadResult = true;     // guarded by mutex
};

// The recorder of the process; made on first use and never destroyed, so calls made while
// static objects are torn down still find it.
WrenLoggerRecorderState& wrenLoggerRecorder();

// Appends one call; the caller holds the recorder's mutex.
void recordWrenLoggerCall(WrenLoggerRecorderState& state, WrenLoggerCall call,
                          std::string argument = {});

}  // namespace telemetry::host
