#include "GatesTestSupport.h"

#include <deviceconfig_host/HostDeviceConfigService.h>
#include <telemetry/settingsmanager/RemoteConfigKeys.h>

#include <chrono>
#include <thread>
#include <vector>

namespace gatestest {
namespace {

using com::halcyon::deviceconfig::host::HostDeviceConfigService;
using com::halcyon::deviceconfig::host::killHostDeviceConfigService;
using com::halcyon::deviceconfig::host::publishHostDeviceConfigService;
using Tamar::OS::Telemetry::kQosOverrideKey;
using Tamar::OS::Telemetry::kTravelModeOverrideKey;
using namespace std::chrono_literals;

constexpr char kNamespace[] = "halcyon_shared_os_services";

class ServiceBackedManager : public TelemetrySettingsManager {
public:
    explicit ServiceBackedManager(std::shared_ptr<IStorageCache> cache)
        : TelemetrySettingsManager(nullptr, std::move(cache)) {}
};

// Readers of every kind run on several threads, against two instances (which share the
// process-wide low-latency state), while the remote values and gate properties change and
// the device-config service dies and comes back. Passing means no deadlock, no crash, and
// (under the sanitizers) no race.
TEST(GatesConcurrencyTest, ReadersSurviveChangingValuesAndAFlappingService) {
    setAllGateProperties("");
    auto service = android::sp<HostDeviceConfigService>(new HostDeviceConfigService());
    ASSERT_EQ(publishHostDeviceConfigService(service), android::OK);
    service->setProperty(kNamespace, kQosOverrideKey, "a,true");

    auto cache = std::make_shared<FakeStorageCache>();
    ServiceBackedManager first(cache);
    ServiceBackedManager second(std::make_shared<FakeStorageCache>());
    std::atomic<bool> stop{false};
    std::atomic<int> rounds{0};

    std::vector<std::thread> readers;
    for (ServiceBackedManager* manager : {&first, &second}) {
        readers.emplace_back([manager, &stop, &rounds] {
            while (!stop) {
                for (const GateRow& row : gateRows()) manager->getGKFlag(row.constant);
                manager->getGKFlag("not_a_gate");
                ++rounds;
            }
        });
        readers.emplace_back([manager, &stop] {
            while (!stop) {
                manager->getTelemetryAllowedSDKEventsList();
                manager->getVerificationStatus();
                manager->isEventInVerification("v1");
                manager->getRateLimiterConfig();
            }
        });
        readers.emplace_back([manager, &stop] {
            bool travel = false;
            while (!stop) {
                manager->setTravelModeEnabled(travel = !travel);
                const LowLatencyOverrideMap overrides = manager->getLowLatencyOverrideList();
                EXPECT_TRUE(overrides.empty() || overrides.size() < 64u);
                manager->setLowLatencyOverrideSettings(kTravelModeOverrideKey,
                                                       travel ? "t,true" : "t,false");
                manager->getLowLatencyAllowList();
            }
        });
    }
    std::thread refresher([&first, &stop] {
        while (!stop) {
            first.updateGkValues();
            std::this_thread::sleep_for(1ms);
        }
    });

    for (int i = 0; i < 40; ++i) {
        service->setProperty(kNamespace, kQosOverrideKey, i % 2 ? "a,true" : "a,false;b,true");
        service->setProperty(kNamespace, gk::StatsdEventVerificationList,
                             "v" + std::to_string(i % 3));
        setAllGateProperties(i % 2 ? "1" : "0");
        if (i % 10 == 5) {
            ASSERT_EQ(killHostDeviceConfigService(), android::OK);
            std::this_thread::sleep_for(20ms);
            ASSERT_EQ(publishHostDeviceConfigService(service), android::OK);
        }
        std::this_thread::sleep_for(10ms);
    }
    stop = true;
    for (auto& reader : readers) reader.join();
    refresher.join();
    EXPECT_GT(rounds.load(), 0);

    // Everything settles to the final remote values once the churn stops.
    service->setProperty(kNamespace, kQosOverrideKey, "z,true");
    first.setTravelModeEnabled(false);
    EXPECT_EQ(first.getLowLatencyOverrideList(), (LowLatencyOverrideMap{{"z", true}}));
    killHostDeviceConfigService();
}

}  // namespace
}  // namespace gatestest
