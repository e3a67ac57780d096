#include <wrenlogger/HostWrenLoggerRecorder.h>
#include <wrenlogger/WrenLoggerWrapper.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

using telemetry::WrenLoggerWrapper;
using telemetry::host::WrenLoggerCall;
using ::testing::ElementsAre;

class WrenLoggerRecorderTest : public ::testing::Test {
protected:
    void SetUp() override { telemetry::host::resetWrenLogger(); }
};

struct UploadOutcome {
    int calls = 0;
    bool result = false;
};

void recordOutcome(void* context, bool result) {
    auto* outcome = static_cast<UploadOutcome*>(context);
    ++outcome->calls;
    outcome->result = result;
}

TEST_F(WrenLoggerRecorderTest, RecordsEveryCallInOrderWithItsArgument) {
    auto& logger = WrenLoggerWrapper::instance();
    logger.setLoggingEndpointURLString("https://ondemand.example/heron_nest");
    logger.setSandboxAtodTokenString("tok");
    logger.restartWrenLogger();
    logger.triggerUpload(nullptr, nullptr);
    logger.disableUpload();
    EXPECT_FALSE(logger.isUploadEnabled());
    logger.enableUpload();
    EXPECT_TRUE(logger.isUploadEnabled());
    logger.getSessionId();

    EXPECT_THAT(telemetry::host::wrenLoggerCallSequence(),
                ElementsAre(WrenLoggerCall::SetLoggingEndpointURLString,
                            WrenLoggerCall::SetSandboxAtodTokenString,
                            WrenLoggerCall::RestartWrenLogger, WrenLoggerCall::TriggerUpload,
                            WrenLoggerCall::DisableUpload, WrenLoggerCall::IsUploadEnabled,
                            WrenLoggerCall::EnableUpload, WrenLoggerCall::IsUploadEnabled,
                            WrenLoggerCall::GetSessionId));
    auto snapshot = telemetry::host::snapshotWrenLogger();
    EXPECT_EQ(snapshot.endpointUrl, "https://ondemand.example/heron_nest");
    EXPECT_EQ(snapshot.token, "tok");
    EXPECT_EQ(snapshot.restartCount, 1);
    EXPECT_EQ(snapshot.triggerCount, 1);
    EXPECT_TRUE(snapshot.uploadEnabled);
    EXPECT_EQ(snapshot.calls[0].argument, "https://ondemand.example/heron_nest");
    EXPECT_EQ(snapshot.calls[1].argument, "tok");
    EXPECT_EQ(snapshot.calls[2].argument, "");
    for (size_t i = 1; i < snapshot.calls.size(); ++i)
        EXPECT_LE(snapshot.calls[i - 1].at, snapshot.calls[i].at);
}

TEST_F(WrenLoggerRecorderTest, TriggerUploadCallsBackSynchronouslyWithConfiguredResult) {
    UploadOutcome outcome;
    WrenLoggerWrapper::instance().triggerUpload(&outcome, &recordOutcome);
    EXPECT_EQ(outcome.calls, 1);
    EXPECT_TRUE(outcome.result);

    telemetry::host::setWrenLoggerUploadResult(false);
    WrenLoggerWrapper::instance().triggerUpload(&outcome, &recordOutcome);
    EXPECT_EQ(outcome.calls, 2);
    EXPECT_FALSE(outcome.result);
    EXPECT_EQ(telemetry::host::snapshotWrenLogger().triggerCount, 2);
}

void triggerAgainFromCallback(void* context, bool) {
    auto* depth = static_cast<int*>(context);
    if (++*depth < 2)
        WrenLoggerWrapper::instance().triggerUpload(context, &triggerAgainFromCallback);
}

TEST_F(WrenLoggerRecorderTest, CallbackMayCallBackIntoTheWrapper) {
    int depth = 0;
    WrenLoggerWrapper::instance().triggerUpload(&depth, &triggerAgainFromCallback);
    EXPECT_EQ(depth, 2);
    EXPECT_EQ(telemetry::host::snapshotWrenLogger().triggerCount, 2);
}

TEST_F(WrenLoggerRecorderTest, SessionIdDefaultsToOneUuidPerProcessAndCanBeSet) {
    const std::string first = WrenLoggerWrapper::instance().getSessionId().data();
    EXPECT_EQ(first.size(), 36u);
    EXPECT_EQ(first, WrenLoggerWrapper::instance().getSessionId().data());

    telemetry::host::setWrenLoggerSessionId("host-session");
    EXPECT_STREQ(WrenLoggerWrapper::instance().getSessionId().data(), "host-session");

    telemetry::host::resetWrenLogger();
    EXPECT_EQ(first, WrenLoggerWrapper::instance().getSessionId().data());
}

TEST_F(WrenLoggerRecorderTest, ResetForgetsCallsAndRestoresDefaults) {
    auto& logger = WrenLoggerWrapper::instance();
    logger.setLoggingEndpointURLString("u");
    logger.setSandboxAtodTokenString("t");
    logger.restartWrenLogger();
    logger.disableUpload();
    telemetry::host::setWrenLoggerUploadResult(false);

    telemetry::host::resetWrenLogger();

    auto snapshot = telemetry::host::snapshotWrenLogger();
    EXPECT_TRUE(snapshot.calls.empty());
    EXPECT_FALSE(snapshot.endpointUrl.has_value());
    EXPECT_FALSE(snapshot.token.has_value());
    // An empty token is a token that was set, unlike one never set.
    logger.setSandboxAtodTokenString("");
    EXPECT_EQ(telemetry::host::snapshotWrenLogger().token, "");
    EXPECT_EQ(snapshot.restartCount, 0);
    EXPECT_TRUE(snapshot.uploadEnabled);
    UploadOutcome outcome;
    logger.triggerUpload(&outcome, &recordOutcome);
    EXPECT_TRUE(outcome.result);
}

TEST_F(WrenLoggerRecorderTest, ConcurrentCallsAreAllRecorded) {
    constexpr int kThreads = 4;
    constexpr int kCallsPerThread = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < kCallsPerThread; ++i) {
                WrenLoggerWrapper::instance().triggerUpload(nullptr, nullptr);
                telemetry::host::snapshotWrenLogger();
            }
        });
    }
    for (auto& thread : threads) thread.join();
    auto snapshot = telemetry::host::snapshotWrenLogger();
    EXPECT_EQ(snapshot.triggerCount, kThreads * kCallsPerThread);
    EXPECT_EQ(snapshot.calls.size(), static_cast<size_t>(kThreads * kCallsPerThread));
}

}  // namespace
