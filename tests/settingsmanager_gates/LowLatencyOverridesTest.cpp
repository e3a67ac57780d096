#include "GatesTestSupport.h"

#include <telemetry/settingsmanager/RemoteConfigKeys.h>

// Each test case runs in a process of its own, so the process-wide parse cache and
// travel-mode snapshot start empty in every one.

namespace gatestest {
namespace {

using Tamar::OS::Telemetry::kQosOverrideKey;
using Tamar::OS::Telemetry::kTravelModeOverrideKey;
using Tamar::OS::Telemetry::lowLatencyParseCount;

using LowLatencyTest = GatesTest;

TEST_F(LowLatencyTest, ParsesNameCommaValueItems) {
    EXPECT_EQ(manager->parseLowLatencyMapFromString("a,true;b,false;c"),
              (LowLatencyOverrideMap{{"a", true}, {"b", false}}));
    EXPECT_EQ(manager->parseLowLatencyMapFromString(",true"), (LowLatencyOverrideMap{{"", true}}));
    EXPECT_EQ(manager->parseLowLatencyMapFromString("a,true;a,false"),
              (LowLatencyOverrideMap{{"a", false}}));
    EXPECT_EQ(manager->parseLowLatencyMapFromString(""), LowLatencyOverrideMap{});
    // Only the exact word "true" is true; a second comma belongs to the value word.
    EXPECT_EQ(
            manager->parseLowLatencyMapFromString("a,TRUE;b,1;c,true ;d,true,x;e,;f, true;g,true"),
            (LowLatencyOverrideMap{{"a", false},
                                   {"b", false},
                                   {"c", false},
                                   {"d", false},
                                   {"e", false},
                                   {"f", false},
                                   {"g", true}}));
}

TEST_F(LowLatencyTest, SameTextIsParsedOnceAndChangesAreParsedAgain) {
    const size_t before = lowLatencyParseCount();
    const auto first = manager->parseLowLatencyMapFromString("x,true");
    EXPECT_EQ(manager->parseLowLatencyMapFromString("x,true"), first);
    EXPECT_EQ(lowLatencyParseCount(), before + 1);

    manager->parseLowLatencyMapFromString("y,true");
    EXPECT_EQ(manager->parseLowLatencyMapFromString("x,true"), first);
    EXPECT_EQ(lowLatencyParseCount(), before + 3);

    // The cache is shared by every instance.
    GateManager other(std::make_shared<FakeStorageCache>());
    EXPECT_EQ(other.parseLowLatencyMapFromString("x,true"), first);
    EXPECT_EQ(lowLatencyParseCount(), before + 3);
}

TEST_F(LowLatencyTest, AllowListIsTheTwoFixedNames) {
    EXPECT_EQ(manager->getLowLatencyAllowList(),
              (std::unordered_set<std::string>{"$session_transition", "halcyon_time_spent_event"}));
}

TEST_F(LowLatencyTest, NoRemoteValuesAnywhereGivesDefaultTravelOverridesOnly) {
    const auto overrides = manager->getLowLatencyOverrideList();
    EXPECT_TRUE(overrides.empty());
    EXPECT_EQ(stored(kQosOverrideKey), std::nullopt);

    manager->setTravelModeEnabled(true);
    const auto travel = manager->getLowLatencyOverrideList();
    EXPECT_EQ(travel.size(), 18u);
    for (const auto& [name, value] : travel) EXPECT_TRUE(value) << name;
    for (const char* name :
         {"iot_lost_tracking", "hybrid_tracking_periodic", "halcyon_time_spent_event"}) {
        EXPECT_TRUE(travel.contains(name)) << name;
    }

    manager->setTravelModeEnabled(false);
    EXPECT_TRUE(manager->getLowLatencyOverrideList().empty());
}

TEST_F(LowLatencyTest, QosOverridesWinOverTravelOverrides) {
    manager->initializeGKs();
    manager->setLowLatencyOverrideSettings(kQosOverrideKey, "x,false;q,true");
    manager->setLowLatencyOverrideSettings(kTravelModeOverrideKey, "x,true;y,true");
    EXPECT_EQ(manager->getLowLatencyOverrideList(),
              (LowLatencyOverrideMap{{"x", false}, {"q", true}}));
    manager->setTravelModeEnabled(true);
    EXPECT_EQ(manager->getLowLatencyOverrideList(),
              (LowLatencyOverrideMap{{"x", false}, {"q", true}, {"y", true}}));
}

TEST_F(LowLatencyTest, TravelSnapshotIsFrozenAfterFirstUse) {
    manager->initializeGKs();
    manager->setLowLatencyOverrideSettings(kTravelModeOverrideKey, "t1,true");
    manager->setTravelModeEnabled(true);
    EXPECT_EQ(manager->getLowLatencyOverrideList(), (LowLatencyOverrideMap{{"t1", true}}));

    manager->setLowLatencyOverrideSettings(kTravelModeOverrideKey, "t2,true");
    manager->setLowLatencyOverrideSettings(kQosOverrideKey, "q,false");
    EXPECT_EQ(manager->getLowLatencyOverrideList(),
              (LowLatencyOverrideMap{{"t1", true}, {"q", false}}));

    // The snapshot belongs to the process, not to the instance.
    GateManager other(std::make_shared<FakeStorageCache>());
    other.initializeGKs();
    other.setTravelModeEnabled(true);
    EXPECT_EQ(other.getLowLatencyOverrideList(), (LowLatencyOverrideMap{{"t1", true}}));
}

TEST_F(LowLatencyTest, StoredOverrideStringsAreParsedAtInitialisation) {
    store(kQosOverrideKey, "s,true");
    store(kTravelModeOverrideKey, "u,true;s,false");
    manager->setTravelModeEnabled(true);
    EXPECT_EQ(manager->getLowLatencyOverrideList(),
              (LowLatencyOverrideMap{{"s", true}, {"u", true}}));
}

TEST_F(LowLatencyTest, SettingAnOverrideLeavesTheRemoteStringAlone) {
    manager->initializeGKs();
    cache->clearCalls();
    manager->setLowLatencyOverrideSettings("some_other_key", "a,true");
    manager->setLowLatencyOverrideSettings(kQosOverrideKey, "a,true");
    EXPECT_EQ(cache->countCalls("set"), 0u);
    EXPECT_EQ(manager->getLowLatencyOverrideList(), (LowLatencyOverrideMap{{"a", true}}));
}

}  // namespace
}  // namespace gatestest
