#include "Reports.h"

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
    return value ? *value : "(none)";
}

std::string joined(const std::vector<std::string>& items) {
    if (items.empty()) return "(none)";
    std::string out;
    for (const auto& item : items) {
        if (!out.empty()) out += ", ";
        out += item.empty() ? "\"\"" : item;
    }
    return out;
}

std::string shortened(const std::string& value, bool full) {
    if (value.empty()) return "(empty)";
    if (full || value.size() <= kShortLength) return value;
    return value.substr(0, kShortLength - 3) + "... (" + std::to_string(value.size()) + " chars)";
}

// A titled block of label/value rows, values aligned one column past the longest label.
class Section {
public:
    Section(std::ostringstream& out, const std::string& title) : out_(out), title_(title) {}
    ~Section() {
        size_t width = 0;
        for (const auto& row : rows_) width = std::max(width, row.first.size());
        out_ << title_ << "\n";
        for (const auto& [label, value] : rows_) {
            out_ << "  " << std::left << std::setw(static_cast<int>(width + 2)) << label << value
                 << "\n";
        }
        out_ << "\n";
    }
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
    if (s.earlier) {
        std::string title = "Account state " + std::to_string(*s.earlierSecondsAgo) + " s ago";
        Section section(out, title);
        accountRows(section, *s.earlier);
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
            section.row(remote.key, shortened(remote.value, full));
            section.row("", "  from " + remote.source);
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
        section.row("session id", s.sessionId.empty() ? "(none)" : s.sessionId);
    }
    out << "Account-state histories\n" << s.histories;
    return out.str();
}

}  // namespace telemetrydump
