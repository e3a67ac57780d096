// Runs the built telemetry-settings-dump as a user would, one process per run, each with a
// state directory of its own.

#include "ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using tooltest::TemporaryDirectory;
using tooltest::ToolResult;

const std::string kTool = TELEMETRY_DUMP_TOOL;

const std::vector<std::string> kGateNames = {
        "halcyon_mobile_telemetry_intake_monitor",
        "halcyon_mobile_telemetry_enforce_permission",
        "halcyon_mobile_enable_dt_event_stats",
        "halcyon_mobile_native_telemetry_legacy_sess_disable",
        "halcyon_mobile_telemetry_enable_history_store",
        "halcyon_mobile_telemetry_set_default_rate_limit",
        "halcyon_mobile_telemetry_enable_verification",
        "sorrel_enable_debugging_at_scale",
        "halcyon_mobile_telemetry_enable_network_manager",
        "oscontrol_on_demand_telemetry_statsd_report_enable",
        "oscontrol_on_demand_telemetry_enable",
        "oscontrol_enable_telemetry_session",
        "bracken_telemetry_enable_workflow_sessions",
        "halcyon_mobile_telemetry_purge_event",
        "halcyon_mobile_telemetry_enable_event_hc",
        "halcyon_mobile_telemetry_enable_tpx_hc",
        "halcyon_mobile_telemetry_enable_wrenlogger_hc",
        "halcyon_mobile_telemetry_enable_hc_archived_upload",
        "halcyon_mobile_telemetry_enable_graceful_shutdown",
        "halcyon_mobile_telemetry_disable_offline_upload",
        "halcyon_mobile_telemetry_session_donstate_redundant",
        "halcyon_mobile_telemetry_low_latency_allow_list",
        "halcyon_mobile_telemetry_max_exp_backoff",
};

const std::vector<std::string> kRemoteKeys = {
        "halcyon_mobile_native_telemetry_allowed_sdk_events_list",
        "halcyon_mobile_telemetry_rate_limit",
        "halcyon_mobile_telemetry_statsd_event_verification_list",
        "halcyon_mobile_telemetry_qos_override",
        "halcyon_mobile_telemetry_travelmode_lowlatency_override",
};

const std::vector<std::string> kStoreNames = {"Account Checkpointed", "Current User",
                                              "Local Account Mode", "Managed Mode"};

const std::regex kUuid("^[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}$");

// One tool run in a fresh state directory below `dir`.
ToolResult dump(const TemporaryDirectory& dir, const std::string& stateName,
                std::vector<std::string> args) {
    args.insert(args.begin(), {"--state-dir", dir / stateName});
    return tooltest::runTool(kTool, args, dir / "xdg-state");
}

struct Row {
    std::string label;  // empty on a continuation row
    std::string value;
    size_t valueColumn = 0;
};

struct TextReport {
    std::vector<std::string> titles;
    std::map<std::string, std::vector<Row>> sections;
    std::string histories;

    const std::vector<Row>& rows(const std::string& title) const {
        static const std::vector<Row> none;
        auto found = sections.find(title);
        return found == sections.end() ? none : found->second;
    }
    std::string value(const std::string& title, const std::string& label) const {
        for (const auto& row : rows(title)) {
            if (row.label == label) return row.value;
        }
        return "<missing row '" + label + "' in '" + title + "'>";
    }
};

// Titles start in column 0; rows are "  label  value", labels never hold two blanks in a row.
// The histories dump is free-form text that runs to the end.
TextReport parseText(const std::string& text) {
    TextReport report;
    std::istringstream in(text);
    std::string line;
    std::string title;
    while (std::getline(in, line)) {
        if (title == "Account-state histories") {
            report.histories += line + "\n";
            continue;
        }
        if (line.empty()) continue;
        if (line[0] != ' ') {
            title = line;
            report.titles.push_back(title);
            continue;
        }
        Row row;
        size_t labelEnd = line.find("  ", 2);
        if (labelEnd == 2) {
            row.valueColumn = line.find_first_not_of(' ');
        } else {
            row.label = line.substr(
                    2, labelEnd == std::string::npos ? std::string::npos : labelEnd - 2);
            row.valueColumn = line.find_first_not_of(' ', labelEnd);
        }
        row.value = row.valueColumn == std::string::npos ? "" : line.substr(row.valueColumn);
        report.sections[title].push_back(row);
    }
    return report;
}

