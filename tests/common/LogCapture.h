#pragma once

#include <android/log.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

namespace testsupport {

struct LogLine {
    int priority;
    std::string tag;
    std::string message;
};

// Captures every liblog line of the process while an instance is alive. liblog allows one
// logger per process, so only one LogCapture may exist at a time.
class LogCapture {
public:
    LogCapture() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            lines_.clear();
        }
        // Not under mutex_: liblog calls capture() holding its logger lock, which
        // __android_log_set_logger takes too, so holding both here inverts the order.
        previousPriority_ = __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
        __android_log_set_logger(&LogCapture::capture);
    }
    ~LogCapture() {
        __android_log_set_logger(&__android_log_stderr_logger);
        __android_log_set_minimum_priority(previousPriority_);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogLine> all() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return lines_;
    }
    // Lines with this tag, in order.
    std::vector<LogLine> withTag(const std::string& tag) const {
        std::vector<LogLine> out;
        for (auto& line : all()) {
            if (line.tag == tag) out.push_back(line);
        }
        return out;
    }
    // Lines with this tag and message, of any priority or of `priority`.
    size_t count(const std::string& tag, const std::string& message) const {
        return count(-1, tag, message);
    }
    size_t count(int priority, const std::string& tag, const std::string& message) const {
        auto lines = withTag(tag);
        return static_cast<size_t>(std::count_if(lines.begin(), lines.end(), [&](auto& l) {
            return (priority < 0 || l.priority == priority) && l.message == message;
        }));
    }

private:
    static inline std::mutex mutex_;
    static inline std::vector<LogLine> lines_;

    static void capture(const struct __android_logger_data* data, const char* message) {
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back({data->priority, data->tag ? data->tag : "", message ? message : ""});
    }

    int previousPriority_ = ANDROID_LOG_DEFAULT;
};

}  // namespace testsupport
