#pragma once

// Event logger wrapper of the device (host build): the process-wide front of the event
// logger that uploads telemetry.

#include <string>

namespace telemetry {

class StringWrapper {
public:
    StringWrapper() = default;
    explicit StringWrapper(std::string text) : text_(std::move(text)) {}
    const char* data() const { return text_.c_str(); }

private:
    std::string text_;
};

class WrenLoggerWrapper {
public:
    using UploadCallback = void (*)(void* context, bool result);

    // The one wrapper of the process, made on first use.
    static WrenLoggerWrapper& instance();

    void setLoggingEndpointURLString(const char* url);
    void setSandboxAtodTokenString(const char* token);
    void restartWrenLogger();
    void triggerUpload(void* context, UploadCallback callback);
    void enableUpload();
    void disableUpload();
    bool isUploadEnabled();
    StringWrapper getSessionId();

    WrenLoggerWrapper(const WrenLoggerWrapper&) = delete;
    WrenLoggerWrapper& operator=(const WrenLoggerWrapper&) = delete;

private:
    WrenLoggerWrapper();
    ~WrenLoggerWrapper() = default;
};

}  // namespace telemetry
