#pragma once

// A program run as a real process with its stdin and stdout on pipes. It dies with the test
// that started it, even one cut short, and is killed and reaped at the end of scope.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

extern char** environ;

namespace testsupport {

// This process's environment changed by `changes`: "NAME=value" sets NAME, "NAME=" removes it.
inline std::vector<std::string> environmentWith(const std::vector<std::string>& changes) {
    std::vector<std::string> environment;
    for (char** e = environ; *e != nullptr; ++e) environment.emplace_back(*e);
    for (const std::string& change : changes) {
        const std::string name = change.substr(0, change.find('=') + 1);
        std::erase_if(environment, [&](const std::string& e) { return e.rfind(name, 0) == 0; });
        if (change.size() > name.size()) environment.push_back(change);
    }
    return environment;
}

class ChildProcess {
public:
    // argv[0] is the program's path; `env` changes the environment it gets (environmentWith);
    // its stderr goes to `errorFile` when one is named.
    explicit ChildProcess(const std::vector<std::string>& argv,
                          const std::vector<std::string>& env = {},
                          const std::string& errorFile = "") {
        std::vector<std::string> environment = environmentWith(env);
        // Built before fork: the child of a threaded process must not allocate.
        std::vector<char*> args, envp;
        for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
        for (std::string& e : environment) envp.push_back(e.data());
        args.push_back(nullptr);
        envp.push_back(nullptr);
        int in[2], out[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) return;
        const pid_t parent = getpid();
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (getppid() != parent) _exit(127);
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            if (!errorFile.empty()) {
                dup2(open(errorFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
            }
            execve(args[0], args.data(), envp.data());
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        in_ = in[1];
        out_ = out[0];
    }
    ~ChildProcess() {
        kill();
        close(in_);
        close(out_);
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return pid_; }

    // Writes one line to the child's stdin.
    void send(const std::string& line) {
        const std::string text = line + "\n";
        (void)!write(in_, text.data(), text.size());
    }

    // The next line the child prints; empty when it ends or prints none within `bound`.
    std::string readLine(std::chrono::milliseconds bound = std::chrono::seconds(60)) {
        return waitFor("", bound).value_or("");
    }

    // The rest of the next line that starts with `prefix` (lines before it are skipped);
    // nullopt when the child ends or prints none within `bound`.
    std::optional<std::string> waitFor(const std::string& prefix,
                                       std::chrono::milliseconds bound = std::chrono::seconds(30)) {
        const auto deadline = std::chrono::steady_clock::now() + bound;
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

    // Closes the child's stdin and waits for it to end; answers what it wrote after the last
    // line read, and its exit status (or -signal when a signal ended it).
    std::pair<std::string, int> finish() {
        close(std::exchange(in_, -1));
        char chunk[4096];
        for (ssize_t got; (got = read(out_, chunk, sizeof(chunk))) > 0;) {
            buffer_.append(chunk, static_cast<size_t>(got));
        }
        int status = 0;
        waitpid(std::exchange(pid_, -1), &status, 0);
        return {std::exchange(buffer_, {}),
                WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status)};
    }

    // Sends SIGTERM, then finish().
    std::pair<std::string, int> terminate() {
        ::kill(pid_, SIGTERM);
        return finish();
    }

    // SIGKILL and reap.
    void kill() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
        pid_ = -1;
    }

private:
    pid_t pid_ = -1;
    int in_ = -1;
    int out_ = -1;
    std::string buffer_;
};

}  // namespace testsupport
