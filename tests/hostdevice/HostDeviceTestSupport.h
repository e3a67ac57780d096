#pragma once

// Helpers of the host-device tests: running the real program to completion, and driving a
// long-lived client process over its stdin/stdout.

#include <ChildProcess.h>
#include <TempDir.h>
#include <WaitUntil.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

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

// Starts `program` with `args` and the environment changed by `env` (environmentWith);
// `actions` redirect its descriptors.
inline pid_t spawn(const std::string& program, const std::vector<std::string>& args,
                   const std::vector<std::string>& env, const posix_spawn_file_actions_t* actions) {
    std::vector<std::string> environment = testsupport::environmentWith(env);
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    std::vector<char*> envp;
    for (std::string& e : environment) envp.push_back(e.data());
    envp.push_back(nullptr);
    pid_t pid = -1;
    if (posix_spawn(&pid, program.c_str(), actions, nullptr, argv.data(), envp.data()) != 0) {
        return -1;
    }
    return pid;
}

// Runs `program` to completion (see spawn()) and collects its status and output.
inline ProgramRun runProgram(const std::string& program, const std::vector<std::string>& args,
                             const std::vector<std::string>& env = {}) {
    TempDir scratch("hostdevice-run");
    const std::string out = scratch.path() + "/out";
    const std::string err = scratch.path() + "/err";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT, 0600);
    ProgramRun run;
    if (const pid_t pid = spawn(program, args, env, &actions); pid > 0) {
        int status = 0;
        waitpid(pid, &status, 0);
        run.status = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    }
    posix_spawn_file_actions_destroy(&actions);
    run.out = readFile(out);
    run.err = readFile(err);
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
