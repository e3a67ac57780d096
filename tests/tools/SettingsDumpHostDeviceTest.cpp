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

// The tool with --watch on the device in `deviceDir`, its stdout read through a pipe.
class Watcher {
public:
    explicit Watcher(const std::string& deviceDir) {
        int out[2];
        if (pipe2(out, O_CLOEXEC) != 0) return;
        const std::string device = "HALCYON_HOST_DEVICE=" + deviceDir;
        const char* argv[] = {"/usr/bin/env", device.c_str(), kTool.c_str(), "--watch", nullptr};
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], 1);
        if (posix_spawn(&pid_, argv[0], &actions, nullptr, const_cast<char**>(argv), environ) != 0)
            pid_ = -1;
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
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        for (;;) {
            for (size_t end; (end = buffer_.find('\n')) != std::string::npos;) {
                const std::string line = buffer_.substr(0, end);
                buffer_.erase(0, end + 1);
                if (line.find(text) != std::string::npos) return line;
                passed_ += line + "\n";
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - std::chrono::steady_clock::now());
            pollfd wait{out_, POLLIN, 0};
            char chunk[4096];
            ssize_t got = 0;
            if (left.count() <= 0 || poll(&wait, 1, static_cast<int>(left.count())) <= 0 ||
                (got = read(out_, chunk, sizeof(chunk))) <= 0) {
                return std::nullopt;
            }
            buffer_.append(chunk, static_cast<size_t>(got));
        }
    }

    // Stops the tool with SIGTERM; answers the lines it wrote after the last one read and its
    // exit status (-1 when it did not exit).
    std::pair<std::string, int> terminate() {
        kill(pid_, SIGTERM);
        passed_.clear();
        lineWith("\x01");  // no such line: reads to the end of output
        int status = 0;
        const bool exited = waitpid(pid_, &status, 0) == pid_ && WIFEXITED(status);
        pid_ = -1;
        return {passed_, exited ? WEXITSTATUS(status) : -1};
    }

private:
    pid_t pid_ = -1;
    int out_ = -1;
    std::string buffer_;
    std::string passed_;  // lines lineWith() read past
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
    const auto device = [&](const std::vector<std::string>& args) {
        ASSERT_EQ(run(kDevice, args).status, 0) << ::testing::PrintToString(args);
    };
    device({"settings", "put", "current_user", "7", "int"});
    const auto dump = run(kTool, {});
    EXPECT_EQ(dump.status, 0) << dump.err;
    EXPECT_TRUE(std::regex_search(dump.out, std::regex("\n  current user +7\n"))) << dump.out;
    // The device is read, never seeded.
    EXPECT_EQ(run(kTool, {"--settings", "/dev/null"}).status, 2);

    Watcher watcher(dir.path());
    ASSERT_TRUE(watcher.lineWith("watching the host device in " + dir.path()));
    device({"settings", "put", "current_user", "11", "int"});
    ASSERT_TRUE(watcher.lineWith(" setting current_user: 7 -> 11"));
    const std::optional<std::string> entry = watcher.lineWith("history entry Current User: ");
    std::smatch time;
    const std::regex entryText("user 0, time ([0-9:.]+), value 11$");
    ASSERT_TRUE(entry && std::regex_search(*entry, time, entryText))
            << entry.value_or("no history entry");
    device({"device_config", "put", "halcyon_shared_os_services",
            "halcyon_mobile_telemetry_qos_override", "a,true"});
    EXPECT_TRUE(
            watcher.lineWith(" device_config halcyon_shared_os_services/"
                             "halcyon_mobile_telemetry_qos_override: (unset) -> a,true"));

    const auto [rest, status] = watcher.terminate();
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
