// The host device program run as a user runs it: start/stop/status of real daemons, and the
// client commands, bad inputs first.

#include "HostDeviceTestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <signal.h>

#include <algorithm>

namespace {

using hostdevicetest::ProgramRun;
using hostdevicetest::runProgram;
using hostdevicetest::TempDir;
using ::testing::HasSubstr;

const std::string kProgram = HOST_DEVICE_PROGRAM;

ProgramRun device(const std::vector<std::string>& args, const std::string& dir) {
    return runProgram(kProgram, args, {"HALCYON_HOST_DEVICE=" + dir});
}

// One line on stderr, nothing on stdout.
void expectOneLineComplaint(const ProgramRun& run, const std::string& what) {
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << what << ": " << run.err;
    EXPECT_TRUE(run.out.empty()) << what << ": " << run.out;
}

class RunningDevice : public ::testing::Test {
protected:
    void SetUp() override {
        ProgramRun started = runProgram(kProgram, {"start", dir.path()});
        ASSERT_EQ(started.status, 0) << started.err;
    }
    void TearDown() override {
        if (pid_t pid = devicePid(); pid > 0) kill(pid, SIGKILL);
    }
    pid_t devicePid() const {
        return std::atoi(hostdevicetest::readFile(dir.path() + "/hostdevice.pid").c_str());
    }
    ProgramRun run(const std::vector<std::string>& args) { return device(args, dir.path()); }

    TempDir dir;
};

TEST(HostDeviceCommands, UsageErrorsAndAbsentDevicesAreOneLineWithTheirStatus) {
    TempDir empty;
    struct Case {
        std::vector<std::string> args;
        std::string hostDevice;  // value of HALCYON_HOST_DEVICE; empty: unset
        int status;
        std::string message;
    };
    const std::vector<Case> cases = {
            {{}, "", 2, "usage"},
            {{"frobnicate"}, "", 2, "unknown command 'frobnicate'"},
            {{"settings", "frob", "k"}, empty.path(), 2, "usage"},
            {{"settings", "put", "k", "v", "float"}, empty.path(), 2, "usage"},
            {{"device_config", "get", "ns"}, empty.path(), 2, "usage"},
            {{"setprop", "only.name"}, empty.path(), 2, "usage"},
            {{"start"}, "", 2, "missing state directory"},
            {{"getprop"}, "", 3, "set HALCYON_HOST_DEVICE"},
            {{"setprop", "a.b", "1"}, empty.path(), 3, "no host device running"},
            {{"settings", "list"}, empty.path(), 3, "no host device running"},
            {{"device_config", "list", "ns"}, empty.path(), 3, "no host device running"},
            {{"stop", empty.path()}, "", 3, "no host device runs"},
    };
    for (const Case& c : cases) {
        const ProgramRun run = runProgram(kProgram, c.args, {"HALCYON_HOST_DEVICE=" + c.hostDevice});
        const std::string what = ::testing::PrintToString(c.args);
        EXPECT_EQ(run.status, c.status) << what;
        EXPECT_THAT(run.err, HasSubstr(c.message)) << what;
        expectOneLineComplaint(run, what);
    }
    const ProgramRun status = runProgram(kProgram, {"status", empty.path()});
    EXPECT_EQ(status.status, 3);
    EXPECT_EQ(status.out, "stopped\n");
    const ProgramRun help = runProgram(kProgram, {"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr("Exit status"));
}

TEST_F(RunningDevice, RefusedPropertyWritesChangeNothing) {
    ASSERT_EQ(run({"setprop", "ro.build.type", "userdebug"}).status, 0);
    ASSERT_EQ(run({"setprop", "persist.sys.flag", "1"}).status, 0);
    const std::string before = run({"getprop"}).out;
    EXPECT_THAT(before, HasSubstr("[ro.build.type]: [userdebug]\n"));
    EXPECT_THAT(before, HasSubstr("[persist.sys.flag]: [1]\n"));

    const std::vector<std::vector<std::string>> refused = {
            {"setprop", "bad..name", "1"},
            {"setprop", "persist.sys.flag", std::string(92, 'x')},
            {"setprop", "ro.build.type", "user"},
    };
    for (const auto& args : refused) {
        const ProgramRun result = run(args);
        EXPECT_EQ(result.status, 4) << args[1];
        expectOneLineComplaint(result, args[1]);
    }
    EXPECT_EQ(run({"getprop"}).out, before);
    EXPECT_EQ(run({"getprop", "ro.build.type"}).out, "userdebug\n");

    const ProgramRun again = runProgram(kProgram, {"start", dir.path()});
    EXPECT_EQ(again.status, 6);
    EXPECT_THAT(run({"status", dir.path()}).out, HasSubstr("running (pid"));
}

TEST_F(RunningDevice, KilledDeviceRestartsWithItsPersistentState) {
    ASSERT_EQ(run({"setprop", "persist.sys.flag", "kept"}).status, 0);
    ASSERT_EQ(run({"setprop", "debug.volatile", "lost"}).status, 0);

    ASSERT_EQ(kill(devicePid(), SIGKILL), 0);
    ASSERT_TRUE(hostdevicetest::waitUntil([&] { return run({"status", dir.path()}).status == 3; }));
    EXPECT_EQ(run({"getprop", "persist.sys.flag"}).status, 3);  // no device now

    ASSERT_EQ(runProgram(kProgram, {"start", dir.path()}).status, 0);
    EXPECT_EQ(run({"getprop", "persist.sys.flag"}).out, "kept\n");
    EXPECT_EQ(run({"getprop", "debug.volatile"}).out, "\n");

    const ProgramRun stopped = runProgram(kProgram, {"stop", dir.path()});
    EXPECT_EQ(stopped.status, 0) << stopped.err;
    EXPECT_EQ(runProgram(kProgram, {"status", dir.path()}).status, 3);
}

}  // namespace
