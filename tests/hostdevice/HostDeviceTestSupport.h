#pragma once

// Helpers of the host-device tests: running the real program to completion, and driving a
// long-lived client process over its stdin/stdout.

#include <TempDir.h>
#include <WaitUntil.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
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

// Starts `program` with `args` and the environment of this process changed by `env`
// ("NAME=value" replaces NAME; "NAME=" removes it); `actions` redirect its descriptors.
inline pid_t spawn(const std::string& program, const std::vector<std::string>& args,
                   const std::vector<std::string>& env, const posix_spawn_file_actions_t* actions) {
    std::vector<std::string> environment;
    for (char** e = environ; *e != nullptr; ++e) environment.emplace_back(*e);
    for (const std::string& change : env) {
        const std::string name = change.substr(0, change.find('=') + 1);
        std::erase_if(environment, [&](const std::string& e) { return e.rfind(name, 0) == 0; });
        if (change.size() > name.size()) environment.push_back(change);
    }
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

// A client process (TestClient.cpp) driven over its stdin/stdout; killed at the end.
class ClientProcess {
public:
    ClientProcess(const std::string& program, const std::vector<std::string>& env) {
        int toChild[2], fromChild[2];
        if (pipe2(toChild, O_CLOEXEC) != 0 || pipe2(fromChild, O_CLOEXEC) != 0) return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, toChild[0], 0);
        posix_spawn_file_actions_adddup2(&actions, fromChild[1], 1);
        pid_ = spawn(program, {}, env, &actions);
        posix_spawn_file_actions_destroy(&actions);
        close(toChild[0]);
        close(fromChild[1]);
        in_ = toChild[1];
        out_ = fromChild[0];
    }
    ClientProcess(const ClientProcess&) = delete;
    ClientProcess& operator=(const ClientProcess&) = delete;
    ~ClientProcess() {
        close(in_);
        close(out_);
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }

    // The rest of the first line (from now on) that starts with `prefix`, or nullopt after
    // 30 s.
    std::optional<std::string> waitFor(const std::string& prefix) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        for (;;) {
            for (size_t end; (end = buffer_.find('\n')) != std::string::npos;) {
                std::string line = buffer_.substr(0, end);
                buffer_.erase(0, end + 1);
                if (line.rfind(prefix, 0) == 0) return line.substr(prefix.size());
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - std::chrono::steady_clock::now());
            pollfd fd{out_, POLLIN, 0};
            char chunk[512];
            ssize_t got = 0;
            if (left.count() <= 0 || poll(&fd, 1, static_cast<int>(left.count())) <= 0 ||
                (got = read(out_, chunk, sizeof(chunk))) <= 0) {
                return std::nullopt;
            }
            buffer_.append(chunk, static_cast<size_t>(got));
        }
    }

    // Sends a command and answers the reply line's text after "<command> ".
    std::optional<std::string> ask(const std::string& line) {
        const std::string text = line + "\n";
        (void)write(in_, text.data(), text.size());
        return waitFor(line.substr(0, line.find(' ')) + " ");
    }

    // Sends SIGTERM; answers what the process wrote after the last line read, up to its exit,
    // and its exit status (-1 when it did not exit on its own).
    std::pair<std::string, int> terminate() {
        kill(pid_, SIGTERM);
        char chunk[4096];
        for (ssize_t got; (got = read(out_, chunk, sizeof(chunk))) > 0;) {
            buffer_.append(chunk, static_cast<size_t>(got));
        }
        int status = 0;
        const bool exited = waitpid(pid_, &status, 0) == pid_ && WIFEXITED(status);
        pid_ = -1;
        return {std::exchange(buffer_, {}), exited ? WEXITSTATUS(status) : -1};
    }

private:
    pid_t pid_ = -1;
    int in_ = -1;
    int out_ = -1;
    std::string buffer_;
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
