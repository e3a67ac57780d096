#include "ManagerTestSupport.h"

#include <LogCapture.h>

#include <gmock/gmock.h>

namespace settingsmanagertest {
namespace {

using ::testing::UnorderedElementsAre;

TEST_F(ManagerTest, LogLevelIsStoredAsDecimalAndCachedOnlyAfterAWrite) {
    EXPECT_TRUE(manager->setTelemetryLogLevel(3));
    EXPECT_EQ(stored("loglevel"), "3");
    EXPECT_EQ(manager->getTelemetryLogLevel(), 3);

    EXPECT_TRUE(manager->setTelemetryLogLevel(-12));
    EXPECT_EQ(stored("loglevel"), "-12");
    EXPECT_EQ(manager->getTelemetryLogLevel(), -12);

    cache->refuseWrites(true);
    EXPECT_FALSE(manager->setTelemetryLogLevel(9));
    EXPECT_EQ(manager->getTelemetryLogLevel(), -12);
    EXPECT_EQ(stored("loglevel"), "-12");
}

TEST_F(ManagerTest, StoredLogLevelIsParsedLikeAtoi) {
    for (auto [text, level] : {std::pair{"abc", 0}, {"7", 7}, {"12abc", 12}, {" -4", -4}, {"", 0}}) {
        auto m = std::make_unique<TestableManager>(settings, cache, *settings);
        m->setHistoryStoreManager(histories);
        cache->put(Store::Shared, kStoreName, "loglevel", text);
        EXPECT_EQ(m->getTelemetryLogLevel(), level) << '"' << text << '"';
    }
}

TEST_F(ManagerTest, VerboseSwitchLivesUnderLogcatLevelAndOnlyExactVerboseIsOn) {
    EXPECT_TRUE(manager->setVerboseEnabled(true));
    EXPECT_EQ(stored("logcatlevel"), "verbose");
    EXPECT_TRUE(manager->isVerboseEnabled());
    EXPECT_EQ(stored("loglevel"), std::nullopt);  // independent of the numeric level

    EXPECT_TRUE(manager->setVerboseEnabled(false));
    EXPECT_EQ(stored("logcatlevel"), "");
    EXPECT_FALSE(manager->isVerboseEnabled());

    cache->refuseWrites(true);
    EXPECT_FALSE(manager->setVerboseEnabled(true));
    EXPECT_FALSE(manager->isVerboseEnabled());

    for (const char* text : {"VERBOSE", "verbose ", "verb", "1"}) {
        auto m = std::make_unique<TestableManager>(settings, cache, *settings);
        m->setHistoryStoreManager(histories);
        cache->put(Store::Shared, kStoreName, "logcatlevel", text);
        EXPECT_FALSE(m->isVerboseEnabled()) << text;
    }
}

TEST_F(ManagerTest, ClockCorrectionFlagsAreReadFromTheStoreOnEveryCall) {
    struct Flag {
        const char* key;
        bool (TelemetrySettingsManager::*get)();
        bool (TelemetrySettingsManager::*set)(bool);
    };
    for (const Flag& f :
         {Flag{"clockadjusted", &TelemetrySettingsManager::getTelemetryClockAdjusted,
               &TelemetrySettingsManager::setTelemetryClockAdjusted},
          Flag{"adjustedcachetime", &TelemetrySettingsManager::getTelemetryAdjustedCacheTime,
               &TelemetrySettingsManager::setTelemetryAdjustedCacheTime}}) {
        SCOPED_TRACE(f.key);
        EXPECT_FALSE((*manager.*f.get)());
        EXPECT_TRUE((*manager.*f.set)(true));
        EXPECT_EQ(stored(f.key), "1");
        EXPECT_TRUE((*manager.*f.get)());
        EXPECT_TRUE((*manager.*f.set)(false));
        EXPECT_EQ(stored(f.key), "0");
        EXPECT_FALSE((*manager.*f.get)());

        // Another writer of the store is seen at once; any non-zero number is true.
        cache->put(Store::Shared, kStoreName, f.key, "2");
        EXPECT_TRUE((*manager.*f.get)());
        cache->put(Store::Shared, kStoreName, f.key, "yes");
        EXPECT_FALSE((*manager.*f.get)());

        cache->refuseWrites(true);
        EXPECT_FALSE((*manager.*f.set)(true));
        cache->refuseWrites(false);
    }
    // None of them synchronises.
    EXPECT_EQ(manager->initializeGKsCalls, 0);
}

TEST_F(ManagerTest, TimeDistanceIsASigned64BitDecimal) {
    EXPECT_EQ(manager->getTelemetryTimeDistance(), 0);
    EXPECT_TRUE(manager->setTelemetryTimeDistance(-7));
    EXPECT_EQ(stored("timedistance"), "-7");
    EXPECT_EQ(manager->getTelemetryTimeDistance(), -7);
    EXPECT_TRUE(manager->setTelemetryTimeDistance(9000000000L));
    EXPECT_EQ(manager->getTelemetryTimeDistance(), 9000000000L);
    cache->put(Store::Shared, kStoreName, "timedistance", "junk");
    EXPECT_EQ(manager->getTelemetryTimeDistance(), 0);
    cache->refuseWrites(true);
    EXPECT_FALSE(manager->setTelemetryTimeDistance(5));
    EXPECT_EQ(manager->initializeGKsCalls, 0);
}

TEST_F(ManagerTest, EventNameFilterHoldsEachNameOnce) {
    manager->clearTelemetryEventNameFilter();  // harmless when empty
    EXPECT_TRUE(manager->getTelemetryEventNameFilter().empty());
    EXPECT_TRUE(manager->addTelemetryEventNameFilter("a"));
    EXPECT_FALSE(manager->addTelemetryEventNameFilter("a"));
    EXPECT_TRUE(manager->addTelemetryEventNameFilter("b"));
    EXPECT_THAT(manager->getTelemetryEventNameFilter(), UnorderedElementsAre("a", "b"));
    manager->clearTelemetryEventNameFilter();
    EXPECT_TRUE(manager->getTelemetryEventNameFilter().empty());
    EXPECT_TRUE(cache->calls().empty());  // kept in memory only
}

TEST_F(ManagerTest, StatsdFrequencyRejectsValuesBelowOneSecond) {
    testsupport::LogCapture logs;
    EXPECT_EQ(manager->getStatsdCollectionFrequencySec(), 60);
    EXPECT_FALSE(manager->setStatsdCollectionFrequencySec(0));
    EXPECT_FALSE(manager->setStatsdCollectionFrequencySec(-1));
    EXPECT_EQ(manager->getStatsdCollectionFrequencySec(), 60);
    EXPECT_EQ(logs.count(ANDROID_LOG_ERROR, "telemetry", "Invalid frequencyInSec value 0"), 1u);
    EXPECT_EQ(logs.count(ANDROID_LOG_ERROR, "telemetry", "Invalid frequencyInSec value -1"), 1u);
    EXPECT_TRUE(manager->setStatsdCollectionFrequencySec(1));
    EXPECT_EQ(manager->getStatsdCollectionFrequencySec(), 1);
    EXPECT_TRUE(manager->setStatsdCollectionFrequencySec(86400 * 365));
    EXPECT_EQ(manager->getStatsdCollectionFrequencySec(), 86400 * 365);
}

TEST_F(ManagerTest, HistoryCleanupTimeoutIsHalfAnHour) {
    EXPECT_EQ(manager->getHistoryStoreCleanupTimeoutSec(), 1800);
}

}  // namespace
}  // namespace settingsmanagertest
