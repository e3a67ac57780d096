// The settings module calls its listeners, and subclasses of the manager override its own
// operations, through fixed virtual-table slots, so a reordered declaration is an ABI break
// even when everything still compiles. (The exported interfaces' slots are held by the ABI
// baseline, scripts/abi-check.sh.)

#include <settingsmodule/ISettingsManager.h>
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

namespace {

using namespace Tamar::OS::Telemetry;

// Slot index of a virtual member function, read from its Itanium C++ ABI pointer-to-member
// representation (x86-64: ptr = 1 + byte offset; AArch64: ptr = byte offset, adj odd).
template <typename PMF>
long slotOf(PMF pmf) {
    static_assert(sizeof(PMF) == 2 * sizeof(std::ptrdiff_t));
    std::ptrdiff_t words[2];
    std::memcpy(words, &pmf, sizeof(words));
#if defined(__aarch64__) || defined(__arm__)
    if ((words[1] & 1) == 0) return -1;
    return static_cast<long>(words[0] / static_cast<std::ptrdiff_t>(sizeof(void*)));
#else
    if ((words[0] & 1) == 0) return -1;
    return static_cast<long>((words[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*)));
#endif
}

TEST(VtableLayout, SettingsListenerHasCallbackBeforeDestructor) {
    EXPECT_EQ(slotOf(&BASALT::Settings::v3::ISettingsListener::onSettingChange), 0);
}

TEST(VtableLayout, SettingsManagerOwnOperationsFollowTheListenerSlots) {
    // The primary base contributes onSettingChange and the two destructor slots.
    using M = TelemetrySettingsManager;
    long slot = 3;
    EXPECT_EQ(slotOf(&M::onSettingChange), 0);
    EXPECT_EQ(slotOf(&M::parseLowLatencyMapFromString), slot++);
    EXPECT_EQ(slotOf(&M::updateGkValues), slot++);
    EXPECT_EQ(slotOf(&M::updateMcStrings), slot++);
    EXPECT_EQ(slotOf(&M::getLatestMcStrings), slot++);
    EXPECT_EQ(slotOf(&M::setLowLatencyOverrideSettings), slot++);
    EXPECT_EQ(slotOf(&M::isServiceRunning), slot++);
    EXPECT_EQ(slotOf(&M::initializeGKs), slot++);
}

}  // namespace