// The lines of one store's block in the histories dump.
std::vector<std::string> storeBlock(const std::string& histories, const std::string& store) {
    std::vector<std::string> lines;
    std::istringstream in(histories);
    std::string line;
    bool inside = false;
    while (std::getline(in, line)) {
        const bool isTitle = !line.empty() && line[0] != '\t';
        if (isTitle)
            inside = line == store;
        else if (inside)
            lines.push_back(line);
    }
    return lines;
}

bool anyEndsWith(const std::vector<std::string>& lines, const std::string& suffix) {
    for (const auto& line : lines) {
        if (line.ends_with(suffix)) return true;
    }
    return false;
}

TEST(SettingsDumpTextTest, ShippedDefaultsGiveEverySectionAlignedWithTheSeededValues) {
    TemporaryDirectory dir;
    ToolResult run = dump(dir, "state", {"--at", "3600"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.err, "");

    TextReport report = parseText(run.out);
    EXPECT_THAT(report.titles,
                ::testing::ElementsAre("Telemetry", "Account state now", "Account state 3600 s ago",
                                       "Preferences", "Feature gates", "Remote configuration",
                                       "Event lists", "Upload", "Account-state histories"));
    // Values of a section start in one column.
    for (const auto& [title, rows] : report.sections) {
        std::set<size_t> columns;
        for (const auto& row : rows) {
            if (!row.label.empty()) columns.insert(row.valueColumn);
        }
        EXPECT_EQ(columns.size(), 1u) << "section '" << title << "' is not aligned";
    }

    EXPECT_EQ(report.value("Telemetry", "telemetry enabled"), "true");
    EXPECT_EQ(report.value("Telemetry", "telemetry device id"), "host-ent-0001");
    EXPECT_TRUE(std::regex_match(report.value("Telemetry", "kestrel device id"), kUuid))
            << report.value("Telemetry", "kestrel device id");
    EXPECT_EQ(report.value("Account state now", "current user"), "10");
    EXPECT_EQ(report.value("Account state now", "managed mode"), "0");
    EXPECT_EQ(report.value("Account state now", "account checkpointed"), "true");
    // An hour before the process started nothing was recorded yet: the defaults answer.
    EXPECT_EQ(report.value("Account state 3600 s ago", "managed mode"), "-1");
    EXPECT_EQ(report.value("Account state 3600 s ago", "current user"), "0");
    EXPECT_EQ(report.value("Account state 3600 s ago", "account checkpointed"), "false");

    const auto& gates = report.rows("Feature gates");
    ASSERT_EQ(gates.size(), kGateNames.size());
    for (size_t i = 0; i < gates.size(); ++i) {
        EXPECT_EQ(gates[i].label, kGateNames[i]);
        EXPECT_TRUE(gates[i].value == "true" || gates[i].value == "false") << gates[i].value;
    }
    EXPECT_EQ(report.value("Feature gates", "halcyon_mobile_telemetry_enable_history_store"),
              "true");
    EXPECT_EQ(report.value("Feature gates", "halcyon_mobile_telemetry_purge_event"), "false");

    // Each key row is followed by where its value came from.
    const auto& remote = report.rows("Remote configuration");
    ASSERT_EQ(remote.size(), 2 * kRemoteKeys.size());
    for (size_t i = 0; i < kRemoteKeys.size(); ++i) {
        EXPECT_EQ(remote[2 * i].label, kRemoteKeys[i]);
        EXPECT_EQ(remote[2 * i + 1].label, "");
        EXPECT_THAT(remote[2 * i + 1].value, StartsWith("from "));
    }
    EXPECT_EQ(report.value("Remote configuration", "halcyon_mobile_telemetry_rate_limit"),
              "default:100/60;app_launch_latency:10/60");
    EXPECT_EQ(report.value("Event lists", "verification events"),
              "app_launch_latency, battery_drain_report, thermal_throttle_event");

    // The four stores in name order, each holding what the first synchronisation recorded.
    size_t last = 0;
    for (const auto& store : kStoreNames) {
        size_t at = report.histories.find("\n" + store + "\n");
        if (at == std::string::npos && report.histories.starts_with(store + "\n")) at = 0;
        ASSERT_NE(at, std::string::npos) << store << " missing from\n" << report.histories;
        EXPECT_GE(at, last) << store << " out of order";
        last = at;
    }
    EXPECT_TRUE(anyEndsWith(storeBlock(report.histories, "Current User"), "\t10"))
            << report.histories;
    EXPECT_TRUE(anyEndsWith(storeBlock(report.histories, "Account Checkpointed"), "\t1"));
}

TEST(SettingsDumpTextTest, RemoteStringsAreShortenedUnlessFullAndJsonAlwaysHasThemWhole) {
    TemporaryDirectory dir;
    ToolResult shortRun = dump(dir, "short", {});
    ToolResult fullRun = dump(dir, "full", {"--full"});
    ToolResult jsonRun = dump(dir, "json", {"--json"});
    ASSERT_EQ(shortRun.exitCode, 0) << shortRun.err;
    ASSERT_EQ(fullRun.exitCode, 0) << fullRun.err;
    ASSERT_EQ(jsonRun.exitCode, 0) << jsonRun.err;
    TextReport shortened = parseText(shortRun.out);
    TextReport whole = parseText(fullRun.out);
    json doc = json::parse(jsonRun.out);

    const std::regex cut(R"(^(.{57})\.\.\. \((\d+) chars\)$)");
    int shortenedCount = 0;
    for (size_t i = 0; i < kRemoteKeys.size(); ++i) {
        const std::string& key = kRemoteKeys[i];
        const std::string shortValue = shortened.value("Remote configuration", key);
        const std::string fullValue = whole.value("Remote configuration", key);
        ASSERT_EQ(doc["remote_configuration"][i]["key"], key);
        EXPECT_EQ(doc["remote_configuration"][i]["value"].get<std::string>(), fullValue) << key;

        std::smatch parts;
        if (std::regex_match(shortValue, parts, cut)) {
            ++shortenedCount;
            EXPECT_EQ(fullValue.size(), std::stoul(parts[2].str())) << key;
            EXPECT_THAT(fullValue, StartsWith(parts[1].str())) << key;
        } else {
            EXPECT_LE(fullValue.size(), 60u) << key << " was not shortened: " << shortValue;
            EXPECT_EQ(shortValue, fullValue) << key;
        }
    }
    // The shipped allowed-events list and the travel-mode overrides are far longer than a row.
    EXPECT_GE(shortenedCount, 2);
}

TEST(SettingsDumpJsonTest, ReportsTypedValuesAndTheEarlierAccountState) {
    TemporaryDirectory dir;
    // As far back as the clock reaches: nothing had been recorded then.
    ToolResult run = dump(dir, "past", {"--json", "--at", "9223372036"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.err, "");
    json doc = json::parse(run.out, nullptr, false);
    ASSERT_FALSE(doc.is_discarded()) << run.out;

    ASSERT_TRUE(doc["telemetry_enabled"].is_boolean());
    EXPECT_TRUE(doc["telemetry_enabled"].get<bool>());
    EXPECT_EQ(doc["telemetry_device_id"], "host-ent-0001");
    ASSERT_TRUE(doc["kestrel_device_id"].is_string());
    EXPECT_TRUE(std::regex_match(doc["kestrel_device_id"].get<std::string>(), kUuid));
    ASSERT_TRUE(doc["log_level"].is_number_integer());

    const json& now = doc["account_state"]["now"];
    ASSERT_TRUE(now["current_user"].is_number_integer());
    EXPECT_EQ(now["current_user"], 10);
    EXPECT_EQ(now["managed_mode"], 0);
    EXPECT_EQ(now["account_checkpointed"], true);
    EXPECT_EQ(now["local_account_mode"], false);
    const json& earlier = doc["account_state"]["earlier"];
    EXPECT_EQ(earlier["seconds_ago"], 9223372036LL);
    EXPECT_EQ(earlier["managed_mode"], -1);
    EXPECT_EQ(earlier["current_user"], 0);
    EXPECT_EQ(earlier["account_checkpointed"], false);
    EXPECT_EQ(earlier["local_account_mode"], false);

    ASSERT_TRUE(doc["preferences"]["statsd_collection_frequency_sec"].is_number_integer());
    ASSERT_TRUE(doc["preferences"]["event_name_filter"].is_array());

    const json& gates = doc["feature_gates"];
    ASSERT_TRUE(gates.is_array());
    ASSERT_EQ(gates.size(), kGateNames.size());
    for (size_t i = 0; i < gates.size(); ++i) {
        EXPECT_EQ(gates[i]["name"], kGateNames[i]);
        EXPECT_TRUE(gates[i]["value"].is_boolean()) << gates[i];
        EXPECT_FALSE(gates[i]["constant"].get<std::string>().empty());
        if (kGateNames[i] == "halcyon_mobile_telemetry_enable_history_store") {
            EXPECT_EQ(gates[i]["value"], true);
        }
    }

    const json& remote = doc["remote_configuration"];
    ASSERT_EQ(remote.size(), kRemoteKeys.size());
    for (size_t i = 0; i < remote.size(); ++i) {
        EXPECT_EQ(remote[i]["key"], kRemoteKeys[i]);
        EXPECT_TRUE(remote[i]["value"].is_string());
        EXPECT_TRUE(remote[i]["source"].is_string());
    }

    EXPECT_EQ(doc["verification"]["enabled"], true);
    EXPECT_TRUE(doc["low_latency"]["overrides"].is_object());
    EXPECT_EQ(doc["low_latency"]["overrides"]["battery_drain_report"], true);
    EXPECT_EQ(doc["upload"]["enabled"], true);
    ASSERT_TRUE(doc["histories"].is_string());
    for (const auto& store : kStoreNames) {
        EXPECT_THAT(doc["histories"].get<std::string>(), HasSubstr(store));
    }

    // Without --at there is no earlier state; with --at 0 it is the state just recorded.
    ToolResult plain = dump(dir, "plain", {"--json"});
    ASSERT_EQ(plain.exitCode, 0) << plain.err;
    EXPECT_FALSE(json::parse(plain.out)["account_state"].contains("earlier"));
    ToolResult zero = dump(dir, "zero", {"--json", "--at", "0"});
    ASSERT_EQ(zero.exitCode, 0) << zero.err;
    json zeroDoc = json::parse(zero.out);
    EXPECT_EQ(zeroDoc["account_state"]["earlier"]["current_user"], 10);
    EXPECT_EQ(zeroDoc["account_state"]["earlier"]["managed_mode"], 0);
}

TEST(SettingsDumpJsonTest, SettingValuesThatAreNotUtf8StillGiveValidJson) {
    TemporaryDirectory dir;
    const std::string settings =
            dir.write("settings.conf", "telemetry_state=on\ndevice_ent_id=caf\xe9-\xff\n");
    ToolResult run = dump(dir, "state", {"--json", "--settings", settings});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    json doc = json::parse(run.out, nullptr, false);
    ASSERT_FALSE(doc.is_discarded()) << run.out;
    EXPECT_THAT(doc["telemetry_device_id"].get<std::string>(), StartsWith("caf"));
}

TEST(SettingsDumpStateTest, KestrelIdIsGeneratedOncePerStateDirectory) {
    TemporaryDirectory dir;
    auto kestrelId = [&](const std::string& state) {
        ToolResult run = dump(dir, state, {"--json"});
        EXPECT_EQ(run.exitCode, 0) << run.err;
        json doc = json::parse(run.out, nullptr, false);
        return doc.is_discarded() ? std::string() : doc.value("kestrel_device_id", std::string());
    };
    const std::string first = kestrelId("a");
    const std::string again = kestrelId("a");
    const std::string other = kestrelId("nested/dirs/b");
    ASSERT_TRUE(std::regex_match(first, kUuid)) << first;
    EXPECT_EQ(again, first);
    ASSERT_TRUE(std::regex_match(other, kUuid)) << other;
    EXPECT_NE(other, first);

    // Everything stayed in the state directories named on the command line.
    EXPECT_FALSE(std::filesystem::is_empty(dir / "a"));
    EXPECT_FALSE(std::filesystem::is_empty(dir / "nested/dirs/b"));
    EXPECT_FALSE(std::filesystem::exists(dir / "xdg-state"));
}

TEST(SettingsDumpInputTest, MissingOrMalformedFilesStopTheRunNamingFileAndLine) {
    TemporaryDirectory dir;
    struct Case {
        std::string flag;
        std::string file;
        std::string expectedPrefix;  // after "telemetry-settings-dump: "
    };
    const std::string missing = dir / "no-such.conf";
    const std::string settings =
            dir.write("settings.conf", "# comment\ntelemetry_state=on\n  =orphan value\n");
    const std::string deviceConfig =
            dir.write("deviceconfig.conf",
                      "\n# no namespace below\nhalcyon_mobile_telemetry_rate_limit=default:1/1\n");
    const std::string properties = dir.write(
            "properties.conf", "ro.build.type=userdebug\n\n# comment\nno equals sign here\n");
    const std::string crlfDeviceConfig =
            dir.write("crlf.conf", "halcyon_shared_os_services/a=b\r\nlonely-key\r\n");
    std::filesystem::create_directory(dir / "a-directory");
    const std::vector<Case> cases = {
            {"--properties", missing, missing + ": cannot open"},
            {"--settings", missing, missing + ": cannot open"},
            {"--device-config", missing, missing + ": cannot open"},
            {"--settings", settings, settings + ":3: "},
            {"--device-config", deviceConfig, deviceConfig + ":3: "},
            {"--device-config", crlfDeviceConfig, crlfDeviceConfig + ":2: "},
            {"--properties", properties, properties + ":4: "},
            {"--settings", dir / "a-directory", dir / "a-directory" + ": cannot open"},
            {"--device-config", dir / "a-directory", dir / "a-directory" + ": cannot open"},
            {"--properties", dir / "a-directory", dir / "a-directory" + ": cannot open"},
    };
    int index = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.flag + " " + c.file);
        ToolResult run = dump(dir, "state" + std::to_string(index++), {c.flag, c.file});
        EXPECT_EQ(run.exitCode, 3) << run.err;
        EXPECT_THAT(run.err, StartsWith("telemetry-settings-dump: " + c.expectedPrefix));
        EXPECT_EQ(run.out, "");
    }
}

