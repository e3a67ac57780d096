// Clients compiled against these headers call through fixed virtual-table slots, so a
// reordered declaration is an ABI break even when everything still compiles.

#include <com/halcyon/deviceconfig/aidl/IDeviceConfig.h>
#include <com/halcyon/deviceconfig/aidl/IOnPropertiesChangeListener.h>
#include <settingsmodule/ISettingsManager.h>
#include <telemetry/historystore/ClockWrapper.h>
#include <telemetry/historystore/HistoryStoreBase.h>
#include <telemetry/historystore/IHistoryStore.h>
#include <telemetry/settingsmanager/ITelemetrySettingsManager.h>
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

// The virtual destructor takes the first two slots of a class without virtual bases
// (complete and deleting destructor), so the first declared operation after it is slot 2.
constexpr long kFirstAfterDestructor = 2;

TEST(VtableLayout, TelemetrySettingsManagerInterface) {
    using I = ITelemetrySettingsManager;
    long slot = kFirstAfterDestructor;
    EXPECT_EQ(slotOf(&I::setHistoryStoreManager), slot++);
    EXPECT_EQ(slotOf(&I::isTelemetryEnabled), slot++);
    EXPECT_EQ(slotOf(&I::getTelemetryDeviceId), slot++);
    EXPECT_EQ(slotOf(&I::getKestrelDeviceId), slot++);
    EXPECT_EQ(slotOf(&I::getTelemetryManagedMode), slot++);
    EXPECT_EQ(slotOf(&I::getTelemetryLocalAccountModeEnabled), slot++);
    EXPECT_EQ(slotOf(&I::getTelemetryLogLevel), slot++);
    EXPECT_EQ(slotOf(&I::setTelemetryLogLevel), slot++);
    EXPECT_EQ(slotOf(&I::isVerboseEnabled), slot++);
    EXPECT_EQ(slotOf(&I::setVerboseEnabled), slot++);
    EXPECT_EQ(slotOf(&I::getTelemetryEventNameFilter), slot++);
    EXPECT_EQ(slotOf(&I::addTelemetryEventNameFilter), slot++);
    EXPECT_EQ(slotOf(&I::clearTelemetryEventNameFilter), slot++);
    EXPECT_EQ(slotOf(&I::getTelemetryClockAdjusted), slot++);
    EXPECT_EQ(slotOf(&I::setTelemetryClockAdjusted), slot++);
    EXPECT_EQ(slotOf(&I::getTelemetryAdjustedCacheTime), slot++);
    EXPECT_EQ(slotOf(&I::setTelemetryAdjustedCacheTime), slot++);
    EXPECT_EQ(slotOf(&I::getTelemetryTimeDistance), slot++);
    EXPECT_EQ(slotOf(&I::setTelemetryTimeDistance), slot++);
    EXPECT_EQ(slotOf(&I::getAccountCheckpointed), slot++);
    EXPECT_EQ(slotOf(&I::getCurrentUser), slot++);
    EXPECT_EQ(slotOf(&I::getGKFlag), slot++);
    EXPECT_EQ(slotOf(&I::getHistoryStoreCleanupTimeoutSec), slot++);
    EXPECT_EQ(slotOf(&I::getIsUserDevBuild), slot++);
    EXPECT_EQ(slotOf(&I::getTelemetryAllowedSDKEventsList), slot++);
    EXPECT_EQ(slotOf(&I::getStatsdVerificationEventsList), slot++);
    EXPECT_EQ(slotOf(&I::getVerificationStatus), slot++);
    EXPECT_EQ(slotOf(&I::isEventInVerification), slot++);
    EXPECT_EQ(slotOf(&I::getRateLimiterConfig), slot++);
    EXPECT_EQ(slotOf(&I::triggerUpload), slot++);
    EXPECT_EQ(slotOf(&I::enableUpload), slot++);
    EXPECT_EQ(slotOf(&I::disableUpload), slot++);
    EXPECT_EQ(slotOf(&I::isUploadEnabled), slot++);
    EXPECT_EQ(slotOf(&I::lockUploadState), slot++);
    EXPECT_EQ(slotOf(&I::unlockUploadState), slot++);
    EXPECT_EQ(slotOf(&I::getLowLatencyOverrideList), slot++);
    EXPECT_EQ(slotOf(&I::getLowLatencyAllowList), slot++);
    EXPECT_EQ(slotOf(&I::setTravelModeEnabled), slot++);
    EXPECT_EQ(slotOf(&I::getStatsdCollectionFrequencySec), slot++);
    EXPECT_EQ(slotOf(&I::setStatsdCollectionFrequencySec), slot++);
    EXPECT_EQ(slotOf(&I::getNTSessionId), slot++);
    EXPECT_EQ(slotOf(&I::getIsNuxCompleted), slot++);
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

template <typename T>
void expectHistoryStoreLayout() {
    using H = IHistoryStore<T>;
    long slot = kFirstAfterDestructor;
    EXPECT_EQ(slotOf(static_cast<void (H::*)(const T&)>(&H::insert)), slot++);
    EXPECT_EQ(slotOf(static_cast<void (H::*)(const HistoryTimePoint&, const T&)>(&H::insert)),
              slot++);
    EXPECT_EQ(slotOf(static_cast<void (H::*)(const HistoryKey&, const T&)>(&H::insert)), slot++);
    EXPECT_EQ(slotOf(static_cast<std::optional<T> (H::*)()>(&H::get)), slot++);
    EXPECT_EQ(slotOf(static_cast<std::optional<T> (H::*)(const HistoryUserId&)>(&H::get)), slot++);
    EXPECT_EQ(slotOf(&H::find), slot++);
}

TEST(VtableLayout, HistoryStoreInterfaces) {
    expectHistoryStoreLayout<bool>();
    expectHistoryStoreLayout<int>();
    expectHistoryStoreLayout<unsigned int>();

    long slot = kFirstAfterDestructor;
    EXPECT_EQ(slotOf(&HistoryStoreBase::name), slot++);
    EXPECT_EQ(slotOf(&HistoryStoreBase::cleanup), slot++);
    EXPECT_EQ(slotOf(&HistoryStoreBase::size), slot++);
    EXPECT_EQ(slotOf(&HistoryStoreBase::toString), slot++);

    EXPECT_EQ(slotOf(&ClockWrapper::now), kFirstAfterDestructor);
}

TEST(VtableLayout, DeviceConfigInterfacesFollowTheDescriptor) {
    using com::halcyon::deviceconfig::aidl::IDeviceConfig;
    using com::halcyon::deviceconfig::aidl::IOnPropertiesChangeListener;
    const long descriptorSlot = slotOf(&IDeviceConfig::getInterfaceDescriptor);
    ASSERT_GE(descriptorSlot, 0);
    EXPECT_EQ(slotOf(&IDeviceConfig::getProperties), descriptorSlot + 1);
    EXPECT_EQ(slotOf(&IDeviceConfig::addOnPropertiesChangeListener), descriptorSlot + 2);
    EXPECT_EQ(slotOf(&IDeviceConfig::removeOnPropertiesChangeListener), descriptorSlot + 3);

    const long listenerDescriptorSlot = slotOf(&IOnPropertiesChangeListener::getInterfaceDescriptor);
    ASSERT_GE(listenerDescriptorSlot, 0);
    EXPECT_EQ(slotOf(&IOnPropertiesChangeListener::onPropertiesChanged), listenerDescriptorSlot + 1);
}

}  // namespace
