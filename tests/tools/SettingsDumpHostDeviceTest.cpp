// The dump tool as one more client of a real host device: it reads the device's state, and
// --watch prints the changes other processes make until it is told to stop.

#include "HostDeviceTestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <poll.h>
#include <signal.h>

#include <optional>
#include <regex>

namespace {

using hostdevicetest::runProgram;
using hostdevicetest::TempDir;
using ::testing::HasSubstr;

const std::string kTool = TELEMETRY_DUMP_TOOL;
const std::string kDevice = HOST_DEVICE_PROGRAM;

// The tool with --watch, its stdout read line by line through a pipe.
class Watcher {
public:
    explicit Watcher(const std::string& deviceDir) {
        int out[2];
        if (pipe2(out, O_CLOEXEC) != 0) return;
        const std::string device = "HALCYON_HOST_DEVICE=" + deviceDir;
        std::vector<char*> envp{const_cast<char*>(device.c_str())};
        for (char** e = environ; *e != nullptr; ++e) envp.push_back(*e);
        envp.push_back(nullptr);
        char* argv[] = {const_cast<char*>(kTool.c_str()), const_cast<char*>("--watch"), nullptr};
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], 1);
        if (posix_spawn(&pid_, argv[0], &actions, nullptr, argv, envp.data()) != 0) pid_ = -1;
        posix_spawn_file_actions_destroy(&actions);
        close(out[1]);
        out_ = out[0];
    }
    ~Watcher() {
        close(out_);
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }

    // The next line containing `text`, or nullopt at the end of output or after 30 s.
    std::optional<std::string> lineWith(const std::string& text) {
        for (std::string line; readLine(&line);) {
            if (line.find(text) != std::string::npos) return line;
        }
        return std::nullopt;
    }

    // Everything still to come, and the exit status (-signal when a signal ended it).
    std::pair<std::string, int> finish() {
        std::string rest;
        for (std::string line; readLine(&line);) rest += line + "\n";
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return {rest, WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status)};
    }

    pid_t pid() const { return pid_; }

private:
    bool readLine(std::string* line) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        for (size_t end; (end = buffer_.find('\n')) == std::string::npos;) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - std::chrono::steady_clock::now());
            pollfd wait{out_, POLLIN, 0};
            char chunk[4096];
            if (left.count() <= 0 || poll(&wait, 1, static_cast<int>(left.count())) <= 0) {
                return false;
            }
            const ssize_t got = read(out_, chunk, sizeof(chunk));
            if (got <= 0) return false;
            buffer_.append(chunk, static_cast<size_t>(got));
        }
        const size_t end = buffer_.find('\n');
        *line = buffer_.substr(0, end);
        buffer_.erase(0, end + 1);
        return true;
    }

    pid_t pid_ = -1;
    int out_ = -1;
    std::string buffer_;
};

class SettingsDumpHostDevice : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(runProgram(kDevice, {"start", dir.path()}).status, 0); }
    void TearDown() override { runProgram(kDevice, {"stop", dir.path()}); }
    hostdevicetest::ProgramRun run(const std::string& program,
                                   const std::vector<std::string>& args) {
        return runProgram(program, args, {"HALCYON_HOST_DEVICE=" + dir.path()});
    }

    TempDir dir;
};

TEST_F(SettingsDumpHostDevice, ReadsTheDeviceAndWatchesChangesUntilSigterm) {
    ASSERT_EQ(run(kDevice, {"settings", "put", "current_user", "7", "int"}).status, 0);
    const auto dump = run(kTool, {});
    EXPECT_EQ(dump.status, 0) << dump.err;
    EXPECT_TRUE(std::regex_search(dump.out, std::regex("\n  current user +7\n"))) << dump.out;
    // The device is read, never seeded.
    EXPECT_EQ(run(kTool, {"--settings", "/dev/null"}).status, 2);

    Watcher watcher(dir.path());
    ASSERT_TRUE(watcher.lineWith("watching the host device in " + dir.path()));
    ASSERT_EQ(run(kDevice, {"settings", "put", "current_user", "11", "int"}).status, 0);
    ASSERT_TRUE(watcher.lineWith(" setting current_user: 7 -> 11"));
    const std::optional<std::string> entry = watcher.lineWith("history entry Current User: ");
    std::smatch time;
    ASSERT_TRUE(entry && std::regex_search(*entry, time,
                                           std::regex("user 0, time ([0-9:.]+), "
                                                      "value 11$")))
            << entry.value_or("no history entry");
    ASSERT_EQ(run(kDevice, {"device_config", "put", "halcyon_shared_os_services",
                            "halcyon_mobile_telemetry_qos_override", "a,true"})
                      .status,
              0);
    EXPECT_TRUE(
            watcher.lineWith(" device_config halcyon_shared_os_services/"
                             "halcyon_mobile_telemetry_qos_override: (unset) -> a,true"));

    ASSERT_EQ(kill(watcher.pid(), SIGTERM), 0);
    const auto [rest, status] = watcher.finish();
    EXPECT_EQ(status, 0);
    // The Current User history holds the state before and the entry the watch showed.
    const size_t history = rest.find("Current User\n");
    ASSERT_NE(history, std::string::npos) << rest;
    const std::string currentUser =
            rest.substr(history, rest.find("Local Account", history) - history);
    EXPECT_TRUE(std::regex_search(currentUser, std::regex("\n\t1\t0[0-9:.]+\t7\n"))) << currentUser;
    EXPECT_THAT(currentUser, HasSubstr("\n\t2\t0" + time[1].str() + "\t11\n"));
}

}  // namespace
