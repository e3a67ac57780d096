// The host device's property service with real client processes.

#include <fcntl.h>
#include <sys/system_properties.h>
#include <sys/wait.h>
#include <unistd.h>

#include <android-base/file.h>
#include <gtest/gtest.h>
#include <hostproperties/PropertyService.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

extern char** environ;

namespace {

using hostproperties::PropertyService;
using hostproperties::SetPropertyResult;

// A property_client process on the host device in `dir`; its stdout is readable on `out`.
struct Client {
    pid_t pid = -1;
    int out = -1;

    Client(const std::string& dir, std::vector<std::string> steps) {
        std::vector<std::string> env = {"HALCYON_HOST_DEVICE=" + dir};
        for (char** e = environ; *e != nullptr; ++e) {
            if (strncmp(*e, "HALCYON_HOST_DEVICE=", 20) != 0) env.emplace_back(*e);
        }
        steps.insert(steps.begin(), PROPERTY_CLIENT);
        std::vector<char*> argv, envp;
        for (auto& s : steps) argv.push_back(s.data());
        for (auto& s : env) envp.push_back(s.data());
        argv.push_back(nullptr);
        envp.push_back(nullptr);
        int pipeFds[2];
        if (pipe2(pipeFds, O_CLOEXEC) != 0) return;
        pid = fork();
        if (pid == 0) {
            dup2(pipeFds[1], STDOUT_FILENO);
            execve(argv[0], argv.data(), envp.data());
            _exit(127);
        }
        close(pipeFds[1]);
        out = pipeFds[0];
    }
    ~Client() {
        if (out >= 0) close(out);
    }
    // The exit status; the client bounds its own waits.
    int wait() {
        int status = 0;
        if (pid <= 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
        return WEXITSTATUS(status);
    }
    bool readLine(const std::string& expected) {
        std::string line;
        char c;
        while (read(out, &c, 1) == 1 && c != '\n') line.push_back(c);
        return line == expected;
    }
};

std::unique_ptr<PropertyService> start(const std::string& dir) {
    std::string error;
    auto service = PropertyService::start(dir, dir, &error);
    EXPECT_NE(service, nullptr) << error;
    return service;
}

TEST(PropertyService, ClientsShareOneDeviceAndPersistedValuesSurviveARestart) {
    TemporaryDir dir;
    auto service = start(dir.path);
    ASSERT_NE(service, nullptr);
    std::string error;
    EXPECT_EQ(PropertyService::start(dir.path, dir.path, &error), nullptr);
    EXPECT_NE(error.find("already runs"), std::string::npos) << error;
    ASSERT_EQ(service->set("ro.test.seeded", "1"), SetPropertyResult::kOk);

    // Each waits for the other's write, so both run at once.
    Client a(dir.path, {"expect", "ro.test.seeded", "1", "set", "test.from_a", "1", "ok", "expect",
                        "test.from_b", "2"});
    Client b(dir.path, {"expect",    "test.from_a", "1",
                        "set",       "test.from_b", "2",
                        "ok",        "libbase-set", "persist.test.kept",
                        "yes",       "set",         "ro.test.seeded",
                        "2",         "read-only",   "set",
                        "test..bad", "x",           "invalid-name",
                        "set",       "test.long",   std::string(PROP_VALUE_MAX, 'x'),
                        "too-long"});
    EXPECT_EQ(a.wait(), 0);
    EXPECT_EQ(b.wait(), 0);
    EXPECT_EQ(service->get("persist.test.kept"), "yes");
    EXPECT_EQ(service->get("ro.test.seeded"), "1");
    EXPECT_EQ(service->get("test.long"), std::nullopt);
    const auto all = service->list();
    EXPECT_NE(std::find(all.begin(), all.end(),
                        std::make_pair(std::string("test.from_b"), std::string("2"))),
              all.end());

    // A client that mapped the first area, holding a handle from it, follows the restarted
    // service's area.
    Client survivor(dir.path, {"expect", "persist.test.kept", "yes", "hold", "persist.test.kept",
                               "ready", "watch", "again", "expect", "test.after_restart", "1",
                               "unset", "test.from_a"});
    ASSERT_TRUE(survivor.readLine("ready"));
    service.reset();
    Client refused(dir.path, {"set", "test.while_down", "1", "no-host-device"});
    EXPECT_EQ(refused.wait(), 0);

    service = start(dir.path);
    ASSERT_NE(service, nullptr);
    EXPECT_EQ(service->get("persist.test.kept"), "yes");
    EXPECT_EQ(service->get("test.from_a"), std::nullopt);
    ASSERT_EQ(service->set("test.after_restart", "1"), SetPropertyResult::kOk);
    ASSERT_EQ(service->set("persist.test.kept", "again"), SetPropertyResult::kOk);
    EXPECT_EQ(survivor.wait(), 0);
}

TEST(PropertyService, WithoutAHostDeviceClientsAreRefusedAndReadNothing) {
    TemporaryDir dir;
    Client client(dir.path, {"set", "test.nobody", "1", "no-host-device", "unset", "test.nobody"});
    EXPECT_EQ(client.wait(), 0);
}

TEST(PropertyService, UnusableDirectoryIsAClearFailure) {
    std::string error;
    EXPECT_EQ(PropertyService::start("/nonexistent/device", "/nonexistent/device", &error), nullptr);
    EXPECT_NE(error.find("/nonexistent/device"), std::string::npos) << error;
}

}  // namespace
