#include "GatesTestSupport.h"

#include <utility>

namespace gatestest {
namespace {

// The process-wide parse cache and travel-mode snapshot start empty in every case.
class LowLatencyTest : public GatesTest {
protected:
    void SetUp() override { Tamar::OS::Telemetry::resetLowLatencyStateForTesting(); }
};

TEST_F(LowLatencyTest, ParsesNameCommaValueItems) {
    // Only the exact word "true" is true; a second comma belongs to the value word.
    const std::pair<const char*, LowLatencyOverrideMap> cases[] = {
            {"a,true;b,false;c", {{"a", true}, {"b", false}}},
            {",true", {{"", true}}},
            {"a,true;a,false", {{"a", false}}},
            {"", {}},
            {"a,TRUE;b,1;c,true ;d,true,x;e,;f, true",
             {{"a", false}, {"b", false}, {"c", false}, {"d", false}, {"e", false}, {"f", false}}},
    };
    for (const auto& [text, overrides] : cases) {
        EXPECT_EQ(manager->parseLowLatencyMapFromString(text), overrides) << text;
    }
}

// With no remote value anywhere travel mode brings its default list; stored strings are parsed
// at initialisation.
TEST_F(LowLatencyTest, TravelDefaultsApplyUntilStoredStringsAreFound) {
    EXPECT_TRUE(manager->getLowLatencyOverrideList().empty());
    manager->setTravelModeEnabled(true);
    const auto travel = manager->getLowLatencyOverrideList();
    EXPECT_EQ(travel.size(), 18u);
    for (const auto& [name, value] : travel) EXPECT_TRUE(value) << name;
    EXPECT_TRUE(travel.contains("iot_lost_tracking"));
    manager->setTravelModeEnabled(false);
    EXPECT_TRUE(manager->getLowLatencyOverrideList().empty());
    EXPECT_EQ(cache->stored(kQosOverrideKey), std::nullopt);

    Tamar::OS::Telemetry::resetLowLatencyStateForTesting();
    cache->put(kQosOverrideKey, "s,true");
    cache->put(kTravelModeOverrideKey, "u,true;s,false");
    GateManager restarted(cache);
    restarted.setTravelModeEnabled(true);
    EXPECT_EQ(restarted.getLowLatencyOverrideList(),
              (LowLatencyOverrideMap{{"s", true}, {"u", true}}));
}

// Setting an override replaces the parsed map only; the stored remote string stays as it was.
TEST_F(LowLatencyTest, QosWinsOverTravelWhoseSnapshotIsFrozenAtFirstUse) {
    manager->initializeGKs();
    cache->clearCalls();
    manager->setLowLatencyOverrideSettings("some_other_key", "z,true");
    manager->setLowLatencyOverrideSettings(kQosOverrideKey, "x,false;q,true");
    manager->setLowLatencyOverrideSettings(kTravelModeOverrideKey, "x,true;y,true");
    EXPECT_EQ(cache->countCalls("set"), 0u);
    EXPECT_EQ(manager->getLowLatencyOverrideList(),
              (LowLatencyOverrideMap{{"x", false}, {"q", true}}));
    manager->setTravelModeEnabled(true);
    EXPECT_EQ(manager->getLowLatencyOverrideList(),
              (LowLatencyOverrideMap{{"x", false}, {"q", true}, {"y", true}}));

    manager->setLowLatencyOverrideSettings(kTravelModeOverrideKey, "t2,true");
    manager->setLowLatencyOverrideSettings(kQosOverrideKey, "q,false");
    EXPECT_EQ(manager->getLowLatencyOverrideList(),
              (LowLatencyOverrideMap{{"x", true}, {"y", true}, {"q", false}}));

    // The snapshot belongs to the process, not to the instance.
    GateManager other(std::make_shared<FakeStorageCache>());
    other.initializeGKs();
    other.setTravelModeEnabled(true);
    EXPECT_EQ(other.getLowLatencyOverrideList(), (LowLatencyOverrideMap{{"x", true}, {"y", true}}));
}

}  // namespace
}  // namespace gatestest
