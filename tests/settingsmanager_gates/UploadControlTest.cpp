#include "GatesTestSupport.h"

#include <LogCapture.h>

#include <telemetry/settingsmanager/LoggingEndpoints.h>
#include <wrenlogger/HostWrenLoggerRecorder.h>

#include <android/log.h>

#include <chrono>
#include <utility>
#include <vector>

namespace gatestest {
namespace {

using Tamar::OS::Telemetry::kOnDemandLoggingEndpoint;
using Tamar::OS::Telemetry::kProductionLoggingEndpoint;
using Tamar::OS::Telemetry::setRestartSettleWaitForTesting;
using telemetry::host::wrenLoggerCallSequence;
using enum telemetry::host::WrenLoggerCall;
using Calls = std::vector<telemetry::host::WrenLoggerCall>;

constexpr char kTokenProperty[] = "diagnostics.debug.ondemand_token";

// Each settle wait an upload asked for: its length and how many logger calls preceded it.
std::vector<std::pair<std::chrono::nanoseconds, size_t>> settleWaits;

class UploadControlTest : public GatesTest {
protected:
    void SetUp() override {
        telemetry::host::resetWrenLogger();
        settleWaits.clear();
        setRestartSettleWaitForTesting([](std::chrono::nanoseconds settle) {
            settleWaits.emplace_back(settle, wrenLoggerCallSequence().size());
        });
    }
    void TearDown() override { setRestartSettleWaitForTesting(nullptr); }

    // The logger calls of one upload by `uploader` with `token` set.
    Calls uploadWith(GateManager& uploader, const char* token) {
        hostproperties::setProperty(kTokenProperty, token);
        const size_t before = wrenLoggerCallSequence().size();
        uploader.triggerUpload(&results, [](void* context, bool result) {
            static_cast<std::vector<bool>*>(context)->push_back(result);
        });
        const Calls all = wrenLoggerCallSequence();
        return Calls(all.begin() + static_cast<std::ptrdiff_t>(before), all.end());
    }

    std::vector<bool> results;
};

TEST_F(UploadControlTest, LockedStateRefusesBothSwitches) {
    testsupport::LogCapture logs;
    manager->lockUploadState();
    const std::pair<bool (GateManager::*)(), const char*> switches[] = {
            {&GateManager::enableUpload, "Upload state locked, not enabling upload"},
            {&GateManager::disableUpload, "Upload state locked, not disabling upload"}};
    for (const auto& [flip, line] : switches) {
        EXPECT_FALSE((manager.get()->*flip)());
        EXPECT_EQ(logs.count(ANDROID_LOG_DEBUG, "telemetry", line), 1u);
    }
    EXPECT_TRUE(wrenLoggerCallSequence().empty());

    manager->unlockUploadState();
    EXPECT_TRUE(manager->disableUpload());
    // The lock does not hide the logger's state.
    manager->lockUploadState();
    EXPECT_FALSE(manager->isUploadEnabled());
    manager->unlockUploadState();
    EXPECT_TRUE(manager->enableUpload());
    EXPECT_TRUE(manager->isUploadEnabled());
    EXPECT_EQ(wrenLoggerCallSequence(),
              (Calls{DisableUpload, IsUploadEnabled, EnableUpload, IsUploadEnabled}));
}

// A changed token switches the endpoint; once a manager has uploaded, the switch also restarts
// the logger and lets it settle for a second. An unchanged token makes no endpoint call.
TEST_F(UploadControlTest, TokenChangesSwitchTheEndpointAndRestartOnlyAfterAnUpload) {
    telemetry::host::setWrenLoggerUploadResult(false);
    EXPECT_EQ(uploadWith(*manager, ""), Calls{TriggerUpload});
    EXPECT_EQ(uploadWith(*manager, "tok"),
              (Calls{SetLoggingEndpointURLString, SetSandboxAtodTokenString, RestartWrenLogger,
                     TriggerUpload}));
    EXPECT_EQ(uploadWith(*manager, "tok"), Calls{TriggerUpload});
    GateManager second(cache);
    EXPECT_EQ(uploadWith(second, "tok"),
              (Calls{SetLoggingEndpointURLString, SetSandboxAtodTokenString, TriggerUpload}));
    EXPECT_EQ(uploadWith(second, ""), (Calls{SetLoggingEndpointURLString, SetSandboxAtodTokenString,
                                             RestartWrenLogger, TriggerUpload}));

    EXPECT_EQ(settleWaits, (std::vector<std::pair<std::chrono::nanoseconds, size_t>>{
                                   {std::chrono::seconds(1), 4u}, {std::chrono::seconds(1), 12u}}));
    const auto logger = telemetry::host::snapshotWrenLogger();
    const std::pair<size_t, const char*> arguments[] = {{1, kOnDemandLoggingEndpoint},   {2, "tok"},
                                                        {6, kOnDemandLoggingEndpoint},   {7, "tok"},
                                                        {9, kProductionLoggingEndpoint}, {10, ""}};
    for (const auto& [index, argument] : arguments) {
        EXPECT_EQ(logger.calls.at(index).argument, argument) << index;
    }
    EXPECT_EQ(logger.restartCount, 2);
    EXPECT_EQ(results, std::vector<bool>(5, false));
}

TEST_F(UploadControlTest, SessionIdIsFetchedOnce) {
    telemetry::host::setWrenLoggerSessionId("session-1");
    EXPECT_EQ(manager->getNTSessionId(), "session-1");
    telemetry::host::setWrenLoggerSessionId("session-2");
    EXPECT_EQ(manager->getNTSessionId(), "session-1");
    EXPECT_EQ(wrenLoggerCallSequence(), Calls{GetSessionId});
}

}  // namespace
}  // namespace gatestest
