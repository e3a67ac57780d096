// Runs the built telemetry-settings-dump as a user would, one process per run, each with a
// state directory of its own.

#include <TempDir.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "HostDeviceTestSupport.h"

namespace {

using hostdevicetest::ProgramRun;
using hostdevicetest::readFile;
using hostdevicetest::runProgram;
using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const std::string kTool = TELEMETRY_DUMP_TOOL;
const std::string kDefaults = TELEMETRY_DUMP_DEFAULTS;
const std::regex kUuid("^[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}$");

// A scratch directory for the runs of one test. The tool's state home points inside it, so a
// fallback to the default state directory stays in the test, and no module override applies.
class Scratch : public testsupport::TempDir {
public:
    Scratch() : TempDir("telemetry-dump") {}
    std::string operator/(const std::string& name) const { return path() + "/" + name; }
    std::string write(const std::string& name, const std::string& contents) const {
        std::ofstream(*this / name, std::ios::binary) << contents;
        return *this / name;
    }
    // Runs the tool with `args`, its environment changed as runProgram() takes it.
    ProgramRun run(const std::vector<std::string>& args, std::vector<std::string> env = {}) const {
        env.insert(env.begin(),
                   {"XDG_STATE_HOME=" + *this / "xdg-state", "TELEMETRY_SETTINGS_MODULE="});
        return runProgram(kTool, args, env);
    }
};

// One run in a state directory of its own below `dir`.
ProgramRun dump(const Scratch& dir, const std::string& state, std::vector<std::string> args) {
    args.insert(args.begin(), {"--state-dir", dir / state});
    return dir.run(args);
}

// A --json run that must succeed quietly.
json dumpJson(const Scratch& dir, const std::string& state, std::vector<std::string> args) {
    args.push_back("--json");
    ProgramRun run = dump(dir, state, std::move(args));
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    json doc = json::parse(run.out, nullptr, false);
    EXPECT_FALSE(doc.is_discarded()) << run.out;
    return doc;
}

std::map<std::string, json> remoteByKey(const json& doc) {
    std::map<std::string, json> out;
    for (const json& remote : doc["remote_configuration"]) out[remote["key"]] = remote;
    return out;
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

TEST(SettingsDumpTest, TextAgreesWithTypedJsonAndShortensRemoteStringsUnlessFull) {
    Scratch dir;
    ProgramRun textRun = dump(dir, "text", {"--at", "0"});
    ProgramRun fullRun = dump(dir, "full", {"--full"});
    ASSERT_EQ(textRun.status, 0) << textRun.err;
    ASSERT_EQ(fullRun.status, 0) << fullRun.err;
    TextReport text(textRun.out);
    TextReport full(fullRun.out);
    // Nothing was recorded that long ago: no values that would look like state.
    const json doc = dumpJson(dir, "json", {"--at", "9223372036"});
    EXPECT_EQ(doc["account_state"]["earlier"],
              json::parse(R"({"seconds_ago": 9223372036, "state": null})"));
    EXPECT_EQ(doc["account_state"]["now"],
              json::parse(R"({"managed_mode": 0, "local_account_mode": false,
                              "account_checkpointed": true, "current_user": 10})"));
    EXPECT_EQ(doc["verification"]["enabled"], true);
    EXPECT_EQ(doc["latin1_strings"], json::array());

    EXPECT_THAT(text.titles, ::testing::ElementsAre(
                                     "", "Telemetry", "Account state now", "Account state 0 s ago",
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
    EXPECT_EQ(text.value("Account state 0 s ago", "current user"), "10");
    const auto& gates = text.rows["Feature gates"];
    ASSERT_EQ(gates.size(), 23u);
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
    const std::regex cut(R"(^(.{57})\.\.\. \((\d+) bytes\)$)");
    int shortenedCount = 0;
    for (size_t i = 0; i < remoteJson.size(); ++i) {
        const std::string key = remoteJson[i]["key"];
        const std::string whole = remoteJson[i]["value"];
        SCOPED_TRACE(key);
        EXPECT_EQ(remote[2 * i].label, key);
        EXPECT_EQ(remote[2 * i + 1].label, "");
        EXPECT_THAT(remote[2 * i + 1].value, HasSubstr(remoteJson[i]["source"].get<std::string>()));
        EXPECT_EQ(full.value("Remote configuration", key), whole);
        std::smatch parts;
        if (std::regex_match(remote[2 * i].value, parts, cut)) {
            ++shortenedCount;
            EXPECT_EQ(whole.size(), std::stoul(parts[2].str()));
            EXPECT_THAT(whole, StartsWith(parts[1].str()));
        } else {
            EXPECT_LE(whole.size(), 60u) << "not shortened: " << remote[2 * i].value;
        }
    }
    EXPECT_GE(shortenedCount, 2);
    EXPECT_THAT(dump(dir, "later", {"--at", "60"}).out,
                HasSubstr("Account state 60 s ago\n  unknown: no history reaches back"));
}

TEST(SettingsDumpTest, PipesAreReadOnceAndLinesFollowOneRule) {
    Scratch dir;
    // Process substitution hands the tool pipes, which can be read only once.
    const std::string script =
            "exec \"$0\" --json --state-dir \"$1\" --settings <(cat \"$2\")"
            " --device-config <(cat \"$3\") --properties <(cat \"$4\")";
    ProgramRun piped = runProgram(
            "/bin/bash", {"-c", script, kTool, dir / "piped", kDefaults + "/settings.conf",
                          kDefaults + "/deviceconfig.conf", kDefaults + "/properties.conf"});
    ASSERT_EQ(piped.status, 0) << piped.err;
    EXPECT_EQ(
            remoteByKey(json::parse(piped.out))["halcyon_mobile_telemetry_qos_override"]["source"],
            "device-config service");
    // The copies that run left in the key-value store are not what the manager uses.
    const json emptied = dumpJson(dir, "piped", {"--device-config", "/dev/null"});
    auto remote = remoteByKey(emptied);
    EXPECT_EQ(remote["halcyon_mobile_telemetry_qos_override"]["value"], "");
    EXPECT_EQ(remote["halcyon_mobile_telemetry_qos_override"]["source"], "built-in default");
    EXPECT_EQ(emptied["low_latency"]["overrides"], json::array());
    EXPECT_EQ(emptied["verification"]["events"], json::array());
    EXPECT_FALSE(std::filesystem::exists(dir / "xdg-state"));

    // A byte-order mark, CRLF and blanks around keys and values mean the same in every file;
    // properties may also be pasted as getprop prints them.
    const std::string bom = "\xEF\xBB\xBF";
    const json doc = dumpJson(
            dir, "rules",
            {"--settings",
             dir.write("s.conf", bom + "telemetry_state = on\r\n\t device_ent_id =  id-7 \r\n"),
             "--properties",
             dir.write("p.conf", bom + "[ro.build.type]: [user]\r\n  [a.b]: [ c ]\n"),
             "--device-config",
             dir.write("d.conf", bom + "  halcyon_shared_os_services/"
                                       "halcyon_mobile_telemetry_rate_limit = 5/5 \r\n")});
    EXPECT_EQ(doc["telemetry_enabled"], true);
    EXPECT_EQ(doc["telemetry_device_id"], "id-7");
    EXPECT_EQ(doc["user_dev_build"], false);
    EXPECT_EQ(remoteByKey(doc)["halcyon_mobile_telemetry_rate_limit"]["value"], "5/5");

    // A line that cannot be used, an unreadable file or a number the settings service cannot
    // hold stops the run naming the file and line.
    const std::string missing = dir / "no-such.conf";
    const std::string directory = dir / "a-directory";
    std::filesystem::create_directory(directory);
    int files = 0;
    auto file = [&](const std::string& contents) {
        return dir.write("bad" + std::to_string(files++) + ".conf", contents);
    };
    // {flag, file, what stderr starts with after "telemetry-settings-dump: <file>"}
    const std::vector<std::array<std::string, 3>> cases = {
            {"--properties", missing, ": cannot open"},
            {"--settings", directory, ": cannot open"},
            {"--settings", "/proc/self/mem", ": read error after line 0"},
            {"--settings", file("# c\ntelemetry_state=on\n  =orphan\n"), ":3: "},
            {"--settings", file("telemetry_state=on\ncurrent_user=99999999999\n"), ":2: "},
            {"--settings", file(std::string("device_ent_id=a\0b\n", 18)), ":1: "},
            {"--device-config", file("\n# c\nhalcyon_mobile_telemetry_rate_limit=1/1\n"), ":3: "},
            {"--device-config", file("ns/a=b\r\nns /key=x\r\n"), ":2: "},
            {"--properties", file("ro.build.type=user\n\nno equals sign\n"), ":3: "},
            {"--properties", file("[ro.build.type]: user\n"), ":1: "},
    };
    int index = 0;
    for (const auto& [flag, path, expected] : cases) {
        SCOPED_TRACE(flag + " " + path);
        ProgramRun run = dump(dir, "bad" + std::to_string(index++), {flag, path});
        EXPECT_EQ(run.status, 3) << run.err;
        EXPECT_THAT(run.err, StartsWith("telemetry-settings-dump: " + path + expected));
        EXPECT_EQ(run.out, "");
    }
}

TEST(SettingsDumpTest, BytesThatAreNotPrintableAreEscapedInTextAndKeptInJson) {
    Scratch dir;
    const std::string id = "caf\xC3,x;ok\x1B[2J\\\x7F\xC2\x85";
    const std::string settings = dir.write("s.conf", "telemetry_state=on\ndevice_ent_id=" + id);
    const std::string remote =
            dir.write("d.conf", std::string("halcyon_shared_os_services/"
                                            "halcyon_mobile_telemetry_qos_override=ev1,true\0;ev2,"
                                            "false\n",
                                            85));
    const std::vector<std::string> args = {"--settings", settings, "--device-config", remote};
    ProgramRun text = dump(dir, "state", args);
    ASSERT_EQ(text.status, 0) << text.err;
    TextReport report(text.out);
    EXPECT_EQ(report.value("Telemetry", "telemetry device id"),
              "caf\\xC3,x;ok\\x1B[2J\\\\\\x7F\\xC2\\x85");
    EXPECT_EQ(report.value("Remote configuration", "halcyon_mobile_telemetry_qos_override"),
              "ev1,true\\x00;ev2,false");
    EXPECT_EQ(report.titles.back(), "Account-state histories");
    for (char c : text.out) {
        const auto byte = static_cast<unsigned char>(c);
        ASSERT_TRUE(byte >= 0x20 ? byte != 0x7F : c == '\n' || c == '\t') << int(byte);
    }

    const json doc = dumpJson(dir, "state", args);
    EXPECT_EQ(doc["latin1_strings"], json::array({"/telemetry_device_id"}));
    // Each byte of the id as the character U+0000..U+00FF of the same number.
    EXPECT_EQ(doc["telemetry_device_id"], "caf\xC3\x83,x;ok\x1B[2J\\\x7F\xC3\x82\xC2\x85");
    EXPECT_EQ(remoteByKey(doc)["halcyon_mobile_telemetry_qos_override"]["value"],
              std::string("ev1,true\0;ev2,false", 19));
}

TEST(SettingsDumpTest, BrokenStoreOrStdoutExitsOneAndLeavesTheStoreAsItWas) {
    Scratch dir;
    ASSERT_EQ(dump(dir, "good", {}).status, 0);
    std::filesystem::create_directories(dir / "truncated");
    std::filesystem::copy_file(dir / "good/keyvalue.db", dir / "truncated/keyvalue.db");
    std::filesystem::resize_file(dir / "truncated/keyvalue.db", 2000);
    std::filesystem::create_directories(dir / "directory/keyvalue.db");
    for (const char* state : {"truncated", "directory"}) {
        SCOPED_TRACE(state);
        const std::string store = dir / state + "/keyvalue.db";
        const std::string before = readFile(store);
        ProgramRun run = dump(dir, state, {});
        EXPECT_EQ(run.status, 1);
        EXPECT_THAT(run.err, StartsWith("telemetry-settings-dump: the key-value store in " +
                                        dir / state + " cannot be used: "));
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(readFile(store), before);
    }

    for (const char* args : {"", "--json", "--help"}) {
        SCOPED_TRACE(args);
        const std::string script = "exec \"$0\" --state-dir \"$1\" $2 >/dev/full";
        ProgramRun run = runProgram("/bin/sh", {"-c", script, kTool, dir / "good", args});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.err,
                  "telemetry-settings-dump: cannot write to stdout: No space left on device\n");
    }
}

TEST(SettingsDumpTest, CommandLine) {
    Scratch dir;
    const std::vector<std::pair<std::vector<std::string>, std::string>> bad = {
            {{"--bogus"}, "unknown option '--bogus'"},
            {{"--json=yes"}, "--json takes no value"},
            {{"--at", "-5"}, "--at"},
            {{"--at="}, "--at needs a non-empty value"},
            {{"--at", "99999999999999999999"}, "--at"},
            {{"--at", "9999999999999"}, "--at"},  // further back than the clock reaches
            {{"--json", "--at"}, "--at needs a value"},
    };
    for (const auto& [args, message] : bad) {
        SCOPED_TRACE(::testing::PrintToString(args));
        ProgramRun run = dir.run(args);
        EXPECT_EQ(run.status, 2) << run.err;
        EXPECT_THAT(run.err, ::testing::MatchesRegex("telemetry-settings-dump: [^\n]*\n"
                                                     "try '[^\n]* --help'\n"));
        EXPECT_THAT(run.err, HasSubstr(message));
        EXPECT_EQ(run.out, "");
    }

    ProgramRun help = dir.run({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const char* text : {"\n  --at SECONDS ", "\n  --state-dir DIR ", "\n  3  "}) {
        EXPECT_THAT(help.out, HasSubstr(text));
    }

    // --option=value; --verbose lets the library's debug lines through; a relative
    // XDG_STATE_HOME is ignored in favour of ~/.local/state.
    ProgramRun verbose = dir.run({"--verbose", "--at=0", "--json"},
                                 {"XDG_STATE_HOME=relative", "HOME=" + dir / "home"});
    EXPECT_EQ(verbose.status, 0) << verbose.err;
    EXPECT_THAT(verbose.err, ::testing::ContainsRegex(" D [0-9-]+ "));
    EXPECT_TRUE(std::filesystem::exists(dir / "home/.local/state/telemetry-settings-dump"));
    EXPECT_FALSE(std::filesystem::exists("relative"));
}

}  // namespace
