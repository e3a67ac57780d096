#include "GatesTestSupport.h"

#include <LogCapture.h>

#include <android/log.h>

namespace gatestest {
namespace {

TEST_F(GatesTest, EveryGateReadsItsOwnProperty) {
    for (const GateRow& target : gateRows()) {
        setAllGateProperties("");
        hostproperties::setProperty(target.property, "true");
        GateManager fresh(std::make_shared<FakeStorageCache>());
        for (const GateRow& row : gateRows()) {
            EXPECT_EQ(fresh.getGKFlag(row.constant), row.constant == target.constant)
                    << "querying " << row.constant << " with " << target.property << " set";
        }
    }
}

TEST_F(GatesTest, InitialisationMirrorsEveryGateIntoTheStore) {
    setAllGateProperties("");
    hostproperties::setProperty(gateRows()[4].property, "1");
    manager->initializeGKs();
    for (const GateRow& row : gateRows()) {
        const bool on = row.constant == gk::EnableTelemetryHistoryStore;
        EXPECT_EQ(stored(row.constant), on ? "1" : "0") << row.constant;
        EXPECT_EQ(manager->getGKFlag(row.constant), on) << row.constant;
    }
}

TEST_F(GatesTest, LiveGatesFollowTheirPropertyWhileOthersKeepTheLastRefresh) {
    setAllGateProperties("");
    manager->initializeGKs();
    setAllGateProperties("1");
    for (const GateRow& row : gateRows()) {
        EXPECT_EQ(manager->getGKFlag(row.constant), row.live) << row.constant;
        // A live gate that changed is mirrored at once.
        EXPECT_EQ(stored(row.constant), row.live ? "1" : "0") << row.constant;
    }

    // A cleared or unparsable property keeps the last value seen.
    setAllGateProperties("");
    hostproperties::setProperty(gateRows()[5].property, "maybe");
    for (const GateRow& row : gateRows()) EXPECT_EQ(manager->getGKFlag(row.constant), row.live);

    setAllGateProperties("0");
    EXPECT_TRUE(manager->updateGkValues());
    for (const GateRow& row : gateRows()) {
        EXPECT_FALSE(manager->getGKFlag(row.constant)) << row.constant;
        EXPECT_EQ(stored(row.constant), "0");
    }
}

TEST_F(GatesTest, UnchangedLiveGateWritesNothing) {
    setAllGateProperties("");
    hostproperties::setProperty(gateRows()[6].property, "1");
    manager->initializeGKs();
    cache->clearCalls();
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(manager->getGKFlag(gk::EnableStatsdVerification));
    EXPECT_EQ(cache->countCalls("set"), 0u);
}

TEST_F(GatesTest, TextCopyOfALiveGateIsAnsweredFromTheCache) {
    setAllGateProperties("");
    manager->initializeGKs();
    const std::string copy = gk::EnableStatsdVerification;
    hostproperties::setProperty(gateRows()[6].property, "1");
    EXPECT_FALSE(manager->getGKFlag(copy.c_str()));
    EXPECT_TRUE(manager->getGKFlag(gk::EnableStatsdVerification));
    EXPECT_TRUE(manager->getGKFlag(copy.c_str()));
}

TEST_F(GatesTest, UnknownNamesAreFalse) {
    setAllGateProperties("1");
    EXPECT_FALSE(manager->getGKFlag("no_such_gate"));
    EXPECT_FALSE(manager->getGKFlag(""));
    EXPECT_FALSE(manager->getGKFlag(nullptr));
    EXPECT_FALSE(manager->getGKFlag("no_such_gate"));
}

TEST_F(GatesTest, RefusedStoreWritesAreLoggedAndValuesKept) {
    testsupport::LogCapture logs;
    setAllGateProperties("1");
    cache->refuseWrites(true);
    manager->initializeGKs();
    for (const GateRow& row : gateRows()) {
        EXPECT_EQ(logs.count(ANDROID_LOG_ERROR, "telemetry",
                             std::string("Failed to cache ") + row.constant + " value to kvstore"),
                  1u);
        EXPECT_TRUE(manager->getGKFlag(row.constant));
    }
}

TEST_F(GatesTest, InitialisationHappensOnce) {
    setAllGateProperties("");
    EXPECT_TRUE(manager->initializeGKs());
    cache->clearCalls();
    setAllGateProperties("1");
    EXPECT_TRUE(manager->initializeGKs());
    EXPECT_EQ(cache->countCalls("set") + cache->countCalls("get"), 0u);
    EXPECT_FALSE(manager->getGKFlag(gk::EnableIntakeMonitor));
}

// The build type is read once per process; each test case runs in a process of its own.
TEST(UserDevBuildTest, OtherBuildTypesAreDevBuildsAndTheAnswerIsFixed) {
    hostproperties::setProperty("ro.build.type", "userdebug");
    GateManager manager(std::make_shared<FakeStorageCache>());
    EXPECT_TRUE(manager.getIsUserDevBuild());
    hostproperties::setProperty("ro.build.type", "user");
    EXPECT_TRUE(manager.getIsUserDevBuild());
}

TEST(UserDevBuildTest, UserBuildIsNotADevBuild) {
    hostproperties::setProperty("ro.build.type", "user");
    GateManager manager(std::make_shared<FakeStorageCache>());
    EXPECT_FALSE(manager.getIsUserDevBuild());
    hostproperties::setProperty("ro.build.type", "eng");
    EXPECT_FALSE(manager.getIsUserDevBuild());
}

TEST(UserDevBuildTest, UnsetBuildTypeCountsAsUser) {
    hostproperties::setProperty("ro.build.type", "");
    GateManager manager(std::make_shared<FakeStorageCache>());
    EXPECT_FALSE(manager.getIsUserDevBuild());
}

}  // namespace
}  // namespace gatestest
