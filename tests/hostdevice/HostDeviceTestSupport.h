#pragma once

// Helpers of the host-device tests: a private state directory, running the real program, and
// waiting for events with a generous bound.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace hostdevicetest {

class TempDir {
public:
    TempDir() {
        char pattern[] = "/tmp/hostdevice-test-XXXXXX";
        path_ = mkdtemp(pattern);
    }
    ~TempDir() { std::filesystem::remove_all(path_); }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

inline bool waitUntil(const std::function<bool()>& condition,
                      std::chrono::milliseconds bound = std::chrono::seconds(30)) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

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

// Runs `program` with `args` and the environment of this process plus `env` ("NAME=value";
// "NAME=" removes NAME), and waits for it.
inline ProgramRun runProgram(const std::string& program, const std::vector<std::string>& args,
                             const std::vector<std::string>& env = {}) {
    TempDir scratch;
    const std::string out = scratch.path() + "/out";
    const std::string err = scratch.path() + "/err";
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

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT, 0600);
    pid_t pid = -1;
    ProgramRun run;
    if (posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), envp.data()) == 0) {
        int status = 0;
        waitpid(pid, &status, 0);
        run.status = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    }
    posix_spawn_file_actions_destroy(&actions);
    run.out = readFile(out);
    run.err = readFile(err);
    return run;
}

}  // namespace hostdevicetest
