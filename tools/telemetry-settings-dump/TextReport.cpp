#include "Reports.h"

#include "Utf8Text.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace telemetrydump {
namespace {

constexpr size_t kShortLength = 60;

const char* yesNo(bool value) {
    return value ? "true" : "false";
}

std::string optionalText(const std::optional<std::string>& value) {
    if (!value) return "(none)";
    return value->empty() ? "\"\"" : escapeForTerminal(*value);
}

const char* sourceText(RemoteSource source) {
    switch (source) {
        case RemoteSource::kDeviceConfigService:
            return "from the device-config service";
        case RemoteSource::kKeyValueStore:
            return "from the key-value store copy (no device-config service)";
        case RemoteSource::kBuiltInDefault:
            break;
    }
    return "built-in default";
}

// Seconds with millisecond precision, for ages of history entries.
std::string secondsText(int64_t nanos) {
    std::ostringstream out;
    out << std::fixed << std::setprecision(3) << static_cast<double>(nanos) / 1e9;
    return out.str();
}

std::string joined(const std::vector<std::string>& items) {
    if (items.empty()) return "(none)";
    std::string out;
    for (const auto& item : items) {
        if (!out.empty()) out += ", ";
        out += item.empty() ? "\"\"" : escapeForTerminal(item);
    }
    return out;
}

// A titled block of label/value rows, values aligned one column past the longest label.
class Section {
public:
    Section(std::ostringstream& out, const std::string& title) : out_(out), title_(title) {}
    ~Section() {
        size_t width = 0;
        for (const auto& [label, value] : rows_) {
            if (!value.empty()) width = std::max(width, label.size());
        }
        out_ << title_ << "\n";
        for (const auto& [label, value] : rows_) {
            if (value.empty()) {
                out_ << "  " << label << "\n";
                continue;
            }
            out_ << "  " << std::left << std::setw(static_cast<int>(width + 2)) << label << value
                 << "\n";
        }
        out_ << "\n";
    }
    // A line of its own, not aligned with the rows.
    void note(const std::string& text) { rows_.emplace_back(text, ""); }
    template <typename T>
    void row(const std::string& label, const T& value) {
        std::ostringstream text;
        text << value;
        rows_.emplace_back(label, text.str());
    }

private:
    std::ostringstream& out_;
    std::string title_;
    std::vector<std::pair<std::string, std::string>> rows_;
};

void accountRows(Section& section, const AccountState& state) {
    section.row("managed mode", state.managedMode);
    section.row("local account mode", yesNo(state.localAccountMode));
    section.row("account checkpointed", yesNo(state.accountCheckpointed));
    section.row("current user", state.currentUser);
}

}  // namespace

std::string shortenedText(const std::string& value, bool full) {
    if (value.empty()) return "(empty)";
    if (full || value.size() <= kShortLength) return escapeForTerminal(value);
    return escapeForTerminal(utf8Prefix(value, kShortLength - 3)) + "... (" +
           std::to_string(value.size()) + " bytes)";
}

std::string renderText(const SettingsSnapshot& s, bool full) {
    std::ostringstream out;
    {
        Section section(out, "Telemetry");
        section.row("telemetry enabled", yesNo(s.telemetryEnabled));
        section.row("telemetry device id", optionalText(s.telemetryDeviceId));
        section.row("kestrel device id", optionalText(s.kestrelDeviceId));
        section.row("NUX completed", yesNo(s.nuxCompleted));
        section.row("log level", s.logLevel);
        section.row("verbose", yesNo(s.verbose));
        section.row("build is user-dev", yesNo(s.userDevBuild));
    }
    {
        Section section(out, "Account state now");
        accountRows(section, s.now);
    }
    if (s.earlierSecondsAgo) {
        std::string title = "Account state " + std::to_string(*s.earlierSecondsAgo) + " s ago";
        Section section(out, title);
        if (s.earlier) {
            accountRows(section, *s.earlier);
        } else {
            section.note("unknown: no history reaches back that far (oldest entry " +
                         (s.oldestHistoryAgeNs ? secondsText(*s.oldestHistoryAgeNs) + " s old)"
                                               : std::string("missing)")));
        }
    }
    {
        Section section(out, "Preferences");
        section.row("clock adjusted", yesNo(s.clockAdjusted));
        section.row("adjusted cache time", yesNo(s.adjustedCacheTime));
        section.row("time distance", s.timeDistance);
        section.row("event-name filter", joined(s.eventNameFilter));
        section.row("statsd collection frequency (s)", s.statsdCollectionFrequencySec);
        section.row("history clean-up timeout (s)", s.historyCleanupTimeoutSec);
    }
    {
        Section section(out, "Feature gates");
        for (const auto& gate : s.gates) section.row(gate.name, yesNo(gate.value));
    }
    {
        Section section(out, "Remote configuration");
        for (const auto& remote : s.remoteStrings) {
            section.row(remote.key, shortenedText(remote.value, full));
            section.row("", std::string("  ") + sourceText(remote.source));
        }
    }
    {
        Section section(out, "Event lists");
        section.row("verification enabled", yesNo(s.verificationEnabled));
        section.row("verification events", joined(s.verificationEvents));
        std::vector<std::string> overrides;
        for (const auto& [event, lowLatency] : s.lowLatencyOverrides) {
            overrides.push_back(event + "=" + yesNo(lowLatency));
        }
        section.row("low-latency overrides", joined(overrides));
        section.row("low-latency allow list", joined(s.lowLatencyAllowList));
    }
    {
        Section section(out, "Upload");
        section.row("upload enabled", yesNo(s.uploadEnabled));
        section.row("session id", s.sessionId.empty() ? "(none)" : escapeForTerminal(s.sessionId));
    }
    out << "Account-state histories\n" << s.historiesText;
    return out.str();
}

}  // namespace telemetrydump
