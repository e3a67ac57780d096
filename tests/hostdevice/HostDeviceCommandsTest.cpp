// The host device program run as a user runs it: start/stop/status of real daemons, and the
// client commands, bad inputs first.

#include "HostDeviceTestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

using hostdevicetest::ProgramRun;
using hostdevicetest::RunningDevice;
using hostdevicetest::runProgram;
using hostdevicetest::TempDir;
using ::testing::HasSubstr;

const std::string kProgram = HOST_DEVICE_PROGRAM;
const std::string kNamespace = "halcyon_shared_os_services";

// One line on stderr, nothing on stdout.
void expectOneLineComplaint(const ProgramRun& run, const std::vector<std::string>& args) {
    const std::string what = ::testing::PrintToString(args);
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << what << ": " << run.err;
    EXPECT_TRUE(run.out.empty()) << what << ": " << run.out;
}

TEST(HostDeviceCommands, UsageErrorsAndAbsentDevicesAreOneLineWithTheirStatus) {
    TempDir empty;
    const struct {
        std::vector<std::string> args;
        std::string hostDevice;  // value of HALCYON_HOST_DEVICE; empty: unset
        int status;
        std::string message;
    } cases[] = {
            {{}, "", 2, "usage"},
            {{"frobnicate"}, "", 2, "unknown command 'frobnicate'"},
            {{"settings", "put", "k", "v", "float"}, empty.path(), 2, "usage"},
            {{"start"}, "", 2, "missing state directory"},
            {{"getprop"}, "", 3, "set HALCYON_HOST_DEVICE"},
            {{"setprop", "a.b", "1"}, empty.path(), 3, "no host device running"},
            {{"stop", empty.path()}, "", 3, "no host device runs"},
    };
    for (const auto& c : cases) {
        const ProgramRun run = runProgram(kProgram, c.args, {"HALCYON_HOST_DEVICE=" + c.hostDevice});
        EXPECT_EQ(run.status, c.status) << ::testing::PrintToString(c.args);
        EXPECT_THAT(run.err, HasSubstr(c.message)) << ::testing::PrintToString(c.args);
        expectOneLineComplaint(run, c.args);
    }
    const ProgramRun status = runProgram(kProgram, {"status", empty.path()});
    EXPECT_EQ(status.status, 3);
    EXPECT_EQ(status.out, "stopped\n");
    const ProgramRun help = runProgram(kProgram, {"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr("Exit status"));
}

// Which writes the property area and the services refuse: tests/sysprop and
// HostDeviceServicesTest; here, that a refusal is status 4 with one line and changes nothing.
TEST_F(RunningDevice, RefusedWritesChangeNothing) {
    ASSERT_EQ(run({"setprop", "persist.sys.flag", "1"}).status, 0);
    ASSERT_EQ(run({"settings", "put", "current_user", "10", "int"}).status, 0);
    const std::string properties = run({"getprop"}).out;
    EXPECT_THAT(properties, HasSubstr("[persist.sys.flag]: [1]\n"));

    const struct {
        std::vector<std::string> args;
        int status;
    } cases[] = {
            {{"setprop", "bad..name", "1"}, 4},
            {{"settings", "put", "current_user", "ten", "int"}, 4},
            {{"settings", "delete", "never_set"}, 1},
            {{"settings", "get", "never_set"}, 1},
            {{"device_config", "put", "bad/ns", "k", "v"}, 4},
            {{"device_config", "delete", kNamespace, "never_set"}, 1},
            {{"start", dir.path()}, 6},  // already running
    };
    for (const auto& c : cases) {
        const ProgramRun result = run(c.args);
        EXPECT_EQ(result.status, c.status) << ::testing::PrintToString(c.args);
        expectOneLineComplaint(result, c.args);
    }
    EXPECT_EQ(run({"getprop"}).out, properties);
    EXPECT_EQ(run({"settings", "list"}).out, "current_user=10 (int)\n");
    EXPECT_EQ(run({"device_config", "list", "bad/ns"}).out, "");
    EXPECT_THAT(run({"status", dir.path()}).out, HasSubstr("running (pid"));

    const ProgramRun stopped = run({"stop", dir.path()});
    EXPECT_EQ(stopped.status, 0) << stopped.err;
    EXPECT_EQ(run({"status", dir.path()}).status, 3);
}

}  // namespace
