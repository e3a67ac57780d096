#pragma once

// A test client process (TestClient.cpp) driven over its stdin/stdout.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

extern char** environ;

namespace hostdevicetest {

class ClientProcess {
public:
    ClientProcess(const std::string& program, const std::vector<std::string>& env) {
        int toChild[2], fromChild[2];
        if (pipe2(toChild, O_CLOEXEC) != 0 || pipe2(fromChild, O_CLOEXEC) != 0) return;
        std::vector<std::string> environment;
        for (char** e = environ; *e != nullptr; ++e) environment.emplace_back(*e);
        environment.insert(environment.end(), env.begin(), env.end());
        std::vector<char*> envp;
        for (std::string& e : environment) envp.push_back(e.data());
        envp.push_back(nullptr);
        char* argv[] = {const_cast<char*>(program.c_str()), nullptr};
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, toChild[0], 0);
        posix_spawn_file_actions_adddup2(&actions, fromChild[1], 1);
        if (posix_spawn(&pid_, program.c_str(), &actions, nullptr, argv, envp.data()) != 0)
            pid_ = -1;
        posix_spawn_file_actions_destroy(&actions);
        close(toChild[0]);
        close(fromChild[1]);
        in_ = toChild[1];
        out_ = fromChild[0];
    }
    ~ClientProcess() {
        close(in_);
        close(out_);
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }

    void send(const std::string& line) {
        const std::string text = line + "\n";
        (void)write(in_, text.data(), text.size());
    }

    // The first line (from now on) that starts with `prefix`, or nullopt after the bound.
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
            if (left.count() <= 0) return std::nullopt;
            pollfd fd{out_, POLLIN, 0};
            if (poll(&fd, 1, static_cast<int>(left.count())) <= 0) return std::nullopt;
            char chunk[512];
            const ssize_t got = read(out_, chunk, sizeof(chunk));
            if (got <= 0) return std::nullopt;
            buffer_.append(chunk, static_cast<size_t>(got));
        }
    }

    // Sends a command and answers the reply line's text after "<command> ".
    std::optional<std::string> ask(const std::string& line) {
        send(line);
        return waitFor(line.substr(0, line.find(' ')) + " ");
    }

private:
    pid_t pid_ = -1;
    int in_ = -1;
    int out_ = -1;
    std::string buffer_;
};

}  // namespace hostdevicetest