TEST(SettingsDumpCommandLineTest, BadCommandLinesExitTwoAndHelpDocumentsFlagsAndExitCodes) {
    TemporaryDirectory dir;
    const std::vector<std::pair<std::vector<std::string>, std::string>> bad = {
            {{"--bogus"}, "unknown option '--bogus'"},
            {{"--at", "-5"}, "--at"},
            {{"--at", "five"}, "--at"},
            {{"--at", "5s"}, "--at"},
            {{"--at", ""}, "--at"},
            {{"--at", "99999999999999999999"}, "--at"},
            // Further back than the clock can reach.
            {{"--at", "9999999999999"}, "--at"},
            {{"--json", "--at"}, "--at needs a value"},
            {{"--state-dir"}, "--state-dir needs a value"},
    };
    for (const auto& [args, message] : bad) {
        SCOPED_TRACE(::testing::PrintToString(args));
        ToolResult run = tooltest::runTool(kTool, args, dir / "xdg-state");
        EXPECT_EQ(run.exitCode, 2) << run.err;
        EXPECT_THAT(run.err, StartsWith("telemetry-settings-dump: "));
        EXPECT_THAT(run.err, HasSubstr(message));
        EXPECT_EQ(run.out, "");
    }

    ToolResult help = tooltest::runTool(kTool, {"--help"}, dir / "xdg-state");
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_EQ(help.err, "");
    for (const char* flag :
         {"--json", "--full", "--at SECONDS", "--verbose", "--help", "--settings FILE",
          "--properties FILE", "--device-config FILE", "--state-dir DIR"}) {
        EXPECT_THAT(help.out, HasSubstr(std::string("\n  ") + flag + " ")) << flag;
    }
    for (const char* code : {"\n  0  ", "\n  1  ", "\n  2  ", "\n  3  "}) {
        EXPECT_THAT(help.out, HasSubstr(code)) << "exit code line" << code;
    }
    EXPECT_FALSE(std::filesystem::exists(dir / "xdg-state"));
}

}  // namespace
