#pragma once

// The cross-process tests' helper program, and the host device (hostbinderd on a fresh
// directory) that the whole test program joins.

#include <stdlib.h>

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <binder_host/HostBinder.h>

#include "ChildProcess.h"
#include "TempDir.h"

namespace crossprocess {

using HelperProcess = testsupport::ChildProcess;

inline std::vector<std::string> helper(std::vector<std::string> args) {
    args.insert(args.begin(), CROSS_PROCESS_HELPER);
    return args;
}

// hostbinderd on a fresh directory for the whole test program, which joins it through the
// environment variable before any binder is used.
class HostDevice : public testing::Environment {
public:
    void SetUp() override {
        mDir = std::make_unique<testsupport::TempDir>("hostdevice");
        mDaemon = std::make_unique<HelperProcess>(std::vector<std::string>{HOSTBINDERD, dir()});
        ASSERT_EQ("ready", mDaemon->readLine());
        setenv(android::hostbinder::kHostDeviceEnv, dir().c_str(), 1);
    }
    void TearDown() override {
        mDaemon.reset();
        mDir.reset();
    }

    // Where the device's processes listen, one socket per process id.
    std::string socket(const std::string& name) const { return dir() + "/binder/" + name; }
    std::string socket(pid_t pid) const { return socket(std::to_string(pid)); }

private:
    const std::string& dir() const { return mDir->path(); }

    std::unique_ptr<testsupport::TempDir> mDir;
    std::unique_ptr<HelperProcess> mDaemon;
};

inline HostDevice* const gDevice =
        static_cast<HostDevice*>(testing::AddGlobalTestEnvironment(new HostDevice));

}  // namespace crossprocess
