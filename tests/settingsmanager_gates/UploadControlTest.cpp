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
using telemetry::host::WrenLoggerCall;
using telemetry::host::wrenLoggerCallSequence;
using Calls = std::vector<WrenLoggerCall>;

constexpr char kTokenProperty[] = "diagnostics.debug.ondemand_token";

// Each settle wait an upload asked for: its length and how many logger calls preceded it.
std::vector<std::pair<std::chrono::nanoseconds, size_t>> settleWaits;

class UploadControlTest : public GatesTest {
protected:
    void SetUp() override {
        hostproperties::setProperty(kTokenProperty, "");
        telemetry::host::resetWrenLogger();
        settleWaits.clear();
        setRestartSettleWaitForTesting([](std::chrono::nanoseconds settle) {
            settleWaits.emplace_back(settle, wrenLoggerCallSequence().size());
        });
    }
    void TearDown() override { setRestartSettleWaitForTesting(nullptr); }
    void upload() {
        manager->triggerUpload(&results, [](void* context, bool result) {
            static_cast<std::vector<bool>*>(context)->push_back(result);
        });
    }

    std::vector<bool> results;
};

TEST_F(UploadControlTest, LockedStateRefusesBothSwitches) {
    testsupport::LogCapture logs;
    manager->lockUploadState();
    EXPECT_FALSE(manager->enableUpload());
    EXPECT_FALSE(manager->disableUpload());
    EXPECT_EQ(logs.count(ANDROID_LOG_DEBUG, "telemetry", "Upload state locked, not enabling upload"),
              1u);
    EXPECT_EQ(
            logs.count(ANDROID_LOG_DEBUG, "telemetry", "Upload state locked, not disabling upload"),
            1u);
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
              (Calls{WrenLoggerCall::DisableUpload, WrenLoggerCall::IsUploadEnabled,
                     WrenLoggerCall::EnableUpload, WrenLoggerCall::IsUploadEnabled}));
}

TEST_F(UploadControlTest, TokenBeforeTheFirstUploadSwitchesWithoutRestartAndOnlyOnce) {
    hostproperties::setProperty(kTokenProperty, "tok");
    upload();
    const auto logger = telemetry::host::snapshotWrenLogger();
    EXPECT_EQ(logger.endpointUrl, kOnDemandLoggingEndpoint);
    EXPECT_EQ(logger.token, "tok");
    EXPECT_EQ(logger.restartCount, 0);
    EXPECT_EQ(wrenLoggerCallSequence(),
              (Calls{WrenLoggerCall::SetLoggingEndpointURLString,
                     WrenLoggerCall::SetSandboxAtodTokenString, WrenLoggerCall::TriggerUpload}));

    // The same token again makes no endpoint call.
    telemetry::host::resetWrenLogger();
    upload();
    upload();
    EXPECT_EQ(wrenLoggerCallSequence(),
              (Calls{WrenLoggerCall::TriggerUpload, WrenLoggerCall::TriggerUpload}));
}

// A first upload without a token keeps the logger's defaults; later token changes switch the
// endpoint, restart the logger and let it settle for a second before the upload.
TEST_F(UploadControlTest, TokenChangesAfterAnUploadRestartAndWait) {
    telemetry::host::setWrenLoggerUploadResult(false);
    upload();
    hostproperties::setProperty(kTokenProperty, "tok");
    upload();
    hostproperties::setProperty(kTokenProperty, "");
    upload();

    using enum WrenLoggerCall;
    const auto logger = telemetry::host::snapshotWrenLogger();
    ASSERT_EQ(wrenLoggerCallSequence(),
              (Calls{TriggerUpload, SetLoggingEndpointURLString, SetSandboxAtodTokenString,
                     RestartWrenLogger, TriggerUpload, SetLoggingEndpointURLString,
                     SetSandboxAtodTokenString, RestartWrenLogger, TriggerUpload}));
    // A second's settling right after each restart.
    EXPECT_EQ(settleWaits, (std::vector<std::pair<std::chrono::nanoseconds, size_t>>{
                                   {std::chrono::seconds(1), 4u}, {std::chrono::seconds(1), 8u}}));
    EXPECT_EQ(logger.calls[1].argument, kOnDemandLoggingEndpoint);
    EXPECT_EQ(logger.calls[2].argument, "tok");
    EXPECT_EQ(logger.calls[5].argument, kProductionLoggingEndpoint);
    EXPECT_EQ(logger.calls[6].argument, "");
    EXPECT_EQ(logger.restartCount, 2);
    EXPECT_EQ(results, (std::vector<bool>{false, false, false}));
}

TEST_F(UploadControlTest, SessionIdIsFetchedOnce) {
    telemetry::host::setWrenLoggerSessionId("session-1");
    EXPECT_EQ(manager->getNTSessionId(), "session-1");
    telemetry::host::setWrenLoggerSessionId("session-2");
    EXPECT_EQ(manager->getNTSessionId(), "session-1");
    EXPECT_EQ(wrenLoggerCallSequence(), (Calls{WrenLoggerCall::GetSessionId}));
}

}  // namespace
}  // namespace gatestest
