#pragma once

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

namespace keyvaluetest {

// Runs body in a forked child that ends with body's result as its exit status, skipping the
// parent's exit handlers. The parent must hold no open store connection when it forks.
inline pid_t startChild(const std::function<int()>& body) {
    const pid_t pid = fork();
    if (pid == 0) _exit(body());
    return pid;
}

// The child's exit status, or -signal when a signal ended it.
inline int waitForChild(pid_t pid) {
    int status = 0;
    if (waitpid(pid, &status, 0) != pid) return -1000;
    if (WIFSIGNALED(status)) return -WTERMSIG(status);
    return WEXITSTATUS(status);
}

}  // namespace keyvaluetest
