// Runs the built telemetry-settings-dump as a user would, one process per run, each with a
// state directory of its own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const std::string kTool = TELEMETRY_DUMP_TOOL;
const std::regex kUuid("^[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}$");

struct ToolResult {
    int exitCode = -1;  // -signal when a signal ended it
    std::string out;
    std::string err;
};

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// A fresh directory under the test temp dir, removed again at the end of the test.
class TempDir {
public:
    // Every test case runs in a process of its own, which may point the tools' state home here
    // (so that a fallback to the default state directory still stays inside the test) and drop
    // a module override that would change what is loaded.
    TempDir() {
        if (mkdtemp(root_.data()) == nullptr) ADD_FAILURE() << "mkdtemp failed";
        setenv("XDG_STATE_HOME", (*this / "xdg-state").c_str(), 1);
        unsetenv("TELEMETRY_SETTINGS_MODULE");
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
    }
    std::string operator/(const std::string& name) const { return root_ + "/" + name; }
    std::string write(const std::string& name, const std::string& contents) const {
        std::ofstream(*this / name, std::ios::binary) << contents;
        return *this / name;
    }

    // Runs the tool with its streams captured in files here.
    ToolResult run(std::vector<std::string> args) {
        const std::string out = *this / ("run" + std::to_string(runs_) + ".out");
        const std::string err = *this / ("run" + std::to_string(runs_++) + ".err");
        args.insert(args.begin(), kTool);
        std::vector<char*> argv;
        for (auto& arg : args) argv.push_back(arg.data());
        argv.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT, 0600);
        posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT, 0600);
        pid_t pid = -1;
        const int spawned =
                posix_spawn(&pid, kTool.c_str(), &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        ToolResult result;
        if (spawned != 0) {
            ADD_FAILURE() << "cannot start " << kTool << ": error " << spawned;
            return result;
        }
        int status = 0;
        while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
        result.exitCode = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
        result.out = readFile(out);
        result.err = readFile(err);
        return result;
    }

private:
    std::string root_ = ::testing::TempDir() + "telemetry-dump-XXXXXX";
    int runs_ = 0;
};

// One run in a state directory of its own below `dir`.
ToolResult dump(TempDir& dir, const std::string& state, std::vector<std::string> args) {
    args.insert(args.begin(), {"--state-dir", dir / state});
    return dir.run(std::move(args));
}

struct Row {
    std::string label;  // empty on a continuation row
    std::string value;
    size_t valueColumn;
};

// Titles start in column 0; rows are "  label  value", labels never hold two blanks in a row.
// The free-form histories dump after its title is left out.
struct TextReport {
    explicit TextReport(const std::string& text) {
        std::istringstream in(text);
        std::string line;
        while (std::getline(in, line) && titles.back() != "Account-state histories") {
            if (line.empty()) continue;
            if (line[0] != ' ') {
                titles.push_back(line);
                continue;
            }
            const size_t labelEnd = line.find("  ", 2);
            const size_t column = line.find_first_not_of(' ', labelEnd);
            rows[titles.back()].push_back({line.substr(2, labelEnd - 2),
                                           column == std::string::npos ? "" : line.substr(column),
                                           column});
        }
    }
    std::string value(const std::string& title, const std::string& label) {
        for (const auto& row : rows[title]) {
            if (row.label == label) return row.value;
        }
        return "<missing row '" + label + "' in '" + title + "'>";
    }

    std::vector<std::string> titles{""};
    std::map<std::string, std::vector<Row>> rows;
};

