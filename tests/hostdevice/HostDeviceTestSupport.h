#pragma once

// Helpers of the host-device tests: running the real program to completion, and driving a
// long-lived client process over its stdin/stdout.

#include <ChildProcess.h>
#include <TempDir.h>
#include <WaitUntil.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace hostdevicetest {

using testsupport::TempDir;

struct ProgramRun {
    int status = -1;  // exit status, or -signal
    std::string out;
    std::string err;
};

inline std::string readFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// Runs `program` to completion, its environment changed by `env` (environmentWith), and
// collects its status and output.
inline ProgramRun runProgram(const std::string& program, const std::vector<std::string>& args,
                             const std::vector<std::string>& env = {}) {
    TempDir scratch("hostdevice-run");
    std::vector<std::string> argv{program};
    argv.insert(argv.end(), args.begin(), args.end());
    testsupport::ChildProcess child(argv, env, scratch.path() + "/err");
    ProgramRun run;
    std::tie(run.out, run.status) = child.finish();
    run.err = readFile(scratch.path() + "/err");
    return run;
}

// A client process (TestClient.cpp, or any program reading its stdin) driven line by line.
class ClientProcess : public testsupport::ChildProcess {
public:
    ClientProcess(const std::string& program, const std::vector<std::string>& env)
        : ChildProcess({program}, env) {}

    // Sends a command and answers the reply line's text after "<command> ".
    std::optional<std::string> ask(const std::string& line) {
        send(line);
        return waitFor(line.substr(0, line.find(' ')) + " ");
    }
};

#ifdef HOST_DEVICE_PROGRAM
// A host device of its own for each test, started in a private directory and killed at the end.
class RunningDevice : public ::testing::Test {
protected:
    void SetUp() override { startDevice(); }
    void TearDown() override {
        if (pid_t pid = devicePid(); pid > 0) kill(pid, SIGKILL);
    }
    void startDevice() {
        const ProgramRun started = runProgram(HOST_DEVICE_PROGRAM, {"start", dir.path()});
        ASSERT_EQ(started.status, 0) << started.err;
    }
    pid_t devicePid() const { return std::atoi(readFile(dir.path() + "/hostdevice.pid").c_str()); }
    // Kills the device and waits until its status reads stopped.
    void killDevice() {
        ASSERT_EQ(kill(devicePid(), SIGKILL), 0);
        ASSERT_TRUE(testsupport::waitUntil([&] {
            return run({"status", dir.path()}).status == 3;
        }));
    }
    ProgramRun run(const std::vector<std::string>& args) {
        return runProgram(HOST_DEVICE_PROGRAM, args, {"HALCYON_HOST_DEVICE=" + dir.path()});
    }

    TempDir dir{"hostdevice"};
};
#endif

}  // namespace hostdevicetest
