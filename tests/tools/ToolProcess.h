#pragma once

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <vector>

extern char** environ;

namespace tooltest {

// What one run of a tool left behind.
struct ToolResult {
    int exitCode = -1;  // -signal when a signal ended it
    std::string out;
    std::string err;
};

// A fresh directory under the test temp dir, removed again at the end of the test.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string pattern = ::testing::TempDir() + "telemetry-dump-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "mkdtemp failed";
        root_ = pattern;
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& path() const { return root_; }
    std::string operator/(const std::string& name) const { return root_ + "/" + name; }

    // Writes `contents` to `name` in this directory and returns its path.
    std::string write(const std::string& name, const std::string& contents) const {
        const std::string file = *this / name;
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        out << contents;
        return file;
    }

private:
    std::string root_;
};

// Runs `program` with `args` and collects both streams until it exits. The child gets this
// process's environment with XDG_STATE_HOME pointed at `stateHome`, so that a run that falls
// back to the default state directory still stays inside the test's own directory, and
// without a module override that would change what is loaded.
inline ToolResult runTool(const std::string& program, const std::vector<std::string>& args,
                          const std::string& stateHome) {
    ToolResult result;
    int outPipe[2];
    int errPipe[2];
    if (pipe2(outPipe, O_CLOEXEC) != 0 || pipe2(errPipe, O_CLOEXEC) != 0) {
        ADD_FAILURE() << "pipe2 failed";
        return result;
    }

    std::vector<std::string> env;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (text.starts_with("XDG_STATE_HOME=") || text.starts_with("TELEMETRY_SETTINGS_MODULE=")) {
            continue;
        }
        env.push_back(text);
    }
    env.push_back("XDG_STATE_HOME=" + stateHome);

    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const auto& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    std::vector<char*> envp;
    for (auto& entry : env) envp.push_back(entry.data());
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, outPipe[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errPipe[1], STDERR_FILENO);
    pid_t pid = -1;
    const int spawned =
            posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    close(outPipe[1]);
    close(errPipe[1]);
    if (spawned != 0) {
        close(outPipe[0]);
        close(errPipe[0]);
        ADD_FAILURE() << "cannot start " << program << ": error " << spawned;
        return result;
    }

    // Both pipes are drained together: a child blocked on a full stderr pipe while the parent
    // waits on stdout would never finish.
    pollfd fds[2] = {{outPipe[0], POLLIN, 0}, {errPipe[0], POLLIN, 0}};
    std::string* sinks[2] = {&result.out, &result.err};
    int open = 2;
    while (open > 0) {
        if (poll(fds, 2, -1) < 0) {
            if (errno == EINTR) continue;
            break;
        }
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || fds[i].revents == 0) continue;
            char buffer[4096];
            const ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
            if (n > 0) {
                sinks[i]->append(buffer, static_cast<size_t>(n));
            } else if (n == 0 || errno != EINTR) {
                close(fds[i].fd);
                fds[i].fd = -1;
                --open;
            }
        }
    }
    for (auto& fd : fds) {
        if (fd.fd >= 0) close(fd.fd);
    }

    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.exitCode = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    return result;
}

}  // namespace tooltest