TEST(SettingsDumpTest, TextAgreesWithJsonAndShortensRemoteStringsUnlessFull) {
    TempDir dir;
    ToolResult textRun = dump(dir, "text", {"--at", "3600"});
    ToolResult fullRun = dump(dir, "full", {"--full"});
    ToolResult jsonRun = dump(dir, "json", {"--json"});
    for (const ToolResult* run : {&textRun, &fullRun, &jsonRun}) {
        ASSERT_EQ(run->exitCode, 0) << run->err;
        EXPECT_EQ(run->err, "");
    }
    TextReport text(textRun.out);
    TextReport full(fullRun.out);
    const json doc = json::parse(jsonRun.out);

    EXPECT_THAT(
            text.titles,
            ::testing::ElementsAre("", "Telemetry", "Account state now", "Account state 3600 s ago",
                                   "Preferences", "Feature gates", "Remote configuration",
                                   "Event lists", "Upload", "Account-state histories"));
    for (const auto& [title, rows] : text.rows) {
        std::set<size_t> columns;
        for (const auto& row : rows) {
            if (!row.label.empty()) columns.insert(row.valueColumn);
        }
        EXPECT_EQ(columns.size(), 1u) << "section '" << title << "' is not aligned";
    }
    EXPECT_EQ(text.value("Telemetry", "telemetry device id"), "host-ent-0001");
    EXPECT_TRUE(std::regex_match(text.value("Telemetry", "kestrel device id"), kUuid));
    // An hour before the process started nothing was recorded yet: the defaults answer.
    EXPECT_EQ(text.value("Account state 3600 s ago", "managed mode"), "-1");
    EXPECT_EQ(text.value("Account state 3600 s ago", "current user"), "0");
    EXPECT_EQ(text.value("Account state 3600 s ago", "account checkpointed"), "false");
    EXPECT_EQ(text.value("Event lists", "verification events"),
              "app_launch_latency, battery_drain_report, thermal_throttle_event");

    const auto& gates = text.rows["Feature gates"];
    ASSERT_EQ(gates.size(), doc["feature_gates"].size());
    for (size_t i = 0; i < gates.size(); ++i) {
        EXPECT_EQ(gates[i].label, doc["feature_gates"][i]["name"]);
        EXPECT_EQ(gates[i].value, doc["feature_gates"][i]["value"].dump()) << gates[i].label;
    }

    // Each key row is followed by where its value came from; long values are cut to a row
    // unless --full, and JSON always has them whole.
    const auto& remote = text.rows["Remote configuration"];
    const json& remoteJson = doc["remote_configuration"];
    ASSERT_EQ(remote.size(), 2 * remoteJson.size());
    const std::regex cut(R"(^(.{57})\.\.\. \((\d+) chars\)$)");
    int shortenedCount = 0;
    for (size_t i = 0; i < remoteJson.size(); ++i) {
        const std::string key = remoteJson[i]["key"];
        const std::string whole = remoteJson[i]["value"];
        SCOPED_TRACE(key);
        EXPECT_EQ(remote[2 * i].label, key);
        EXPECT_EQ(remote[2 * i + 1].label, "");
        EXPECT_EQ(remote[2 * i + 1].value, "from " + remoteJson[i]["source"].get<std::string>());
        EXPECT_EQ(full.value("Remote configuration", key), whole);
        std::smatch parts;
        if (std::regex_match(remote[2 * i].value, parts, cut)) {
            ++shortenedCount;
            EXPECT_EQ(whole.size(), std::stoul(parts[2].str()));
            EXPECT_THAT(whole, StartsWith(parts[1].str()));
        } else {
            EXPECT_LE(whole.size(), 60u) << "not shortened: " << remote[2 * i].value;
            EXPECT_EQ(remote[2 * i].value, whole);
        }
    }
    // The shipped allowed-events list and the travel-mode overrides are far longer than a row.
    EXPECT_GE(shortenedCount, 2);
    EXPECT_EQ(text.value("Remote configuration", "halcyon_mobile_telemetry_rate_limit"),
              "default:100/60;app_launch_latency:10/60");
}

