#include "GatesTestSupport.h"

#include <LogCapture.h>

#include <telemetry/settingsmanager/LoggingEndpoints.h>
#include <wrenlogger/HostWrenLoggerRecorder.h>

#include <android/log.h>

#include <chrono>
#include <vector>

namespace gatestest {
namespace {

using Tamar::OS::Telemetry::kOnDemandLoggingEndpoint;
using Tamar::OS::Telemetry::kProductionLoggingEndpoint;
using telemetry::host::WrenLoggerCall;
using Calls = std::vector<WrenLoggerCall>;

constexpr char kTokenProperty[] = "diagnostics.debug.ondemand_token";

class UploadControlTest : public GatesTest {
protected:
    void SetUp() override {
        GatesTest::SetUp();
        hostproperties::setProperty(kTokenProperty, "");
        telemetry::host::resetWrenLogger();
    }
    void upload() { manager->triggerUpload(&results, &UploadControlTest::onUploaded); }

    static void onUploaded(void* context, bool result) {
        static_cast<std::vector<bool>*>(context)->push_back(result);
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
    EXPECT_TRUE(telemetry::host::wrenLoggerCallSequence().empty());

    manager->unlockUploadState();
    EXPECT_TRUE(manager->disableUpload());
    EXPECT_FALSE(manager->isUploadEnabled());
    // The lock does not hide the logger's state.
    manager->lockUploadState();
    EXPECT_FALSE(manager->isUploadEnabled());
    manager->unlockUploadState();
    EXPECT_TRUE(manager->enableUpload());
    EXPECT_TRUE(manager->isUploadEnabled());
    EXPECT_EQ(telemetry::host::wrenLoggerCallSequence(),
              (Calls{WrenLoggerCall::DisableUpload, WrenLoggerCall::IsUploadEnabled,
                     WrenLoggerCall::IsUploadEnabled, WrenLoggerCall::EnableUpload,
                     WrenLoggerCall::IsUploadEnabled}));
}

TEST_F(UploadControlTest, FirstUploadWithoutTokenKeepsTheLoggersDefaults) {
    telemetry::host::setWrenLoggerUploadResult(false);
    upload();
    upload();
    EXPECT_EQ(telemetry::host::wrenLoggerCallSequence(),
              (Calls{WrenLoggerCall::TriggerUpload, WrenLoggerCall::TriggerUpload}));
    EXPECT_EQ(results, (std::vector<bool>{false, false}));
}

TEST_F(UploadControlTest, TokenBeforeTheFirstUploadSwitchesWithoutRestart) {
    hostproperties::setProperty(kTokenProperty, "tok");
    upload();
    const auto logger = telemetry::host::snapshotWrenLogger();
    EXPECT_EQ(logger.endpointUrl, kOnDemandLoggingEndpoint);
    EXPECT_EQ(logger.token, "tok");
    EXPECT_EQ(logger.restartCount, 0);
    EXPECT_EQ(telemetry::host::wrenLoggerCallSequence(),
              (Calls{WrenLoggerCall::SetLoggingEndpointURLString,
                     WrenLoggerCall::SetSandboxAtodTokenString, WrenLoggerCall::TriggerUpload}));
}

TEST_F(UploadControlTest, TokenChangesBetweenUploadsRestartAndWait) {
    upload();
    hostproperties::setProperty(kTokenProperty, "tok");
    upload();
    hostproperties::setProperty(kTokenProperty, "");
    upload();

    const auto logger = telemetry::host::snapshotWrenLogger();
    ASSERT_EQ(logger.calls.size(), 9u);
    const Calls switchAndRestart = {
            WrenLoggerCall::SetLoggingEndpointURLString, WrenLoggerCall::SetSandboxAtodTokenString,
            WrenLoggerCall::RestartWrenLogger, WrenLoggerCall::TriggerUpload};
    for (size_t first : {1u, 5u}) {
        for (size_t i = 0; i < switchAndRestart.size(); ++i) {
            EXPECT_EQ(logger.calls[first + i].call, switchAndRestart[i]) << first + i;
        }
        // The restarted logger gets a second before the upload.
        EXPECT_GE(logger.calls[first + 3].at - logger.calls[first + 2].at, std::chrono::seconds(1));
    }
    EXPECT_EQ(logger.calls[1].argument, kOnDemandLoggingEndpoint);
    EXPECT_EQ(logger.calls[2].argument, "tok");
    EXPECT_EQ(logger.calls[5].argument, kProductionLoggingEndpoint);
    EXPECT_EQ(logger.calls[6].argument, "");
    EXPECT_EQ(logger.restartCount, 2);
    EXPECT_EQ(results.size(), 3u);
}

TEST_F(UploadControlTest, SameTokenTwiceMakesNoEndpointCall) {
    hostproperties::setProperty(kTokenProperty, "tok");
    upload();
    telemetry::host::resetWrenLogger();
    upload();
    upload();
    EXPECT_EQ(telemetry::host::wrenLoggerCallSequence(),
              (Calls{WrenLoggerCall::TriggerUpload, WrenLoggerCall::TriggerUpload}));
}

TEST_F(UploadControlTest, EndpointsAreSecureAndShareThePath) {
    for (const std::string url : {kProductionLoggingEndpoint, kOnDemandLoggingEndpoint}) {
        EXPECT_EQ(url.rfind("https://", 0), 0u) << url;
        EXPECT_EQ(url.substr(url.size() - 11), "/heron_nest") << url;
    }
    EXPECT_STRNE(kProductionLoggingEndpoint, kOnDemandLoggingEndpoint);
}

TEST_F(UploadControlTest, SessionIdIsFetchedOnce) {
    telemetry::host::setWrenLoggerSessionId("session-1");
    EXPECT_EQ(manager->getNTSessionId(), "session-1");
    telemetry::host::setWrenLoggerSessionId("session-2");
    EXPECT_EQ(manager->getNTSessionId(), "session-1");
    EXPECT_EQ(telemetry::host::wrenLoggerCallSequence(), (Calls{WrenLoggerCall::GetSessionId}));
}

}  // namespace
}  // namespace gatestest
