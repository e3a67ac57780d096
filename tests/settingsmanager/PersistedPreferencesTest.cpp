#include "ManagerTestSupport.h"

#include <LogCapture.h>

#include <cstdint>

namespace settingsmanagertest {
namespace {

// Every stored preference seen as an integer, so that one table covers them all. The first
// three are read from the store on every call without synchronising; the log level and the
// verbose switch once, at synchronisation.
enum Pref { Clock, CacheTime, Distance, Level, Verbose };
const char* const kKeys[] = {"clockadjusted", "adjustedcachetime", "timedistance", "loglevel",
                             "logcatlevel"};

using M = TelemetrySettingsManager;
int64_t (*const kGet[])(M&) = {[](M& m) -> int64_t { return m.getTelemetryClockAdjusted(); },
                               [](M& m) -> int64_t { return m.getTelemetryAdjustedCacheTime(); },
                               [](M& m) -> int64_t { return m.getTelemetryTimeDistance(); },
                               [](M& m) -> int64_t { return m.getTelemetryLogLevel(); },
                               [](M& m) -> int64_t { return m.isVerboseEnabled(); }};
bool (*const kSet[])(M&, int64_t) = {
        [](M& m, int64_t v) { return m.setTelemetryClockAdjusted(v != 0); },
        [](M& m, int64_t v) { return m.setTelemetryAdjustedCacheTime(v != 0); },
        [](M& m, int64_t v) { return m.setTelemetryTimeDistance(v); },
        [](M& m, int64_t v) { return m.setTelemetryLogLevel(static_cast<int>(v)); },
        [](M& m, int64_t v) { return m.setVerboseEnabled(v != 0); }};

TEST_F(ManagerTest, PreferencesAreWrittenInTheirEncodingAndReadBackOnlyAfterAWrite) {
    for (Pref p : {Clock, CacheTime, Distance, Level, Verbose}) EXPECT_EQ(kGet[p](*manager), 0);
    manager->initializeGKsCalls = 0;

    const struct {
        Pref pref;
        int64_t value;
        const char* text;
    } writes[] = {{Distance, 9000000000L, "9000000000"},
                  {Clock, 1, "1"},
                  {Clock, 0, "0"},
                  {CacheTime, 1, "1"},
                  {CacheTime, 0, "0"},
                  {Level, -12, "-12"},
                  {Verbose, 1, "verbose"},
                  {Verbose, 0, ""}};
    for (const auto& w : writes) {
        SCOPED_TRACE(w.text);
        cache->clearCalls();
        EXPECT_TRUE(kSet[w.pref](*manager, w.value));
        EXPECT_EQ(cache->stored(kKeys[w.pref]), w.text);
        EXPECT_EQ(kGet[w.pref](*manager), w.value);
        for (auto& call : cache->calls()) EXPECT_EQ(call.key, kKeys[w.pref]) << call.operation;
        EXPECT_TRUE(w.pref >= Level || manager->initializeGKsCalls == 0);
    }

    cache->refuseWrites(true);
    for (Pref p : {Clock, CacheTime, Distance, Level, Verbose}) {
        const auto before = kGet[p](*manager);
        const auto text = cache->stored(kKeys[p]);
        EXPECT_FALSE(kSet[p](*manager, before == 0)) << kKeys[p];
        EXPECT_EQ(kGet[p](*manager), before) << kKeys[p];
        EXPECT_EQ(cache->stored(kKeys[p]), text) << kKeys[p];
    }
}

// Numbers are parsed like atoi/atol; only the exact "verbose" is on. A store-read preference
// sees another writer of the store at once.
TEST_F(ManagerTest, StoredPreferencesAreParsedLeniently) {
    const struct {
        Pref pref;
        const char* text;
        int64_t value;
    } reads[] = {{Level, "12abc", 12},    {Level, " -4", -4},       {Level, "", 0},
                 {Verbose, "VERBOSE", 0}, {Verbose, "verbose ", 0}, {Verbose, "1", 0},
                 {Clock, "2", 1},         {CacheTime, "yes", 0},    {Distance, "junk", 0}};
    for (const auto& r : reads) {
        cache->put(kKeys[r.pref], r.text);
        auto fresh = r.pref >= Level ? makeManager() : nullptr;
        EXPECT_EQ(kGet[r.pref](fresh ? *fresh : *manager), r.value)
                << kKeys[r.pref] << " \"" << r.text << '"';
    }
    EXPECT_EQ(manager->initializeGKsCalls, 0);
}

TEST_F(ManagerTest, StatsdFrequencyRejectsValuesBelowOneSecondWithAnErrorLine) {
    testsupport::LogCapture logs;
    EXPECT_EQ(manager->getStatsdCollectionFrequencySec(), 60);
    for (int bad : {0, -1}) {
        EXPECT_FALSE(manager->setStatsdCollectionFrequencySec(bad));
        EXPECT_EQ(logs.count(ANDROID_LOG_ERROR, "telemetry",
                             "Invalid frequencyInSec value " + std::to_string(bad)),
                  1u);
    }
    EXPECT_EQ(manager->getStatsdCollectionFrequencySec(), 60);
    EXPECT_TRUE(manager->setStatsdCollectionFrequencySec(86400 * 365));
    EXPECT_EQ(manager->getStatsdCollectionFrequencySec(), 86400 * 365);
}

}  // namespace
}  // namespace settingsmanagertest