TEST(SettingsDumpTest, JsonReportsTypedValuesAndTheEarlierAccountState) {
    TempDir dir;
    // As far back as the clock reaches: nothing had been recorded then.
    ToolResult run = dump(dir, "past", {"--json", "--at", "9223372036"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.err, "");
    const json doc = json::parse(run.out, nullptr, false);
    ASSERT_FALSE(doc.is_discarded()) << run.out;

    EXPECT_EQ(doc["telemetry_enabled"], true);
    EXPECT_EQ(doc["telemetry_device_id"], "host-ent-0001");
    EXPECT_TRUE(std::regex_match(doc["kestrel_device_id"].get<std::string>(), kUuid));
    EXPECT_TRUE(doc["log_level"].is_number_integer());
    EXPECT_EQ(doc["account_state"]["now"],
              json::parse(R"({"managed_mode": 0, "local_account_mode": false,
                              "account_checkpointed": true, "current_user": 10})"));
    EXPECT_EQ(doc["account_state"]["earlier"],
              json::parse(R"({"seconds_ago": 9223372036, "managed_mode": -1,
                              "local_account_mode": false, "account_checkpointed": false,
                              "current_user": 0})"));
    EXPECT_TRUE(doc["preferences"]["statsd_collection_frequency_sec"].is_number_integer());
    EXPECT_TRUE(doc["preferences"]["event_name_filter"].is_array());

    std::map<std::string, json> gates;
    for (const json& gate : doc["feature_gates"]) {
        EXPECT_TRUE(gate["value"].is_boolean()) << gate;
        EXPECT_FALSE(gate["constant"].get<std::string>().empty()) << gate;
        gates[gate["name"]] = gate["value"];
    }
    EXPECT_EQ(doc["feature_gates"].size(), 23u);
    EXPECT_EQ(gates.size(), 23u);
    EXPECT_EQ(gates["halcyon_mobile_telemetry_enable_history_store"], true);
    EXPECT_EQ(gates["halcyon_mobile_telemetry_purge_event"], false);
    EXPECT_EQ(doc["remote_configuration"].size(), 5u);
    for (const json& remote : doc["remote_configuration"]) {
        EXPECT_TRUE(remote["value"].is_string() && remote["source"].is_string()) << remote;
    }
    EXPECT_EQ(doc["verification"]["enabled"], true);
    EXPECT_EQ(doc["low_latency"]["overrides"]["battery_drain_report"], true);
    EXPECT_EQ(doc["upload"]["enabled"], true);
    // The four stores in name order, each holding what the first synchronisation recorded.
    EXPECT_TRUE(std::regex_search(doc["histories"].get<std::string>(),
                                  std::regex("^Account Checkpointed\n(\t.*\n)*\t.*\t1\n"
                                             "Current User\n(\t.*\n)*\t.*\t10\n"
                                             "Local Account Mode\n(\t.*\n)*Managed Mode\n")))
            << doc["histories"].get<std::string>();

    // Without --at there is no earlier state; with --at 0 it is the state just recorded.
    ToolResult plain = dump(dir, "plain", {"--json"});
    ASSERT_EQ(plain.exitCode, 0) << plain.err;
    EXPECT_FALSE(json::parse(plain.out)["account_state"].contains("earlier"));
    ToolResult zero = dump(dir, "zero", {"--json", "--at", "0"});
    ASSERT_EQ(zero.exitCode, 0) << zero.err;
    const json zeroState = json::parse(zero.out)["account_state"];
    EXPECT_EQ(zeroState["earlier"]["current_user"], 10);
    EXPECT_EQ(zeroState["earlier"]["managed_mode"], 0);
}

TEST(SettingsDumpTest, SettingValuesThatAreNotUtf8StillGiveValidJson) {
    TempDir dir;
    const std::string settings =
            dir.write("settings.conf", "telemetry_state=on\ndevice_ent_id=caf\xe9-\xff\n");
    ToolResult run = dump(dir, "state", {"--json", "--settings", settings});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const json doc = json::parse(run.out, nullptr, false);
    ASSERT_FALSE(doc.is_discarded()) << run.out;
    EXPECT_THAT(doc["telemetry_device_id"].get<std::string>(), StartsWith("caf"));
}

TEST(SettingsDumpTest, KestrelIdIsGeneratedOncePerStateDirectory) {
    TempDir dir;
    auto kestrelId = [&](const std::string& state) {
        ToolResult run = dump(dir, state, {"--json"});
        EXPECT_EQ(run.exitCode, 0) << run.err;
        const json doc = json::parse(run.out, nullptr, false);
        return doc.is_discarded() ? std::string() : doc.value("kestrel_device_id", std::string());
    };
    const std::string first = kestrelId("a");
    const std::string other = kestrelId("nested/dirs/b");
    ASSERT_TRUE(std::regex_match(first, kUuid)) << first;
    EXPECT_EQ(kestrelId("a"), first);
    ASSERT_TRUE(std::regex_match(other, kUuid)) << other;
    EXPECT_NE(other, first);

    // Everything stayed in the state directories named on the command line.
    EXPECT_FALSE(std::filesystem::is_empty(dir / "a"));
    EXPECT_FALSE(std::filesystem::is_empty(dir / "nested/dirs/b"));
    EXPECT_FALSE(std::filesystem::exists(dir / "xdg-state"));
}

TEST(SettingsDumpTest, MissingOrMalformedFilesStopTheRunNamingFileAndLine) {
    TempDir dir;
    const std::string missing = dir / "no-such.conf";
    const std::string directory = dir / "a-directory";
    std::filesystem::create_directory(directory);
    const std::string settings =
            dir.write("settings.conf", "# comment\ntelemetry_state=on\n  =orphan value\n");
    const std::string deviceConfig =
            dir.write("deviceconfig.conf",
                      "\n# no namespace below\nhalcyon_mobile_telemetry_rate_limit=default:1/1\n");
    const std::string crlfDeviceConfig =
            dir.write("crlf.conf", "halcyon_shared_os_services/a=b\r\nlonely-key\r\n");
    const std::string properties = dir.write(
            "properties.conf", "ro.build.type=userdebug\n\n# comment\nno equals sign here\n");
    // {flag, file, what stderr starts with after "telemetry-settings-dump: "}
    const std::vector<std::array<std::string, 3>> cases = {
            {"--properties", missing, missing + ": cannot open"},
            {"--settings", missing, missing + ": cannot open"},
            {"--device-config", missing, missing + ": cannot open"},
            {"--settings", settings, settings + ":3: "},
            {"--device-config", deviceConfig, deviceConfig + ":3: "},
            {"--device-config", crlfDeviceConfig, crlfDeviceConfig + ":2: "},
            {"--properties", properties, properties + ":4: "},
            {"--settings", directory, directory + ": cannot open"},
            {"--device-config", directory, directory + ": cannot open"},
            {"--properties", directory, directory + ": cannot open"},
    };
    int index = 0;
    for (const auto& [flag, file, expected] : cases) {
        SCOPED_TRACE(flag + " " + file);
        ToolResult run = dump(dir, "state" + std::to_string(index++), {flag, file});
        EXPECT_EQ(run.exitCode, 3) << run.err;
        EXPECT_THAT(run.err, StartsWith("telemetry-settings-dump: " + expected));
        EXPECT_EQ(run.out, "");
    }
}

TEST(SettingsDumpTest, BadCommandLinesExitTwoAndHelpDocumentsFlagsAndExitCodes) {
    TempDir dir;
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
        ToolResult run = dir.run(args);
        EXPECT_EQ(run.exitCode, 2) << run.err;
        EXPECT_THAT(run.err, StartsWith("telemetry-settings-dump: "));
        EXPECT_THAT(run.err, HasSubstr(message));
        EXPECT_EQ(run.out, "");
    }

    ToolResult help = dir.run({"--help"});
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
