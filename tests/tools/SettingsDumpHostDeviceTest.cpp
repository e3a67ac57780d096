// The dump tool as one more client of a real host device: it reads the device's state, and
// --watch prints the changes other processes make until it is told to stop.

#include "HostDeviceTestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <regex>

namespace {

using hostdevicetest::runProgram;
using hostdevicetest::TempDir;
using ::testing::HasSubstr;

const std::string kTool = TELEMETRY_DUMP_TOOL;
const std::string kDevice = HOST_DEVICE_PROGRAM;

// The next line of `process` that contains `text`, or nullopt at the end of its output or
// after 30 s.
std::optional<std::string> lineWith(hostdevicetest::ClientProcess& process,
                                    const std::string& text) {
    for (std::optional<std::string> line; (line = process.waitFor(""));) {
        if (line->find(text) != std::string::npos) return line;
    }
    return std::nullopt;
}

class SettingsDumpHostDevice : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(runProgram(kDevice, {"start", dir.path()}).status, 0); }
    void TearDown() override { runProgram(kDevice, {"stop", dir.path()}); }
    hostdevicetest::ProgramRun run(const std::string& program,
                                   const std::vector<std::string>& args) {
        return runProgram(program, args, {"HALCYON_HOST_DEVICE=" + dir.path()});
    }

    TempDir dir;
};

TEST_F(SettingsDumpHostDevice, ReadsTheDeviceAndWatchesChangesUntilSigterm) {
    const auto device = [&](const std::vector<std::string>& args) {
        ASSERT_EQ(run(kDevice, args).status, 0) << ::testing::PrintToString(args);
    };
    device({"settings", "put", "current_user", "7", "int"});
    const auto dump = run(kTool, {});
    EXPECT_EQ(dump.status, 0) << dump.err;
    EXPECT_TRUE(std::regex_search(dump.out, std::regex("\n  current user +7\n"))) << dump.out;
    // The device is read, never seeded.
    EXPECT_EQ(run(kTool, {"--settings", "/dev/null"}).status, 2);

    // The shell reads the command from its stdin and becomes the tool.
    hostdevicetest::ClientProcess watcher("/bin/sh", {"HALCYON_HOST_DEVICE=" + dir.path()});
    watcher.send("exec '" + kTool + "' --watch");
    ASSERT_TRUE(lineWith(watcher, "watching the host device in " + dir.path()));
    device({"settings", "put", "current_user", "11", "int"});
    ASSERT_TRUE(lineWith(watcher, " setting current_user: 7 -> 11"));
    const std::optional<std::string> entry = lineWith(watcher, "history entry Current User: ");
    std::smatch time;
    const std::regex entryText("user 0, time ([0-9:.]+), value 11$");
    ASSERT_TRUE(entry && std::regex_search(*entry, time, entryText))
            << entry.value_or("no history entry");
    device({"device_config", "put", "halcyon_shared_os_services",
            "halcyon_mobile_telemetry_qos_override", "a,true"});
    EXPECT_TRUE(lineWith(watcher,
                         " device_config halcyon_shared_os_services/"
                         "halcyon_mobile_telemetry_qos_override: (unset) -> a,true"));

    const auto [rest, status] = watcher.terminate();
    EXPECT_EQ(status, 0);
    // The Current User history holds the state before and the entry the watch showed.
    const size_t history = rest.find("Current User\n");
    ASSERT_NE(history, std::string::npos) << rest;
    const std::string currentUser =
            rest.substr(history, rest.find("Local Account", history) - history);
    EXPECT_TRUE(std::regex_search(currentUser, std::regex("\n\t1\t0[0-9:.]+\t7\n"))) << currentUser;
    EXPECT_THAT(currentUser, HasSubstr("\n\t2\t0" + time[1].str() + "\t11\n"));
}

}  // namespace
