#include "GatesTestSupport.h"

#include <LogCapture.h>

#include <android/log.h>

#include <cstdlib>
#include <utility>

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

// One manager's life: mirrored initialisation, live re-reads against cached values, refresh.
TEST_F(GatesTest, LiveGatesFollowTheirPropertyWhileOthersKeepTheLastRefresh) {
    const auto expectGates = [this](bool liveOn, bool historyOn, const char* why) {
        for (const GateRow& row : gateRows()) {
            const bool on = row.live ? liveOn : historyOn && row.constant == gateRows()[4].constant;
            EXPECT_EQ(manager->getGKFlag(row.constant), on) << why << ": " << row.constant;
            EXPECT_EQ(cache->stored(row.constant), on ? "1" : "0") << why << ": " << row.constant;
        }
    };
    setAllGateProperties("");
    hostproperties::setProperty(gateRows()[4].property, "1");
    EXPECT_TRUE(manager->initializeGKs());
    expectGates(false, true, "initialised");

    // A second initialisation neither reads nor writes the store.
    cache->clearCalls();
    setAllGateProperties("1");
    EXPECT_TRUE(manager->initializeGKs());
    EXPECT_TRUE(cache->calls().empty());
    // A live gate that changed is mirrored at once; the others keep the last refresh.
    expectGates(true, true, "properties set");
    for (const char* unknown : {"no_such_gate", "", static_cast<const char*>(nullptr)}) {
        EXPECT_FALSE(manager->getGKFlag(unknown));
    }

    // Cleared or unparsable properties keep the last value and write nothing.
    cache->clearCalls();
    setAllGateProperties("");
    hostproperties::setProperty(gateRows()[5].property, "maybe");
    expectGates(true, true, "cleared");
    EXPECT_EQ(cache->countCalls("set"), 0u);

    setAllGateProperties("0");
    EXPECT_TRUE(manager->updateGkValues());
    expectGates(false, false, "refreshed");
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

// The build type is read once per process, so each case asks in a child process of its own;
// a later, opposite build type must not change the answer.
TEST(UserDevBuildTest, OnlyAUserOrUnsetBuildTypeIsNotADevBuild) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::pair<const char*, bool> cases[] = {{"userdebug", true}, {"user", false}, {"", false}};
    for (const auto& [buildType, devBuild] : cases) {
        EXPECT_EXIT(
                {
                    hostproperties::setProperty("ro.build.type", buildType);
                    GateManager manager(std::make_shared<FakeStorageCache>());
                    const bool first = manager.getIsUserDevBuild();
                    hostproperties::setProperty("ro.build.type", first ? "user" : "eng");
                    std::_Exit(first == devBuild && manager.getIsUserDevBuild() == first ? 0 : 1);
                },
                ::testing::ExitedWithCode(0), "")
                << buildType;
    }
}

}  // namespace
}  // namespace gatestest
